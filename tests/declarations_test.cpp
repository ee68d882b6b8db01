// The declarations parser: layouts the host hands the library, and the errors
// a malformed file gets.
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <set>

#include "declarations.h"

namespace tavo::host {
namespace {

std::string error_of(const std::string &text) {
  try {
    parse_declarations(text, "shaders.mi");
  } catch (const Error &e) {
    return e.what();
  }
  return "no error";
}

TEST(Declarations, LaysOutParametersFieldAfterField) {
  const auto decls = parse_declarations(R"(
    declare shader color "mix" (
        boolean "on",            # 0
        color "tint" default 1 0 0,   # 4
        vector "dir",            # 20
        shader "map",            # 32
        array struct "layers" { scalar "w", color "c" },  # 36: index, 40: count, 44: one element
        color texture "tex",     # 64
        transform "m",           # 68
        integer "last"           # 132
    ) version 1 end declare)",
                                        "a.mi");
  ASSERT_EQ(decls.size(), 1u);
  const ShaderDeclaration &d = decls[0];
  std::vector<std::size_t> offsets;
  for (const Field &f : d.parameters.fields) offsets.push_back(f.offset);
  EXPECT_EQ(offsets, (std::vector<std::size_t>{0, 4, 20, 32, 36, 64, 68, 132}));
  EXPECT_EQ(d.parameters.size(), 136u);
  const Field *layers = d.parameter("layers");
  ASSERT_NE(layers, nullptr);
  EXPECT_EQ(layers->type.kind, Kind::Array);
  EXPECT_EQ(layers->type.element->size(), 20u);
  EXPECT_EQ(layers->type.element->fields[1].offset, 4u);
  EXPECT_EQ(d.parameter("tex")->type.name(), "color texture");
  EXPECT_EQ(d.parameter("tint")->default_words, (std::vector<std::string>{"1", "0", "0"}));
  EXPECT_EQ(d.result.kind, Kind::Color);
  EXPECT_EQ(d.version, 1);
}

TEST(Declarations, StructResultsKeepTheirFieldOrder) {
  const auto decls = parse_declarations(
      R"(declare shader struct { color "a", scalar "b", integer "c" } "s" () version 1 end declare)", "a.mi");
  const Type &r = decls[0].result;
  ASSERT_EQ(r.fields.size(), 3u);
  EXPECT_EQ(r.fields[2].name, "c");
  EXPECT_EQ(r.fields[2].offset, 20u);
  EXPECT_EQ(r.size(), 24u);
  EXPECT_TRUE(decls[0].parameters.fields.empty());
}

TEST(Declarations, MalformedFilesNameFileLineAndWhatWasExpected) {
  struct Case {
    const char *text;
    const char *error;
  } cases[] = {
      {"declare shader scalar \"a\" (\n scalar \"x\"\n", "shaders.mi:3: expected ')', found end of file"},
      {"declare shader scalar a ( ) end declare", "shaders.mi:1: expected the shader's name in quotes, found 'a'"},
      {"declare shader\nfloat \"a\" () end declare", "shaders.mi:2: expected a type, found 'float'"},
      {"shader \"a\"", "shaders.mi:1: expected 'declare', found 'shader'"},
      {"declare shader scalar \"a\" (scalar \"x\" default one) end declare",
       "shaders.mi:1: default of \"x\": expected one scalar"},
      {"declare shader scalar \"a\" (color \"x\" default 1 2) end declare",
       "shaders.mi:1: default of \"x\": expected a colour: r,g,b or r,g,b,a"},
      {"declare shader scalar \"a\" (scalar \"x\", integer \"x\") end declare",
       "shaders.mi:1: field \"x\" appears twice"},
      {"declare shader scalar \"a\" () end declare\n\ndeclare shader scalar \"a\" () end declare",
       "shaders.mi:3: shader \"a\" is declared twice"},
      {"declare shader array scalar \"a\" () end declare", "shaders.mi:1: a result cannot hold an array"},
      {"declare shader scalar \"a\" (array array scalar \"x\") end declare",
       "shaders.mi:1: arrays of arrays are not supported"},
      {"declare shader scalar \"a\" (struct \"s\" { array scalar \"x\" }) end declare",
       "shaders.mi:1: arrays are allowed only as parameters, not inside a struct"},
      {"declare shader scalar \"a\n\" () end declare", "shaders.mi:1: unterminated string"},
      {"declare shader scalar \"a\" () version end declare",
       "shaders.mi:1: expected a version number, found 'end'"},
  };
  for (const Case &c : cases) EXPECT_EQ(error_of(c.text), c.error) << c.text;
}

TEST(Declarations, AGuiBlockGivesValuesRangesAndDescriptionsWithoutChangingTheLayout) {
  const std::string body = R"(
    declare shader scalar "metal" (integer "type", scalar "patina", color "tint") version 1
    gui "gui_metal" {
        control "Global" "Global" ("description" "a metal")
        control "type" "integer" ("description" "metal type", "item" 0 "plain", "item" 1 "", "item" 3 "patinated" "aged",
                                  "uiName" "Type" "ignored", "hidden")
        control "patina" "scalar" ("range" 0 1)
    }
    end declare)";
  const auto decls = parse_declarations(body, "a.mi");
  ASSERT_EQ(decls.size(), 1u);
  const ShaderDeclaration &d = decls[0];
  EXPECT_EQ(d.parameters.size(), 24u);
  EXPECT_EQ(d.description, "a metal");
  const Control *type = d.control("type");
  ASSERT_NE(type, nullptr);
  EXPECT_EQ(type->description, "metal type");
  ASSERT_EQ(type->values.size(), 3u);
  EXPECT_EQ(type->values[2].meaning, "patinated");
  EXPECT_EQ(type->value_named("aged"), 3);
  EXPECT_EQ(type->value_named("plain"), std::nullopt);  // a meaning is not a name
  EXPECT_TRUE(type->allows(1));
  EXPECT_FALSE(type->allows(2));
  EXPECT_EQ(type->bounds(), "one of 0, 1, 3");
  const Control *patina = d.control("patina");
  ASSERT_NE(patina, nullptr);
  EXPECT_TRUE(patina->allows(0) && patina->allows(1));
  EXPECT_FALSE(patina->allows(1.0001) || patina->allows(-0.5) || patina->allows(std::nan("")));
  EXPECT_EQ(patina->bounds(), "0 to 1");
  EXPECT_EQ(d.control("tint"), nullptr);
}

TEST(Declarations, AMalformedGuiBlockIsNamedWhereItIsWrong) {
  const std::string head = "declare shader scalar \"s\" (integer \"i\", scalar \"x\") version 1\n";
  const std::pair<std::string, std::string> cases[] = {
      {"gui \"g\" { control \"j\" \"integer\" () }", "shaders.mi:2: shader \"s\" has no parameter \"j\""},
      {"gui \"g\" { control \"i\" \"scalar\" () }", "shaders.mi:2: \"i\" is integer, not scalar"},
      {"gui \"g\" { control \"x\" \"scalar\" (\"item\" 0 \"\") }",
       "shaders.mi:2: only an integer parameter has items, not \"x\""},
      {"gui \"g\" { control \"i\" \"integer\" (\"item\" 0 \"\", \"item\" 0 \"\") }", "shaders.mi:2: \"i\" lists 0 twice"},
      {"gui \"g\" { control \"x\" \"scalar\" (\"range\" 2 1) }", "shaders.mi:2: the range of \"x\" is empty"},
      {"gui \"g\" { control \"x\" \"scalar\" () control \"x\" \"scalar\" () }", "shaders.mi:2: \"x\" has two controls"},
      {"gui \"g\" { slider \"x\" }", "shaders.mi:2: expected 'control' or '}' closing the gui block, found 'slider'"},
      {"gui \"g\" { control \"x\" \"scalar\" (\"hidden\" ", "shaders.mi:3: expected ')' closing the control, found end of file"},
  };
  for (const auto &[gui, error] : cases) EXPECT_EQ(error_of(head + gui + "\nend declare"), error) << gui;
}

TEST(Declarations, AMissingFileIsNamed) {
  try {
    read_declarations("/nonexistent/x.mi");
    FAIL() << "no error";
  } catch (const Error &e) {
    EXPECT_STREQ(e.what(), "cannot read the declarations file \"/nonexistent/x.mi\": No such file or directory");
  }
}

TEST(Declarations, APhenomenonKeepsItsNetworkForLater) {
  const auto decls = parse_declarations(R"(declare phenomenon
    color "tinted" ( color "c" default 1 0 0, scalar "k" )
    shader "a" "some_shader" ( "x" = interface "k", "list" [ { "v" 1 } ] )
    shader "b" "other_shader" ( "in" = "a.field", "map" "a" )
    root = "b"
    version 2
end declare)",
                                        "p.mi");
  ASSERT_EQ(decls.size(), 1u);
  const ShaderDeclaration &d = decls[0];
  ASSERT_NE(d.phenomenon, nullptr);
  EXPECT_EQ(d.result.kind, Kind::Color);
  EXPECT_EQ(d.parameters.size(), 20u);
  EXPECT_EQ(d.version, 2);
  const Phenomenon &net = *d.phenomenon;
  ASSERT_EQ(net.shaders.size(), 2u);
  EXPECT_EQ(net.shaders[0].shader, "some_shader");
  EXPECT_EQ(net.shaders[1].line, 4);
  EXPECT_EQ(net.root, "b");
  // the parameter list from its '(' to its ')', nothing read into it yet
  std::string joined;
  for (const Token &t : net.shaders[0].parameters) joined += t.text + " ";
  EXPECT_EQ(joined, "( x = interface k , list [ { v 1 } ] ) ");
}

TEST(Declarations, AMalformedPhenomenonIsNamedWhereItIsWrong) {
  const auto wrong = [](const std::string &body) {
    return error_of("declare phenomenon color \"p\" ( scalar \"k\" )\n" + body + "\nend declare");
  };
  EXPECT_EQ(wrong("root = \"a\""),
            "shaders.mi:2: expected the phenomenon's first shader ('shader \"name\" \"declared\" (...)'), found 'root'");
  EXPECT_EQ(wrong("shader \"a\" \"s\" ( \"x\" = interface \"q\" ) root = \"a\""),
            "shaders.mi:2: phenomenon \"p\" has no parameter \"q\"");
  EXPECT_EQ(wrong("shader \"a\" \"s\" ( \"x\" = \"b.f\" )\nshader \"b\" \"s\" ( ) root = \"a\""),
            "shaders.mi:2: phenomenon \"p\" has no shader \"b\" defined before this one");
  EXPECT_EQ(wrong("shader \"a\" \"s\" ( \"x\" = \"a\" ) root = \"a\""),
            "shaders.mi:2: phenomenon \"p\" has no shader \"a\" defined before this one");
  EXPECT_EQ(wrong("shader \"a\" \"s\" ( )\nshader \"a\" \"t\" ( ) root = \"a\""),
            "shaders.mi:3: phenomenon \"p\" has two shaders named \"a\"");
  EXPECT_EQ(wrong("shader \"a\" \"s\" ( \"x\" [ 1 ) ) root = \"a\""), "shaders.mi:2: expected ']', found ')'");
  EXPECT_EQ(wrong("shader \"a\" \"s\" ( ) root = \"z\""), "shaders.mi:2: phenomenon \"p\" has no shader named \"z\"");
  EXPECT_EQ(wrong("shader \"a\" \"s\" ( )"), "shaders.mi:3: expected 'root', found 'end'");
  EXPECT_EQ(error_of("declare phenomenon color \"p\" ( ) shader \"a\" \"s\" ( \"x\" 1"),
            "shaders.mi:1: expected ')' closing the parameters, found end of file");
}

// The shipped declarations: the 35 shaders of the library and a material
// phenomenon for each converter, each version 1.
TEST(Declarations, TheLibraryDeclaresItsThirtyFiveShadersAndFifteenMaterials) {
  const auto decls = read_declarations(TAVO_DECLARATIONS);
  std::set<std::string> names;
  std::map<std::string, const ShaderDeclaration *> by_name;
  for (const ShaderDeclaration &d : decls) {
    by_name[d.name] = &d;
    EXPECT_EQ(d.version, 1) << d.name;
    if (!d.phenomenon) names.insert(d.name);
  }
  EXPECT_EQ(decls.size(), 50u);
  // each material takes its converter's parameters first, in the converter's
  // order, and hands them on unchanged to the converter inside
  int materials = 0;
  for (const ShaderDeclaration &d : decls) {
    if (!d.phenomenon) continue;
    ++materials;
    const Phenomenon &net = *d.phenomenon;
    ASSERT_GE(net.shaders.size(), 2u) << d.name;
    EXPECT_EQ(net.shaders.front().name, "values") << d.name;
    EXPECT_EQ(net.shaders.back().shader, "tavo_host_layered") << d.name;
    EXPECT_EQ(net.root, net.shaders.back().name) << d.name;
    const ShaderDeclaration *converter = by_name[net.shaders.front().shader];
    ASSERT_NE(converter, nullptr) << d.name;
    EXPECT_EQ(d.name.substr(0, 9), "tavo_Mtl_");
    EXPECT_EQ(converter->name, "tavo_Shd_" + d.name.substr(9) + "_spider");
    const auto &given = converter->parameters.fields;
    ASSERT_GE(d.parameters.fields.size(), given.size()) << d.name;
    std::string wired;
    for (std::size_t i = 0; i < given.size(); ++i) {
      EXPECT_EQ(d.parameters.fields[i].name, given[i].name) << d.name;
      EXPECT_EQ(d.parameters.fields[i].type.name(), given[i].type.name()) << d.name;
      wired += "\"" + given[i].name + "\" = interface \"" + given[i].name + "\" ";
    }
    std::string body;
    for (const Token &t : net.shaders.front().parameters)
      if (t.kind == Token::Kind::String) body += "\"" + t.text + "\" ";
      else if (t.text == "=" || t.text == "interface") body += t.text + " ";
    EXPECT_EQ(body, wired) << d.name;
  }
  EXPECT_EQ(materials, 15);
  const std::set<std::string> expected = {
      "tavo_core_glossy_sampler", "tavo_area_shadow_samples", "tavo_Shd_Ceramic_spider",
      "tavo_Shd_Concrete_spider", "tavo_Shd_Fabric_spider", "tavo_Shd_Glazing_spider",
      "tavo_Shd_Hardwood_spider", "tavo_Shd_MasonryCMU_spider", "tavo_Shd_Metal_spider",
      "tavo_Shd_MetallicPaint_spider", "tavo_Shd_PlasticVinyl_spider", "tavo_Shd_SolidGlass_spider",
      "tavo_Shd_SSS_spider", "tavo_Shd_Stone_spider", "tavo_Shd_WallPaint_spider", "tavo_Shd_Water_spider",
      "tavo_Shd_Mirror_spider", "tavo_Utility_TexLookup", "tavo_Utility_BumpLookup",
      "tavo_Utility_ColorCorrection", "tavo_Utility_MultiMixer", "tavo_Utility_LightmapSwitcher",
      "tavo_Utility_bool_to_int", "tavo_Utility_color_to_bool", "tavo_Utility_scale_zero_up",
      "tavo_blurred_reflection_multiplier", "tavo_blurred_refraction_multiplier",
      "tavo_aspect_ratio_height_per_width", "tavo_aspect_ratio_width_per_height", "tavo_decal",
      "tavo_environment", "to_bw", "tavo_scale_meters_to_internal", "tavo_scale_meters_to_internal_inverse",
      "tavo_scale_internal_to_meters"};
  EXPECT_EQ(names, expected);
}

}  // namespace
}  // namespace tavo::host
