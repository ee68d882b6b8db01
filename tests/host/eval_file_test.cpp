// tavo eval --file: a scene file's shader instance evaluated where the camera looks through a pixel.
#include "tool_run.h"

namespace tavo::test {
namespace {

const std::string kExample = std::string(TAVO_EXAMPLES) + "/network.mi";
const std::string kEval = "eval --file " + kExample + " ";

// A scene of the tests' own, linking the built libraries by their full paths.
std::string scene_file(const std::string &text) {
  return temp_file("link \"" TAVO_HELPERS "\"\n$include \"" TAVO_HELPER_DECLARATIONS "\"\nlink \"" TAVO_LIBRARY
                   "\"\n$include \"" TAVO_DECLARATIONS "\"\n" + text);
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

TEST(TavoEvalFile, MistakesAreNamed) {
  const std::string bad = temp_file("# two lines\nshader \"a\" \"tavo_host_constant\" ( \"color\" 1 )\n");
  const std::string own = "eval --file " + scene_file("shader \"metal\" \"tavo_Shd_Metal_spider\" ( )") + " metal ";
  const Refusal cases[] = {
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
}

}  // namespace
}  // namespace tavo::test
