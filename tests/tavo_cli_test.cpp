// The tavo command line: what users see, exit statuses and one-line errors.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include <array>
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
            "    {\"ray\": 0, \"returned\": true, \"result\": 39.370079}\n"
            "  ],\n"
            "  \"messages\": [],\n"
            "  \"leaked_bytes\": 0\n"
            "}\n");
  EXPECT_EQ(r.err, "");
}

TEST(TavoEval, RunsOneCallPerRayInOrder) {
  const ToolRun r = tavo("eval tavo_scale_internal_to_meters value=2 --ray shadow --ray 7 --ray reflection --no-scene");
  EXPECT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("{\"ray\": 5, \"returned\": true, \"result\": 2},\n"
                       "    {\"ray\": 7, \"returned\": true, \"result\": 2},\n"
                       "    {\"ray\": 2, \"returned\": true, \"result\": 2}\n"),
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

TEST(TavoList, ShowsEveryDeclaredShader) {
  const ToolRun text = tavo("list");
  EXPECT_EQ(text.status, 0);
  EXPECT_NE(text.out.find("tavo_scale_meters_to_internal\n  parameters:\n    scalar value\n  result: scalar\n"),
            std::string::npos);
  const ToolRun json = tavo("list --json");
  EXPECT_EQ(json.status, 0);
  std::size_t shaders = 0;
  for (std::size_t at = json.out.find("{\"name\": "); at != std::string::npos;
       at = json.out.find("\n  {\"name\": ", at + 1))
    ++shaders;
  EXPECT_EQ(shaders, 50u);  // 35 shaders and 15 material phenomena
  EXPECT_NE(text.out.find("tavo_Mtl_Mirror  (phenomenon: values = tavo_Shd_Mirror_spider, surface = "
                          "tavo_host_layered, root surface)\n  parameters:\n    boolean custom_map_on\n"),
            std::string::npos);
  EXPECT_NE(json.out.find("\"result\": \"color\", \"phenomenon\": {\"shaders\": [{\"name\": \"values\", "
                          "\"shader\": \"tavo_Shd_Mirror_spider\"}, {\"name\": \"surface\", \"shader\": "
                          "\"tavo_host_layered\"}], \"root\": \"surface\"}}"),
            std::string::npos);
  EXPECT_NE(json.out.find("{\"name\": \"tavo_scale_internal_to_meters\", \"exported\": true, \"version\": 1, "
                          "\"parameters\": [{\"name\": \"value\", \"type\": \"scalar\"}], \"result\": \"scalar\"}"),
            std::string::npos);
}

TEST(Tavo, AMissingLibraryIsNamed) {
  const ToolRun r = tavo("--library /nonexistent/tavoshaders.so list");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "tavo: /nonexistent/tavoshaders.mi: cannot open the declarations file\n");
}

}  // namespace
