// tavo eval --file: a shader instance of a scene file evaluated where the
// camera looks through a pixel, with the example scene that ships in examples/.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

namespace {

struct ToolRun {
  int status;
  std::string out;
  std::string err;
};

ToolRun tavo(const std::string &args) {
  std::string out_file = ::testing::TempDir() + "tavo_file_out_XXXXXX";
  std::string err_file = ::testing::TempDir() + "tavo_file_err_XXXXXX";
  for (std::string *f : {&out_file, &err_file}) {
    const int fd = mkstemp(f->data());
    if (fd >= 0) close(fd);
  }
  const int status = std::system((std::string(TAVO_TOOL) + " " + args + " >" + out_file + " 2>" + err_file).c_str());
  const auto slurp = [](const std::string &path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    std::remove(path.c_str());
    return text.str();
  };
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, slurp(out_file), slurp(err_file)};
}

const std::string kExample = std::string(TAVO_EXAMPLES) + "/network.mi";

TEST(TavoEvalFile, EvaluatesANetworkOfHelperShadersAtAPixel) {
  const ToolRun r = tavo("eval --file " + kExample + " squares --pixel 100,200");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "");
  // The floor at texture (0.377, 0.209): four squares across, floor(1.51) + floor(0.84) is odd.
  EXPECT_EQ(r.out,
            "{\n"
            "  \"shader\": \"tavo_host_checker\",\n"
            "  \"instance\": \"squares\",\n"
            "  \"pixel\": [100, 200],\n"
            "  \"hit\": {\"object\": \"ground\", \"point\": [-0.980892718, 0, 2.3292098], \"normal\": [0, 1, 0], "
            "\"texture\": [0.377388418, 0.208848804, 0]},\n"
            "  \"calls\": [\n"
            "    {\"ray\": 0, \"ray_name\": \"eye\", \"returned\": true, \"result\": [0.200000003, 0.25, 0.300000012, 1]}\n"
            "  ],\n"
            "  \"messages\": [],\n"
            "  \"leaked_bytes\": 0\n"
            "}\n");
}

TEST(TavoEvalFile, MaterialsTexturesAndTheEnvironmentAnswerToo) {
  // the crate's image, repeated twice per face: the lit material and the bare texture
  const ToolRun crate = tavo("eval --file " + kExample + " crate_shader --pixel 240,130 --ray eye --ray reflection");
  ASSERT_EQ(crate.status, 0) << crate.err;
  EXPECT_NE(crate.out.find("\"hit\": {\"object\": \"crate\""), std::string::npos) << crate.out;
  EXPECT_NE(crate.out.find("{\"ray\": 2, \"ray_name\": \"reflection\", \"returned\": true"), std::string::npos) << crate.out;
  // the centre pixel by default; the sky's colour wherever it is evaluated
  const ToolRun sky = tavo("eval --file " + kExample + " sky");
  ASSERT_EQ(sky.status, 0) << sky.err;
  EXPECT_NE(sky.out.find("\"pixel\": [160, 120]"), std::string::npos) << sky.out;
  EXPECT_NE(sky.out.find("\"result\": [0.449999988, 0.600000024, 0.850000024, 1]"), std::string::npos) << sky.out;
  const ToolRun miss = tavo("eval --file " + kExample + " red --pixel 0,0");
  ASSERT_EQ(miss.status, 0) << miss.err;
  EXPECT_NE(miss.out.find("\"hit\": null"), std::string::npos) << miss.out;
}

TEST(TavoEvalFile, MistakesAreNamed) {
  const std::string bad = ::testing::TempDir() + "tavo_bad_scene.mi";
  std::ofstream(bad) << "# two lines\nshader \"a\" \"tavo_host_constant\" ( \"color\" 1 )\n";
  const std::pair<std::string, std::pair<int, std::string>> cases[] = {
      {"eval --file /nonexistent/scene.mi x", {1, "tavo: cannot read the scene file \"/nonexistent/scene.mi\": No such file or directory\n"}},
      {"eval --file " + bad + " a",
       {1, "tavo: " + bad + ":2: unknown shader \"tavo_host_constant\" (is its declarations file included?)\n"}},
      {"eval --file " + kExample + " nope", {2, "tavo: " + kExample + " has no shader instance or material named 'nope'\n"}},
      {"eval --file " + kExample + " sky --pixel 3", {2, "tavo: expected --pixel X,Y with two integers, found '3'\n"}},
      {"eval --file " + kExample + " sky --pixel 320,0", {2, "tavo: pixel 320,0 lies outside the 320x240 image\n"}},
      {"eval --file " + kExample + " sky color=1,1,1",
       {2, "tavo: the parameters of a scene's shader instance come from the scene file, found 'color=1,1,1'\n"}},
      {"eval tavo_scale_meters_to_internal --pixel 1,1", {2, "tavo: --pixel needs --file\n"}},
  };
  for (const auto &[args, expected] : cases) {
    const ToolRun r = tavo(args);
    EXPECT_EQ(r.status, expected.first) << args;
    EXPECT_EQ(r.err, expected.second) << args;
    EXPECT_EQ(r.out, "") << args;
  }
  std::remove(bad.c_str());
}

// A scene of the tests' own, linking the built libraries by their full paths.
std::string scene_file(const std::string &name, const std::string &text) {
  const std::string path = ::testing::TempDir() + "tavo_scene_" + name + "_" + std::to_string(getpid()) + ".mi";
  std::ofstream(path) << "link \"" TAVO_HELPERS "\"\n$include \"" TAVO_HELPER_DECLARATIONS "\"\n"
                         "link \"" TAVO_LIBRARY "\"\n$include \"" TAVO_DECLARATIONS "\"\n"
                      << text;
  return path;
}

TEST(TavoEvalFile, WithoutANameListsWhatTheSceneHasToEvaluate) {
  const ToolRun r = tavo("eval --file " + kExample);
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("\n    {\"name\": \"squares\", \"shader\": \"tavo_host_checker\"},\n"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("\"materials\": [\n    {\"name\": \"floor\", \"shader\": \"tavo_host_material\"},"),
            std::string::npos) << r.out;
}

TEST(TavoEvalFile, CallerStateAndAFourthArgumentReachTheShader) {
  const std::string scene = scene_file("caller", R"(
shader "probe" "tavo_host_lightmap_probe" ( "value" 7, "label" 3 )
shader "switcher" "tavo_Utility_LightmapSwitcher" ( "lightmap" "probe", "enable" on )
shader "levels" "tavo_blurred_reflection_multiplier" ( "samples" 4 )
)");
  const ToolRun mesh = tavo("eval --file " + scene + " switcher --ray lightmap --argument mesh=3,1");
  EXPECT_EQ(mesh.status, 0) << mesh.err;
  EXPECT_NE(mesh.out.find("\"text\": \"lightmap 3: ray 22, mesh {"), std::string::npos) << mesh.out;
  EXPECT_NE(mesh.out.find(", 3, "), std::string::npos) << mesh.out;
  const ToolRun none = tavo("eval --file " + scene + " switcher --ray lightmap");
  EXPECT_NE(none.out.find("lightmap->switcher->4th arg pointer is empty !!"), std::string::npos) << none.out;
  EXPECT_EQ(tavo("eval --file " + scene + " switcher --argument mesh=3").status, 2);
  EXPECT_EQ(tavo("eval --file " + scene + " levels --state depth=1").err,
            "tavo: unknown state field 'depth' (reflection_level, refraction_level)\n");
  std::remove(scene.c_str());
}

TEST(TavoEvalFile, SetChangesOneValueAsIfTheFileSaidSoAndTagArraysTakeNull) {
  const std::string scene = scene_file("set", R"(
shader "metal" "tavo_Shd_Metal_spider" ( "type" 3, "patina" 0 )
shader "stack" "tavo_Utility_MultiMixer" ( "layers" [ { "shader" null }, { "shader" 0 } ] )
)");
  const ToolRun plain = tavo("eval --file " + scene + " metal");
  const ToolRun set = tavo("eval --file " + scene + " metal --set metal.patina=0.6");
  ASSERT_EQ(set.status, 0) << set.err;
  EXPECT_NE(plain.out.find("\"patina_on\": 0"), std::string::npos);
  EXPECT_NE(set.out.find("\"patina_on\": 1"), std::string::npos) << set.out;
  EXPECT_EQ(tavo("eval --file " + scene + " stack").status, 0);
  const std::pair<const char *, const char *> mistakes[] = {
      {"--set nothing.type=1", "tavo: --set nothing.type=1: the scene has no shader instance \"nothing\"\n"},
      {"--set metal.colour=1",
       "tavo: --set metal.colour=1: shader instance \"metal\" (tavo_Shd_Metal_spider) has no parameter \"colour\"\n"},
      {"--set metal=1", "tavo: expected --set INSTANCE.PARAM=VALUE, found 'metal=1'\n"},
      {"--set metal.type=99 --strict",
       "tavo: parameter 'type' of tavo_Shd_Metal_spider: 99 is not one of its values (0 to 7)\n"},
  };
  for (const auto &[args, error] : mistakes) {
    const ToolRun r = tavo("eval --file " + scene + " metal " + args);
    EXPECT_EQ(r.status, 2) << args;
    EXPECT_EQ(r.err, error) << args;
  }
  std::remove(scene.c_str());
}

}  // namespace
