// The tavo command line: what users see, exit statuses and one-line errors.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include <array>
#include <cstdio>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>

namespace {

struct ToolRun {
  int status;
  std::string out;
  std::string err;
};

ToolRun tavo(const std::string &args) {
  // one file per call: ctest runs the tests of this file in parallel processes
  std::string err_file = ::testing::TempDir() + "tavo_err_XXXXXX";
  const int fd = mkstemp(err_file.data());
  if (fd >= 0) close(fd);
  const std::string command = std::string(TAVO_TOOL) + " " + args + " 2>" + err_file;
  FILE *pipe = popen(command.c_str(), "r");
  std::string out;
  std::array<char, 4096> buffer{};
  while (const std::size_t n = fread(buffer.data(), 1, buffer.size(), pipe)) out.append(buffer.data(), n);
  const int status = pclose(pipe);
  std::ifstream in(err_file);
  std::stringstream err;
  err << in.rdbuf();
  std::remove(err_file.c_str());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, out, err.str()};
}

TEST(TavoEval, ConvertsMetresToInches) {
  const ToolRun r = tavo("eval tavo_scale_meters_to_internal value=1 --scene unit_scale=0.0254");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out,
            "{\n"
            "  \"shader\": \"tavo_scale_meters_to_internal\",\n"
            "  \"calls\": [\n"
            "    {\"ray\": 0, \"ray_name\": \"eye\", \"returned\": true, \"result\": 39.370079}\n"
            "  ],\n"
            "  \"messages\": [],\n"
            "  \"leaked_bytes\": 0\n"
            "}\n");
  EXPECT_EQ(r.err, "");
}

TEST(TavoEval, RunsOneCallPerRayInOrder) {
  const ToolRun r = tavo("eval tavo_scale_internal_to_meters value=2 --ray shadow --ray 7 --ray reflection --no-scene");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("{\"ray\": 5, \"ray_name\": \"shadow\", \"returned\": true, \"result\": 2},\n"
                       "    {\"ray\": 7, \"ray_name\": \"probe\", \"returned\": true, \"result\": 2},\n"
                       "    {\"ray\": 2, \"ray_name\": \"reflection\", \"returned\": true, \"result\": 2}\n"),
            std::string::npos)
      << r.out;
}

TEST(TavoEval, NonFiniteScalarsPrintAsStrings) {
  const ToolRun r = tavo("eval tavo_scale_meters_to_internal value=-inf");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("\"result\": \"-inf\""), std::string::npos) << r.out;
  const ToolRun n = tavo("eval tavo_scale_meters_to_internal value=nan");
  EXPECT_NE(n.out.find("\"result\": \"nan\""), std::string::npos) << n.out;
}

TEST(TavoEval, MistakesGetOneLineNamingTheWordAndStatusTwo) {
  const std::pair<const char *, const char *> cases[] = {
      {"eval tavo_scale_meters_to_internal valu=1", "tavo: unknown parameter 'valu' of tavo_scale_meters_to_internal\n"},
      {"eval tavo_nothing", "tavo: unknown shader 'tavo_nothing'\n"},
      {"eval tavo_scale_meters_to_internal value=one",
       "tavo: parameter 'value' of tavo_scale_meters_to_internal: expected a decimal number, found 'one'\n"},
      {"eval tavo_scale_meters_to_internal value", "tavo: expected NAME=VALUE, found 'value'\n"},
      {"eval tavo_scale_meters_to_internal --scene unit_size=2", "tavo: unknown scene field 'unit_size'\n"},
      {"eval tavo_scale_meters_to_internal --scene unit_scale=x",
       "tavo: scene field 'unit_scale': expected a decimal number, found 'x'\n"},
      {"eval tavo_scale_meters_to_internal --ray sideways",
       "tavo: unknown ray type 'sideways' (eye, shadow, reflection, refraction or an integer code)\n"},
  };
  for (const auto &[args, error] : cases) {
    const ToolRun r = tavo(args);
    EXPECT_EQ(r.status, 2) << args;
    EXPECT_EQ(r.err, error) << args;
    EXPECT_EQ(r.out, "") << args;
  }
}

TEST(TavoEval, ValuesOutsideTheDeclaredOnesWarnOrWithStrictFail) {
  const ToolRun warned = tavo("eval tavo_Shd_Metal_spider type=99 patina=1.5");
  EXPECT_EQ(warned.status, 0);
  EXPECT_EQ(warned.err,
            "tavo: warning: parameter 'type' of tavo_Shd_Metal_spider: 99 is not one of its values (0 to 7)\n"
            "tavo: warning: parameter 'patina' of tavo_Shd_Metal_spider: 1.5 is outside its range (0 to 1)\n");
  // The library is silent about an unlisted type: the record stays as cleared.
  EXPECT_NE(warned.out.find("\"metal_a\": 0, "), std::string::npos);
  const ToolRun strict = tavo("eval tavo_Shd_Metal_spider type=99 --strict");
  EXPECT_EQ(strict.status, 2);
  EXPECT_EQ(strict.out, "");
  // A value's short name stands for its number.
  EXPECT_EQ(tavo("eval tavo_Shd_Ceramic_spider finish=dullest").out, tavo("eval tavo_Shd_Ceramic_spider finish=2").out);
}

TEST(TavoEval, TheCallersStateReachesTheShader) {
  const std::string shader = "eval tavo_environment use_background_color=1 background_color=1,0,0,1";
  EXPECT_NE(tavo(shader).out.find("\"returned\": true, \"result\": [1, 0, 0, 1]"), std::string::npos);
  // below a reflection the background is not what the camera sees
  EXPECT_NE(tavo(shader + " --state reflection_level=1").out.find("\"returned\": false"), std::string::npos);
}

TEST(TavoList, ShowsOneShaderWithItsValuesAndRanges) {
  const ToolRun r = tavo("list tavo_Shd_Metal_spider");
  EXPECT_EQ(r.status, 0);
  EXPECT_EQ(r.out.rfind("tavo_Shd_Metal_spider\n  ", 0), 0u) << r.out;
  EXPECT_NE(r.out.find("\n        3: row 3 of the type table, red-brown; takes a patina\n"), std::string::npos);
  EXPECT_NE(r.out.find("\n    scalar patina: patina amount for types 3 and 5: 0 none, 1 full (0 to 1)\n"),
            std::string::npos);
  EXPECT_EQ(r.out.find("tavo_Shd_Mirror_spider"), std::string::npos);
  const ToolRun json = tavo("list --json tavo_Mtl_Metal");
  // a phenomenon's parameter shows the values of the converter parameter it is wired to
  EXPECT_NE(json.out.find("{\"value\": 5, \"meaning\": \"row 5 of the type table, dark brown; takes a patina\"}"),
            std::string::npos) << json.out;
  EXPECT_NE(json.out.find("\"range\": [0, 1]"), std::string::npos);
  EXPECT_EQ(tavo("list tavo_nothing").err, "tavo: unknown shader 'tavo_nothing'\n");
}

TEST(Tavo, SaysItsVersionAndListsTheCommandsForAnUnknownOne) {
  EXPECT_EQ(tavo("--version").out, "tavo 1.0\n");
  const ToolRun r = tavo("evaluate tavo_decal");
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "tavo: unknown command 'evaluate' (commands: list, eval, render, preview, diff)\n");
}

TEST(TavoEval, ADeclaredShaderTheLibraryDoesNotExportIsRefused) {
  const ToolRun r = tavo(std::string("--library ") + TAVO_TEST_SHADERS + " eval test_not_exported");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "tavo: shader 'test_not_exported' is declared but testshaders.so does not export it\n");
  EXPECT_EQ(r.out, "");
}

TEST(TavoEval, APhenomenonIsEvaluatedInAScene) {
  const ToolRun r = tavo("eval tavo_Mtl_Mirror");
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "tavo: 'tavo_Mtl_Mirror' is a phenomenon: its shaders are made where a scene file instances it\n");
}

// Writes a batch file of its own (ctest runs these tests in parallel processes).
std::string batch_file(const std::string &name, const std::string &text) {
  const std::string path = ::testing::TempDir() + "tavo_batch_" + name + "_" + std::to_string(getpid()) + ".txt";
  std::ofstream(path) << text;
  return path;
}

// The document a separate `tavo eval` prints, on one line.
std::string as_one_line(const std::string &document) {
  const std::string joined = std::regex_replace(document, std::regex(",\n *"), ", ");
  return std::regex_replace(joined, std::regex("\n *"), "");
}

TEST(TavoEvalBatch, EachLineIsASeparateEvaluationWithAFreshSceneRecord) {
  // A scene record or a failure of one line must not reach the next.
  const char *lines[] = {
      "tavo_scale_meters_to_internal value=1 --scene unit_scale=0.0254",
      "tavo_scale_meters_to_internal value=1",
      "tavo_Shd_Metal_spider type=3 patina=0.6 --ray eye --ray shadow",
      "tavo_decal",
      "tavo_Utility_ColorCorrection input=0.2,0.4,0.8,1 gamma=2.2 --no-scene",
  };
  std::string text = "# a comment, then a blank line\n\n";
  for (const char *line : lines) text += std::string(line) + "\n";
  const ToolRun batch = tavo("eval --batch " + batch_file("fresh", text));
  EXPECT_EQ(batch.status, 0) << batch.err;
  std::string expected;
  for (const char *line : lines) expected += as_one_line(tavo(std::string("eval ") + line).out) + "\n";
  EXPECT_EQ(batch.out, expected);
  EXPECT_NE(batch.out.find("\"result\": 39.370079}"), std::string::npos);
  EXPECT_NE(batch.out.find("\"result\": 1}"), std::string::npos);
}

TEST(TavoEvalBatch, WordsAreQuotedAsInAShellAndBadLinesGetAnErrorObject) {
  const ToolRun r = tavo("eval --batch " + batch_file("quoted", "tavo_scale_meters_to_internal 'value'=\"2\" # halves\n"
                                                                "tavo_nothing\n"
                                                                "tavo_scale_meters_to_internal \"value=3\n"
                                                                "tavo_scale_meters_to_internal val\\ ue=1\n"
                                                                "--library x\n"));
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.out, as_one_line(tavo("eval tavo_scale_meters_to_internal value=2").out) + "\n" +
                       "{\"line\": 2, \"error\": \"unknown shader 'tavo_nothing'\", \"status\": 2}\n"
                       "{\"line\": 3, \"error\": \"unterminated \\\" quote\", \"status\": 2}\n"
                       "{\"line\": 4, \"error\": \"unknown parameter 'val ue' of tavo_scale_meters_to_internal\", "
                       "\"status\": 2}\n"
                       "{\"line\": 5, \"error\": \"The following argument was not expected: --library\", \"status\": 2}\n");
}

TEST(TavoEvalBatch, ReadsStandardInputAndRefusesAMissingFile) {
  const ToolRun r = tavo("eval --batch - < " + batch_file("stdin", "tavo_Utility_bool_to_int value=on\n"));
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.out, as_one_line(tavo("eval tavo_Utility_bool_to_int value=on").out) + "\n");
  const ToolRun missing = tavo("eval --batch /nonexistent/batch.txt");
  EXPECT_EQ(missing.status, 2);
  EXPECT_EQ(missing.err, "tavo: cannot read the batch file '/nonexistent/batch.txt': No such file or directory\n");
  const ToolRun both = tavo("eval tavo_decal --batch -");
  EXPECT_EQ(both.status, 2);
}

TEST(TavoList, ShowsEveryDeclaredShader) {
  const ToolRun text = tavo("list");
  EXPECT_EQ(text.status, 0);
  EXPECT_NE(text.out.find("tavo_scale_meters_to_internal\n  Converts a length in metres into scene units\n"
                          "  parameters:\n    scalar value: length in metres\n  result: scalar\n"),
            std::string::npos);
  const ToolRun json = tavo("list --json");
  EXPECT_EQ(json.status, 0);
  std::size_t shaders = 0;
  for (std::size_t at = json.out.find("{\"name\": "); at != std::string::npos;
       at = json.out.find("\n  {\"name\": ", at + 1))
    ++shaders;
  EXPECT_EQ(shaders, 50u);  // 35 shaders and 15 material phenomena
  EXPECT_NE(text.out.find("tavo_Mtl_Mirror  (phenomenon: values = tavo_Shd_Mirror_spider, surface = "
                          "tavo_host_layered, root surface)\n  parameters:\n    boolean custom_map_on: pass custom_map through"),
            std::string::npos);
  EXPECT_NE(json.out.find("\"result\": \"color\", \"phenomenon\": {\"shaders\": [{\"name\": \"values\", "
                          "\"shader\": \"tavo_Shd_Mirror_spider\"}, {\"name\": \"surface\", \"shader\": "
                          "\"tavo_host_layered\"}], \"root\": \"surface\"}}"),
            std::string::npos);
  EXPECT_NE(json.out.find("{\"name\": \"tavo_scale_internal_to_meters\", \"exported\": true, \"version\": 1, "
                          "\"description\": \"Converts a length in scene units into metres\", \"parameters\": "
                          "[{\"name\": \"value\", \"type\": \"scalar\", \"description\": \"length in scene units\"}], "
                          "\"result\": \"scalar\"}"),
            std::string::npos);
}

TEST(Tavo, AMissingLibraryIsNamed) {
  const ToolRun r = tavo("--library /nonexistent/tavoshaders.so list");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "tavo: cannot read the declarations file \"/nonexistent/tavoshaders.mi\": No such file or directory\n");
}

}  // namespace
