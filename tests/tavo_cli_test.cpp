// The tavo command line (TAVO_TOOL): what users see, exit statuses and one-line errors; tavo eval --file evaluates
// a scene file's shader instance where the camera looks through a pixel.
#include <regex>

#include "tool_run.h"

namespace tavo::test {
namespace {

const std::string kMetres = "eval tavo_scale_meters_to_internal ";
const std::string kExample = std::string(TAVO_EXAMPLES) + "/network.mi";
const std::string kEval = "eval --file " + kExample + " ";

// A scene of the tests' own, linking the built libraries by their full paths.
std::string scene_file(const std::string &text) {
  return temp_file("link \"" TAVO_HELPERS "\"\n$include \"" TAVO_HELPER_DECLARATIONS "\"\nlink \"" TAVO_LIBRARY
                   "\"\n$include \"" TAVO_DECLARATIONS "\"\n" + text);
}

TEST(TavoEval, PrintsOneDocumentWithACallPerRay) {
  const ToolRun r = tavo(kMetres + "value=1 --scene unit_scale=0.0254");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out + r.err,
            "{\n  \"shader\": \"tavo_scale_meters_to_internal\",\n  \"calls\": [\n"
            "    {\"ray\": 0, \"ray_name\": \"eye\", \"returned\": true, \"result\": 39.370079}\n"
            "  ],\n  \"messages\": [],\n  \"leaked_bytes\": 0\n}\n");
  expect_found("eval tavo_scale_internal_to_meters value=2 --ray shadow --ray 7 --ray reflection --no-scene",
               {"{\"ray\": 5, \"ray_name\": \"shadow\", \"returned\": true, \"result\": 2},\n"
                "    {\"ray\": 7, \"ray_name\": \"probe\", \"returned\": true, \"result\": 2},\n"
                "    {\"ray\": 2, \"ray_name\": \"reflection\", \"returned\": true, \"result\": 2}\n"});
  expect_found(kMetres + "value=-inf", {"\"result\": \"-inf\""});
  expect_found(kMetres + "value=nan", {"\"result\": \"nan\""});
  // the caller's state reaches the shader: below a reflection the background is not the camera's
  const std::string environment = "eval tavo_environment use_background_color=1 background_color=1,0,0,1";
  expect_found(environment, {"\"returned\": true, \"result\": [1, 0, 0, 1]"});
  expect_found(environment + " --state reflection_level=1", {"\"returned\": false"});
  expect_found("--version", {"tavo 1.0\n"});
}

TEST(Tavo, MistakesGetOneLineAndAStatusWithoutOutput) {
  const std::string bad = temp_file("# two lines\nshader \"a\" \"tavo_host_constant\" ( \"color\" 1 )\n");
  const std::string own = "eval --file " + scene_file("shader \"metal\" \"tavo_Shd_Metal_spider\" ( )") + " metal ";
  const Refusal cases[] = {
      {kMetres + "valu=1", 2, "unknown parameter 'valu' of tavo_scale_meters_to_internal"},
      {"eval tavo_nothing", 2, "unknown shader 'tavo_nothing'"},
      {kMetres + "value=one", 2,
       "parameter 'value' of tavo_scale_meters_to_internal: expected a decimal number, found 'one'"},
      {kMetres + "value", 2, "expected NAME=VALUE, found 'value'"},
      {kMetres + "--scene unit_size=2", 2, "unknown scene field 'unit_size'"},
      {kMetres + "--scene unit_scale=x", 2, "scene field 'unit_scale': expected a decimal number, found 'x'"},
      {kMetres + "--ray sideways", 2,
       "unknown ray type 'sideways' (eye, shadow, reflection, refraction or an integer code)"},
      {"eval tavo_Shd_Metal_spider type=99 --strict", 2,
       "parameter 'type' of tavo_Shd_Metal_spider: 99 is not one of its values (0 to 7)"},
      {"evaluate tavo_decal", 2, "unknown command 'evaluate' (commands: list, eval, render, preview, diff)"},
      {std::string("--library ") + TAVO_TEST_SHADERS + " eval test_not_exported", 1,
       "shader 'test_not_exported' is declared but testshaders.so does not export it"},
      {"eval tavo_Mtl_Mirror", 2,
       "'tavo_Mtl_Mirror' is a phenomenon: its shaders are made where a scene file instances it"},
      {"--library /nonexistent/tavoshaders.so list", 1,
       "cannot read the declarations file \"/nonexistent/tavoshaders.mi\": No such file or directory"},
      {"list tavo_nothing", 2, "unknown shader 'tavo_nothing'"},
      // eval --file
      {"eval --file /nonexistent/scene.mi x", 1,
       "cannot read the scene file \"/nonexistent/scene.mi\": No such file or directory"},
      {"eval --file " + bad + " a", 1, bad + ":2: unknown shader \"tavo_host_constant\" (is its declarations file included?)"},
      {kEval + "nope", 2, kExample + " has no shader instance or material named 'nope'"},
      {kEval + "sky --pixel 3", 2, "expected --pixel X,Y with two integers, found '3'"},
      {kEval + "sky --pixel 320,0", 2, "pixel 320,0 lies outside the 320x240 image"},
      {kEval + "sky color=1,1,1", 2,
       "the parameters of a scene's shader instance come from the scene file, found 'color=1,1,1'"},
      {"eval tavo_scale_meters_to_internal --pixel 1,1", 2, "--pixel needs --file"},
      {kEval + "sky --state depth=1", 2, "unknown state field 'depth' (reflection_level, refraction_level)"},
      {own + "--set nothing.type=1", 2, "--set nothing.type=1: the scene has no shader instance \"nothing\""},
      {own + "--set metal.colour=1", 2,
       "--set metal.colour=1: shader instance \"metal\" (tavo_Shd_Metal_spider) has no parameter \"colour\""},
      {own + "--set metal=1", 2, "expected --set INSTANCE.PARAM=VALUE, found 'metal=1'"},
      {own + "--set metal.type=99 --strict", 2,
       "parameter 'type' of tavo_Shd_Metal_spider: 99 is not one of its values (0 to 7)"},
  };
  for (const Refusal &c : cases) expect_refused(c);
  EXPECT_EQ(tavo("eval tavo_decal --batch -").status, 2);
}

TEST(TavoEval, ValuesOutsideTheDeclaredOnesWarnAndShortNamesStandForNumbers) {
  const ToolRun warned = tavo("eval tavo_Shd_Metal_spider type=99 patina=1.5");
  EXPECT_EQ(warned.status, 0);
  EXPECT_EQ(warned.err,
            "tavo: warning: parameter 'type' of tavo_Shd_Metal_spider: 99 is not one of its values (0 to 7)\n"
            "tavo: warning: parameter 'patina' of tavo_Shd_Metal_spider: 1.5 is outside its range (0 to 1)\n");
  // The library is silent about an unlisted type: the record stays as cleared.
  EXPECT_NE(warned.out.find("\"metal_a\": 0, "), std::string::npos);
  EXPECT_EQ(tavo("eval tavo_Shd_Ceramic_spider finish=dullest").out, tavo("eval tavo_Shd_Ceramic_spider finish=2").out);
}

TEST(TavoEvalFile, EvaluatesShadersMaterialsAndTheEnvironmentAtAPixel) {
  // the floor at texture (0.377, 0.209): four squares across, floor(1.51) + floor(0.84) is odd
  expect_found(kEval + "squares --pixel 100,200",
               {"\"instance\": \"squares\",\n  \"pixel\": [100, 200],\n  \"hit\": {\"object\": \"ground\", ",
                "\"texture\": [0.377388418, 0.208848804, 0]}", "\"result\": [0.200000003, 0.25, 0.300000012, 1]}",
                "\"leaked_bytes\": 0\n"});
  // the centre pixel by default; the sky's colour wherever it is evaluated
  expect_found(kEval + "sky", {"\"pixel\": [160, 120]", "\"result\": [0.449999988, 0.600000024, 0.850000024, 1]"});
  expect_found(kEval + "red --pixel 0,0", {"\"hit\": null"});
  // a box's face: the texture runs across it from its corner
  expect_found(kEval + "crate_shader --pixel 240,130",
               {"\"hit\": {\"object\": \"crate\", \"point\": [1.87930155, 0.547748446, 0], \"normal\": [0, 0, 1], "
                "\"texture\": [0.919534326, 0.365165561, 0]}"});
  // without a name: what the scene has to evaluate
  expect_found(kEval, {"\n    {\"name\": \"squares\", \"shader\": \"tavo_host_checker\"},\n",
                       "\"materials\": [\n    {\"name\": \"floor\", \"shader\": \"tavo_host_material\"},"});
}

TEST(TavoEvalFile, CallerStateAFourthArgumentAndSetReachTheShader) {
  const std::string scene = scene_file(R"(
shader "probe" "tavo_host_lightmap_probe" ( "value" 7, "label" 3 )
shader "switcher" "tavo_Utility_LightmapSwitcher" ( "lightmap" "probe", "enable" on )
shader "metal" "tavo_Shd_Metal_spider" ( "type" 3, "patina" 0 )
shader "stack" "tavo_Utility_MultiMixer" ( "layers" [ { "shader" null }, { "shader" 0 } ] )
)");
  const std::string eval = "eval --file " + scene + " ";
  expect_found(eval + "switcher --ray lightmap --argument mesh=3,1", {"\"text\": \"lightmap 3: ray 22, mesh {", ", 3, "});
  expect_found(eval + "switcher --ray lightmap", {"lightmap->switcher->4th arg pointer is empty !!"});
  expect_found(eval + "metal", {"\"patina_on\": 0"});
  expect_found(eval + "metal --set metal.patina=0.6", {"\"patina_on\": 1"});  // as if the file said so
  expect_found(eval + "stack", {"\"calls\""});                                 // tag arrays take null
  EXPECT_EQ(tavo(eval + "switcher --argument mesh=3").status, 2);
}

// The document a separate `tavo eval` prints, on one line.
std::string as_one_line(const std::string &document) {
  return std::regex_replace(std::regex_replace(document, std::regex(",\n *"), ", "), std::regex("\n *"), "");
}

// A scene record or a failure of one line must not reach the next; words are quoted as in a shell.
TEST(TavoEvalBatch, EachLineIsASeparateEvaluationAndABadLineGetsAnErrorObject) {
  const char *lines[] = {
      "tavo_scale_meters_to_internal value=1 --scene unit_scale=0.0254",
      "tavo_scale_meters_to_internal 'value'=\"1\" # metres",
      "tavo_Shd_Metal_spider type=3 patina=0.6 --ray eye --ray shadow",
      "tavo_decal",
      "tavo_Utility_ColorCorrection input=0.2,0.4,0.8,1 gamma=2.2 --no-scene",
  };
  std::string text = "# a comment, then a blank line\n\n", expected;
  for (const char *line : lines) {
    text += std::string(line) + "\n";
    expected += as_one_line(tavo(std::string("eval ") + line + "\n").out) + "\n";  // the shell's comment ends there too
  }
  const ToolRun batch = tavo("eval --batch " + temp_file(text + "tavo_nothing\ntavo_scale_meters_to_internal \"value=3\n"
                                                                "tavo_scale_meters_to_internal val\\ ue=1\n--library x\n"));
  EXPECT_EQ(batch.status, 2);
  EXPECT_EQ(batch.out, expected +
                           "{\"line\": 8, \"error\": \"unknown shader 'tavo_nothing'\", \"status\": 2}\n"
                           "{\"line\": 9, \"error\": \"unterminated \\\" quote\", \"status\": 2}\n"
                           "{\"line\": 10, \"error\": \"unknown parameter 'val ue' of tavo_scale_meters_to_internal\", "
                           "\"status\": 2}\n"
                           "{\"line\": 11, \"error\": \"The following argument was not expected: --library\", \"status\": 2}\n");
  EXPECT_NE(batch.out.find("\"result\": 39.370079}], \"messages\": [], \"leaked_bytes\": 0}\n"), std::string::npos);
  const ToolRun piped = tavo("eval --batch - < " + temp_file("tavo_Utility_bool_to_int value=on\n"));  // standard input
  EXPECT_EQ(piped.out, as_one_line(tavo("eval tavo_Utility_bool_to_int value=on").out) + "\n");
}

// One shader as text, and every field name of the JSON listing.
TEST(TavoList, ShowsTheShadersTheirValuesRangesAndNetworks) {
  expect_found("list", {"tavo_scale_meters_to_internal\n  Converts a length in metres into scene units\n"
                        "  parameters:\n    scalar value: length in metres\n  result: scalar\n"});
  expect_found("list --json",
               {"{\"name\": \"tavo_scale_internal_to_meters\", \"exported\": true, \"version\": 1, \"description\": "
                "\"Converts a length in scene units into metres\", \"parameters\": [{\"name\": \"value\", \"type\": "
                "\"scalar\", \"description\": \"length in scene units\"}], \"result\": \"scalar\"}",
                "\"phenomenon\": {\"shaders\": [{\"name\": \"values\", \"shader\": \"tavo_Shd_Mirror_spider\"}, "});
  // a phenomenon's parameter shows the values of the converter parameter it is wired to
  expect_found("list --json tavo_Mtl_Metal",
               {"{\"value\": 5, \"meaning\": \"row 5 of the type table, dark brown; takes a patina\"}", "\"range\": [0, 1]",
                "\"root\": \"surface\"}"});
}

}  // namespace
}  // namespace tavo::test
