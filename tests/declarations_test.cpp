// The declarations parser: gui blocks, and the errors a malformed file gets.
#include <gtest/gtest.h>

#include <cmath>

#include "declarations.h"
#include "host_fixture.h"

namespace tavo::host {
namespace {

std::string error_of(const std::string &text) {
  return test::error_of([&] { parse_declarations(text, "shaders.mi"); });
}

// Layouts are checked against the library's records in layout_test.cpp and read by every converter test; a gui block
// bounds values without changing the layout. What the CLI tests cannot see: a meaning is no name, NaN is in no range,
// sparse items.
TEST(Declarations, GuiBlocksBoundValuesWithoutChangingTheLayout) {
  const auto decls = parse_declarations(R"(
    declare shader scalar "metal" (integer "type", scalar "patina", color "tint") version 1
    gui "gui_metal" {
        control "type" "integer" ("item" 0 "plain", "item" 1 "", "item" 3 "patinated" "aged", "uiName" "T" "x", "hidden")
        control "patina" "scalar" ("range" 0 1)
    }
    end declare)",
                                        "a.mi");
  ASSERT_EQ(decls.size(), 1u);
  const ShaderDeclaration &metal = decls[0];
  EXPECT_EQ(metal.parameters.size(), 24u);
  const Control &type = *metal.control("type");
  EXPECT_TRUE(type.value_named("aged") == 3 && type.value_named("plain") == std::nullopt);
  EXPECT_EQ(type.bounds(), "one of 0, 1, 3");
  EXPECT_TRUE(metal.control("patina")->allows(1) && !metal.control("patina")->allows(std::nan("")));
  EXPECT_EQ(metal.control("tint"), nullptr);
}

TEST(Declarations, MalformedFilesNameFileLineAndWhatWasExpected) {
  const auto gui = [](const std::string &body) {
    return "declare shader scalar \"s\" (integer \"i\", scalar \"x\") version 1\ngui \"g\" { " + body + "\nend declare";
  };
  const auto network = [](const std::string &body) {
    return "declare phenomenon color \"p\" ( scalar \"k\" )\n" + body + "\nend declare";
  };
  const std::pair<std::string, std::string> cases[] = {
      {"declare shader scalar \"a\" (\n scalar \"x\"\n", "3: expected ')', found end of file"},
      {"declare shader scalar a ( ) end declare", "1: expected the shader's name in quotes, found 'a'"},
      {"declare shader\nfloat \"a\" () end declare", "2: expected a type, found 'float'"},
      {"shader \"a\"", "1: expected 'declare', found 'shader'"},
      {"declare shader scalar \"a\" (scalar \"x\" default one) end declare", "1: default of \"x\": expected one scalar"},
      {"declare shader scalar \"a\" (color \"x\" default 1 2) end declare",
       "1: default of \"x\": expected a colour: r,g,b or r,g,b,a"},
      {"declare shader scalar \"a\" (scalar \"x\", integer \"x\") end declare", "1: field \"x\" appears twice"},
      {"declare shader scalar \"a\" () end declare\n\ndeclare shader scalar \"a\" () end declare",
       "3: shader \"a\" is declared twice"},
      {"declare shader array scalar \"a\" () end declare", "1: a result cannot hold an array"},
      {"declare shader scalar \"a\" (array array scalar \"x\") end declare", "1: arrays of arrays are not supported"},
      {"declare shader scalar \"a\" (struct \"s\" { array scalar \"x\" }) end declare",
       "1: arrays are allowed only as parameters, not inside a struct"},
      {"declare shader scalar \"a\n\" () end declare", "1: unterminated string"},
      {"declare shader scalar \"a\" () version end declare", "1: expected a version number, found 'end'"},
      // gui blocks
      {gui("control \"j\" \"integer\" () }"), "2: shader \"s\" has no parameter \"j\""},
      {gui("control \"i\" \"scalar\" () }"), "2: \"i\" is integer, not scalar"},
      {gui("control \"x\" \"scalar\" (\"item\" 0 \"\") }"), "2: only an integer parameter has items, not \"x\""},
      {gui("control \"i\" \"integer\" (\"item\" 0 \"\", \"item\" 0 \"\") }"), "2: \"i\" lists 0 twice"},
      {gui("control \"x\" \"scalar\" (\"range\" 2 1) }"), "2: the range of \"x\" is empty"},
      {gui("control \"x\" \"scalar\" () control \"x\" \"scalar\" () }"), "2: \"x\" has two controls"},
      {gui("slider \"x\" }"), "2: expected 'control' or '}' closing the gui block, found 'slider'"},
      {gui("control \"x\" \"scalar\" (\"hidden\" "), "3: expected ')' closing the control, found end of file"},
      // phenomena
      {network("root = \"a\""),
       "2: expected the phenomenon's first shader ('shader \"name\" \"declared\" (...)'), found 'root'"},
      {network("shader \"a\" \"s\" ( \"x\" = interface \"q\" ) root = \"a\""), "2: phenomenon \"p\" has no parameter \"q\""},
      {network("shader \"a\" \"s\" ( \"x\" = \"b.f\" )\nshader \"b\" \"s\" ( ) root = \"a\""),
       "2: phenomenon \"p\" has no shader \"b\" defined before this one"},
      {network("shader \"a\" \"s\" ( \"x\" = \"a\" ) root = \"a\""),
       "2: phenomenon \"p\" has no shader \"a\" defined before this one"},
      {network("shader \"a\" \"s\" ( )\nshader \"a\" \"t\" ( ) root = \"a\""), "3: phenomenon \"p\" has two shaders named \"a\""},
      {network("shader \"a\" \"s\" ( \"x\" [ 1 ) ) root = \"a\""), "2: expected ']', found ')'"},
      {network("shader \"a\" \"s\" ( ) root = \"z\""), "2: phenomenon \"p\" has no shader named \"z\""},
      {network("shader \"a\" \"s\" ( )"), "3: expected 'root', found 'end'"},
      {"declare phenomenon color \"p\" ( ) shader \"a\" \"s\" ( \"x\" 1",
       "1: expected ')' closing the parameters, found end of file"},
  };
  for (const auto &[text, error] : cases) EXPECT_EQ(error_of(text), "shaders.mi:" + error) << text;
}

}  // namespace
}  // namespace tavo::host
