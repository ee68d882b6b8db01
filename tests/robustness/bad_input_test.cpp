// Hostile input and failing disks through the tavo command: every row of docs/errors.md is a case here, checked for
// its one line on standard error, its exit status and what it leaves on disk.
#include <algorithm>
#include <csignal>
#include <filesystem>
#include <map>
#include <regex>
#include <set>
#include <vector>

#include <unistd.h>

#include "files.h"
#include "tool_run.h"

namespace fs = std::filesystem;

namespace tavo::test {
namespace {

ToolRun run_in(const fs::path &dir, const std::string &command) { return shell("cd '" + dir.string() + "' && " + command); }

std::set<std::string> listing(const fs::path &dir) {
  std::set<std::string> names;
  for (const auto &e : fs::directory_iterator(dir)) names.insert(e.path().filename().string());
  return names;
}

const std::string kTool = TAVO_TOOL, kCamera = "camera \"c\" resolution 8 6 end camera\n", kLong(300, 'a');
const std::string kChecker = slurp(TAVO_EXAMPLES "/checker.ppm");  // an image every reader takes

struct Case {
  const char *row;  // the row of docs/errors.md
  std::map<std::string, std::string> files;
  std::string command;  // run in the case's folder; "tavo" is the tool
  int status;
  std::string message;  // a regular expression for each command's line after "tavo: "
  std::set<std::string> added = {};  // files the run leaves besides those it was given
};

std::vector<Case> cases() {
  std::string deep = "declare shader scalar \"d\" (";
  for (int i = 0; i < 100; ++i) deep += "struct \"s\" {";
  return {
      {"A scene file that does not exist", {}, "tavo render x.mi -o out.png", 1,
       R"(cannot read the scene file "x\.mi": No such file or directory)"},
      {"A scene path that is a folder", {{"dir/x", ""}}, "tavo render dir -o out.png", 1,
       R"(cannot read the scene file "dir": Is a directory)"},
      {"A scene path that is a device or a pipe", {}, "tavo render /dev/zero -o out.png", 1,
       R"(cannot read the scene file "/dev/zero": not a regular file but a character device)"},
      {"A scene file over 256 MiB", {}, "truncate -s 300M big.mi && tavo render big.mi -o out.png", 1,
       R"(cannot read the scene file "big\.mi": larger than the limit of 256 MiB \(314572800 bytes\))",
       {"big.mi"}},
      {"A malformed scene", {{"scene.mi", kCamera + "color texture end"}}, "tavo render scene.mi -o out.png", 1,
       R"(scene\.mi:2: expected the texture's name in quotes, found 'end')"},
      {"A file name longer than the system allows",
       {{"scene.mi", "$include \"" + kLong + "\"\n"}, {"link.mi", "link \"" + kLong + ".so\"\n"},
        {"tex.mi", "color texture \"t\" \"" + kLong + ".png\"\n"},
        {"mesh.mi", "object \"m\" mesh \"" + kLong + ".obj\" end object\n"}},
       "tavo render link.mi -o o.png; tavo render tex.mi -o o.png; tavo render mesh.mi -o o.png; "
       "tavo render scene.mi -o out.png",
       1, R"(\w+\.mi:1: .*a{300}.*: File name too long)"},
      {"An include of a device", {{"scene.mi", "$include \"/dev/zero\"\n"}}, "tavo render scene.mi -o out.png", 1,
       R"(scene\.mi:1: cannot read the included file "/dev/zero": not a regular file but a character device)"},
      {"Files that include each other", {{"loop.mi", "$include \"loop.mi\"\n"}}, "tavo render loop.mi -o out.png", 1,
       R"(loop\.mi:1: files include each other more than 16 deep)"},
      {"A phenomenon that uses itself",
       {{"p.mi", "declare phenomenon color \"p\" ( )\n shader \"inner\" \"p\" ( )\n root = \"inner\"\nend declare\n"},
        {"scene.mi", "$include \"p.mi\"\nshader \"s\" \"p\" ( )\n"}},
       "tavo render scene.mi -o out.png", 1, R"(scene\.mi:2: shader "s" \(p\): .*phenomenon "p" uses itself)"},
      {"Types nested more than 64 deep", {{"deep.mi", deep}, {"scene.mi", "$include \"deep.mi\"\n"}},
       "tavo render scene.mi -o out.png", 1, R"(deep\.mi:1: types nest more than 64 deep)"},
      {"A texture that does not exist", {{"scene.mi", "color texture \"t\" \"wood.png\"\n"}},
       "tavo render scene.mi -o out.png", 1, R"(scene\.mi:1: cannot read the image "wood\.png": No such file or directory)"},
      {"A texture that is a device", {{"scene.mi", "color texture \"t\" \"/dev/zero\"\n"}},
       "tavo render scene.mi -o out.png", 1,
       R"(scene\.mi:1: cannot read the image "/dev/zero": not a regular file but a character device)"},
      {"A damaged or truncated texture",
       {{"cut.ppm", kChecker.substr(0, kChecker.size() / 2)}, {"scene.mi", "color texture \"t\" \"cut.ppm\"\n"}},
       "tavo render scene.mi -o out.png", 1,
       R"(scene\.mi:1: cannot read the image "cut\.ppm": the file is damaged or cut short)"},
      {"A texture over the limits",
       {{"c.ppm", kChecker}, {"big.ppm", "P6 300 300 255\n" + std::string(270000, 'x')},
        {"small.mi", "color texture \"t\" \"c.ppm\"\n"}, {"big.mi", "color texture \"t\" \"big.ppm\"\n"}},
       "TAVO_TEXTURE_MAX_MB=1 tavo render big.mi -o o.png; TAVO_TEXTURE_MAX_SIDE=4 tavo render small.mi -o out.png", 1,
       R"((small|big)\.mi:1: cannot read the image "(c|big)\.ppm": )"
       R"((its size 8x8 is over the limit of 4 texels a side \(TAVO_TEXTURE_MAX_SIDE\)|)"
       R"(a texture of 300x300 takes 2 MiB, over the limit of 1 MiB \(TAVO_TEXTURE_MAX_MB\)))"},
      {"A malformed limit in the environment", {{"c.ppm", kChecker}, {"scene.mi", "color texture \"t\" \"c.ppm\"\n"}},
       "TAVO_TEXTURE_MAX_MB=lots tavo render scene.mi -o out.png", 1,
       R"(scene\.mi:1: TAVO_TEXTURE_MAX_MB: expected a positive integer, found 'lots')"},
      {"A mesh with a number that is not finite",
       {{"m.obj", "v 0 0 0\nv 1 nan 0\nv 0 1 0\nf 1 2 3\n"}, {"scene.mi", "object \"m\" mesh \"m.obj\" end object\n"}},
       "tavo render scene.mi -o out.png", 1,
       R"(scene\.mi:1: object "m": m\.obj:2: expected a vertex: x y z, finite numbers, found 'nan')"},
      {"A camera resolution over the pixel cap", {{"scene.mi", "camera \"c\" resolution 100000 100000 end camera\n"}},
       "tavo render scene.mi -o out.png", 1,
       R"(scene\.mi:1: a resolution of 100000x100000 is more than the 67108864 pixels an image may have)"},
      {"A `--resolution` over the pixel cap", {{"scene.mi", kCamera}},
       "tavo render scene.mi -o out.png --resolution 100000,100000", 2,
       R"(--resolution: a resolution of 100000x100000 is more than the 67108864 pixels an image may have)"},
      {"A `--threads` outside 1 to 1024", {{"scene.mi", kCamera}},
       "tavo render scene.mi -o o.png --threads 0; tavo render scene.mi -o out.png --threads 1025", 2,
       R"(--threads: Value (0|1025) not in range 1 to 1024)"},
      {"An output name with no extension, or one no format has", {{"scene.mi", kCamera}},
       "tavo render scene.mi -o out; tavo render scene.mi -o x.xyz", 2,
       R"(cannot (tell the format of "out": give it an extension \(\.png, \.exr, \.\.\.\)|)"
       R"(write the image "x\.xyz": no image format has the extension '\.xyz' \(\.png, \.jpg, \.exr, \.tif, \.\.\.\)))"},
      {"An output that is a folder", {{"scene.mi", kCamera}, {"out.png/x", ""}}, "tavo render scene.mi -o out.png", 1,
       R"(cannot write the image "out\.png": Is a directory)"},
      {"An output whose folder does not exist", {{"scene.mi", kCamera}}, "tavo render scene.mi -o no/x.png", 1,
       R"(cannot write the image "no/x\.png": the folder "no": No such file or directory)"},
      {"An output format without alpha", {{"scene.mi", kCamera}},
       "tavo render scene.mi -o x.jpg && tavo render scene.mi -o x.hdr && tavo render scene.mi -o x.ppm", 0, "",
       {"x.jpg", "x.hdr", "x.ppm"}},
      {"A batch file that does not exist", {}, "tavo eval --batch b.txt", 2,
       R"(cannot read the batch file 'b\.txt': No such file or directory)"},
      {"A batch line over 1 MiB", {}, "tavo eval --batch /dev/zero", 2,
       R"(line 1 of the batch file '/dev/zero' is longer than 1 MiB)"},
  };
}

// Rows whose checks need more than one command: the tests below.
const std::set<std::string> kCheckedBelow = {"A full disk, or a write, flush or close that fails",
                                             "SIGINT, SIGTERM or SIGHUP while an image is written"};

// The case's command with the tool for "tavo", quiet where it renders.
std::string with_tool(const std::string &command) {
  const std::string quiet = std::regex_replace(command, std::regex("tavo render "), "tavo render --quiet ");
  return std::regex_replace(quiet, std::regex(R"((^|; |&& |=\S+ )tavo )"), "$1" + kTool + " ");
}

TEST(BadInput, EachFailsWithOneLineItsStatusAndLeavesNothing) {
  int number = 0;
  for (const Case &c : cases()) {
    SCOPED_TRACE(c.row);
    const Folder dir("case" + std::to_string(++number), c.files);
    const std::set<std::string> before = listing(dir.path);
    const ToolRun run = run_in(dir.path, "timeout 20 sh -c \"" + with_tool(c.command) + "\"");
    EXPECT_EQ(run.status, c.status) << run.err;
    // One line from each command that runs the tool, or none when all went well.
    const auto count = [](const std::string &text, const std::string &pattern) {
      const std::regex re(pattern);
      return std::distance(std::sregex_iterator(text.begin(), text.end(), re), std::sregex_iterator());
    };
    const std::string line = "tavo: " + c.message + "\n";
    EXPECT_EQ(count(run.err, line), c.message.empty() ? 0 : count(c.command, "tavo ")) << run.err;
    EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), count(run.err, line)) << run.err;
    std::set<std::string> expected = before;
    expected.insert(c.added.begin(), c.added.end());
    EXPECT_EQ(listing(dir.path), expected);
  }
}

TEST(BadInput, EveryRowOfTheDocumentIsChecked) {
  std::ifstream doc(TAVO_EXAMPLES "/../docs/errors.md");
  std::set<std::string> rows, checked = kCheckedBelow;
  for (const Case &c : cases()) checked.insert(c.row);
  bool in_table = false;
  for (std::string line; std::getline(doc, line);) {
    if (line.starts_with("| Bad input")) in_table = true;
    else if (!line.starts_with("|")) in_table = false;
    else if (in_table && !line.starts_with("|---")) rows.insert(line.substr(2, line.find(" |", 2) - 2));
  }
  EXPECT_EQ(rows, checked);
}

// The fault shim makes the hidden file fail as a disk would: full at the first bytes or later, the flush or the close.
TEST(BadInput, AFailingWriteKeepsTheOldImageAndLeavesNoHiddenFile) {
  const std::pair<const char *, const char *> faults[] = {
      {"TAVO_FAULT=write TAVO_FAULT_AFTER=0", "No space left on device"},
      {"TAVO_FAULT=write TAVO_FAULT_AFTER=100", "No space left on device"},
      {"TAVO_FAULT=fsync", "Input/output error"},
      {"TAVO_FAULT=close", "Input/output error"}};
  for (const char *ext : {"png", "jpg", "exr", "tif"})
    for (const auto &[settings, reason] : faults) {
      SCOPED_TRACE(std::string(ext) + " " + settings);
      const std::string target = std::string("k.") + ext;
      const Folder dir("fault", {{"scene.mi", kCamera}, {target, "the old image"}});
      const ToolRun run = run_in(dir.path, std::string("env ASAN_OPTIONS=verify_asan_link_order=0 LD_PRELOAD=") + TAVO_FAULT_SHIM +
                                     " TAVO_FAULT_PATH=.partial- " + settings + " " + kTool + " render scene.mi -o " +
                                     target + " --resolution 64,48 --quiet");
      EXPECT_EQ(run.status, 1);
      EXPECT_EQ(run.err, "tavo: cannot write the image \"" + target + "\": " + reason + "\n");
      EXPECT_EQ(slurp(dir.path / target), "the old image");
      EXPECT_EQ(listing(dir.path), (std::set<std::string>{"scene.mi", target}));
    }
}

// A signal while the hidden file exists removes it, and still ends the process as it would have.
TEST(BadInput, ASignalDuringAWriteRemovesTheHiddenFile) {
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    SCOPED_TRACE(signal);
    const Folder dir("signal");
    const pid_t child = fork();
    if (child == 0) {
      host::OutputFile file((dir.path / "k.png").string(), "image");
      file.write("half an image", 13);
      std::ofstream((dir.path / "temporary").string()) << file.temporary();
      std::raise(signal);
      _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == signal);
    EXPECT_NE(slurp(dir.path / "temporary").find(".k.partial-"), std::string::npos);
    EXPECT_EQ(listing(dir.path), std::set<std::string>{"temporary"});
  }
}

}  // namespace
}  // namespace tavo::test
