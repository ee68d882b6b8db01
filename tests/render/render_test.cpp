// Rendering whole images: the examples against reference images, thread
// count independence, the sRGB encoding and the failures that must leave no file.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

#include "render.h"
#include "renderer_core.h"
#include "compare.h"
#include "texture.h"

namespace fs = std::filesystem;

namespace {

struct ToolRun {
  int status;
  std::string err;
};

ToolRun run_tool(const std::string &args) {
  const fs::path err_file = fs::path(::testing::TempDir()) / ("render_err_" + std::to_string(::getpid()));
  const std::string command = std::string(TAVO_TOOL) + " " + args + " 2>" + err_file.string();
  const int status = std::system(command.c_str());
  std::ifstream in(err_file);
  std::stringstream err;
  err << in.rdbuf();
  fs::remove(err_file);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, err.str()};
}

// A folder of its own per test, removed afterwards.
struct Folder {
  fs::path path;
  explicit Folder(const std::string &name) : path(fs::path(::testing::TempDir()) / ("render_" + name)) {
    fs::remove_all(path);
    fs::create_directories(path);
  }
  ~Folder() { fs::remove_all(path); }
};

// The comparison `tavo diff` makes, of a rendered image against another.
tavo::host::ImageComparison compare(const std::string &a, const std::string &b) {
  const tavo::host::ImageComparison d = tavo::host::compare_images(a, b);
  EXPECT_TRUE(d.same_size()) << a << " against " << b;
  return d;
}

}  // namespace

// Each example, and the material preview, at low resolution against the
// image checked in beside this test: any change of a shader or of the host
// that changes the picture shows. Regenerate a reference with the command in
// the table (tavo ARGS -o REFERENCE --resolution W,H --threads 2) after a
// deliberate change.
TEST(Render, ExamplesAndPreviewsMatchTheirReferenceImages) {
  struct Case {
    std::string args;
    const char *reference;
    const char *resolution;
  };
  const std::string examples = std::string(TAVO_EXAMPLES) + "/";
  const Case cases[] = {
      {"render " + examples + "gallery.mi", "gallery_96x64.png", "96,64"},
      {"render " + examples + "utilities.mi", "utilities_64x48.png", "64,48"},
      // another aspect: the horizontal field of view stays, the picture is cut, not stretched
      {"render " + examples + "gallery.mi", "gallery_96x32.png", "96,32"},
      // the studio environment and a small key in a glossy lobe (both sampled, weighed against each other)
      {"preview tavo_Mtl_Metal type=0 finish=1", "preview_metal_64x48.png", "64,48"},
      {"preview tavo_Mtl_Metal type=3 patina=0.6", "preview_patina_64x48.png", "64,48"},
      // a tinted shadow through the glass
      {"preview tavo_Shd_Glazing_spider glass_color=3", "preview_glazing_64x48.png", "64,48"},
  };
  const fs::path here = fs::path(__FILE__).parent_path();
  for (const Case &c : cases) {
    SCOPED_TRACE(c.reference);
    Folder out(std::string("example_") + c.reference);
    const fs::path image = out.path / "image.png";
    const ToolRun run =
        run_tool(c.args + " -o " + image.string() + " --resolution " + c.resolution + " --threads 2 --quiet");
    ASSERT_EQ(run.status, 0) << run.err;
    const tavo::host::ImageComparison d = compare(image.string(), (here / c.reference).string());
    // one 8-bit step of rounding allowed anywhere, far less on average
    EXPECT_LT(d.mean_error, 0.002);
    EXPECT_LE(d.max_error, 2.5 / 255.0);
  }
}

TEST(Render, OneThreadAndTwoThreadsGiveTheSameImage) {
  for (const char *example : {"gallery.mi", "utilities.mi"}) {
    SCOPED_TRACE(example);
    Folder out("threads");
    const std::string scene = (fs::path(TAVO_EXAMPLES) / example).string();
    for (const char *threads : {"1", "2"}) {
      const ToolRun run = run_tool("render " + scene + " -o " + (out.path / (std::string(threads) + ".exr")).string() +
                           " --resolution 60,36 --samples 4 --quiet --threads " + threads);
      ASSERT_EQ(run.status, 0) << run.err;
    }
    EXPECT_EQ(compare((out.path / "1.exr").string(), (out.path / "2.exr").string()).max_error, 0.0);
  }
}

// tavo diff's verdicts and exit statuses on images that are identical, a
// little different and very different, of another size, and missing.
TEST(Render, DiffGivesTheVerdictsOfImageComparisonTools) {
  Folder out("diff");
  const std::string scene = (fs::path(TAVO_EXAMPLES) / "utilities.mi").string();
  const auto render = [&](const std::string &name, const std::string &more) {
    const std::string file = (out.path / name).string();
    EXPECT_EQ(run_tool("render " + scene + " -o " + file + " --quiet --threads 1 " + more).status, 0);
    return file;
  };
  const std::string one = render("one.png", "--resolution 48,36");
  const std::string four = render("four.png", "--resolution 48,36 --samples 4");
  const std::string small = render("small.png", "--resolution 24,18");
  const tavo::host::ImageComparison d = compare(one, four);
  ASSERT_GT(d.max_error, 0.05);  // antialiased edges differ a lot, the rest little
  ASSERT_LT(d.mean_error, 0.05);
  const std::string pair = " " + one + " " + four;
  struct Case {
    std::string args;
    int status;
  };
  const Case cases[] = {
      {"diff " + one + " " + one, 0},
      {"diff" + pair, 2},
      {"diff" + pair + " --fail 1 --warn 1", 0},
      {"diff" + pair + " --fail 1 --warn 0.01", 1},
      {"diff" + pair + " --failpercent 100", 1},  // warnings stay
      {"diff" + pair + " --failpercent 100 --warnpercent 100", 0},
      {"diff" + pair + " --failpercent 100 --warnpercent 100 --hardfail 0.01", 2},
      {"diff " + one + " " + small, 3},
      {"diff " + one + " " + (out.path / "missing.png").string(), 4},
  };
  for (const Case &c : cases) EXPECT_EQ(run_tool(c.args + " > /dev/null").status, c.status) << c.args;
  // The difference image: |a - b| x scale, readable by the same comparison.
  const std::string diff = (out.path / "diff.exr").string();
  EXPECT_EQ(run_tool("diff" + pair + " -o " + diff + " --scale 2 > /dev/null").status, 2);
  EXPECT_EQ(compare(diff, diff).max_error, 0.0);
}

// A render to a log: a line at each tenth and no carriage return, then the
// statistics line; the file keeps how it was made in its metadata.
TEST(Render, ALogGetsLinesAndTheFileItsMetadata) {
  Folder out("report");
  const std::string scene = (fs::path(TAVO_EXAMPLES) / "utilities.mi").string();
  for (const char *name : {"image.png", "image.exr"}) {
    SCOPED_TRACE(name);
    const std::string file = (out.path / name).string();
    const ToolRun run = run_tool("render " + scene + " -o " + file + " --resolution 64,48 --samples 2");
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err.find('\r'), std::string::npos);
    EXPECT_EQ(run.err.rfind("rendering: 10%\nrendering: 20%\n", 0), 0u) << run.err;
    EXPECT_NE(run.err.find("\nrendered 64x48 at 2 samples per pixel in "), std::string::npos) << run.err;
    EXPECT_NE(run.err.find(": 6144 samples, "), std::string::npos) << run.err;
    std::ifstream in(file, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    for (const char *text : {"Software", "tavo 1.0", "tavo:render_seconds", "tavo:samples_per_pixel"})
      EXPECT_NE(bytes.find(text), std::string::npos) << text;
  }
  const ToolRun quiet = run_tool("render " + scene + " -o " + (out.path / "q.png").string() + " --quiet");
  EXPECT_EQ(quiet.err, "");
}

// --set changes one swatch of the gallery and nothing else: nearly all of
// the difference lies around the most changed pixel (the rest is the swatch
// seen in its neighbours' reflections).
TEST(Render, SetChangesOneInstanceOfTheSceneAndNothingElse) {
  Folder out("set");
  const std::string scene = (fs::path(TAVO_EXAMPLES) / "gallery.mi").string();
  const std::string plain = (out.path / "plain.exr").string(), set = (out.path / "set.exr").string();
  const std::string common = " --resolution 144,96 --quiet --threads 2";
  ASSERT_EQ(run_tool("render " + scene + " -o " + plain + common).status, 0);
  const ToolRun run = run_tool("render " + scene + " -o " + set + common + " --set ceramic_2.color=0.9,0.1,0.1");
  ASSERT_EQ(run.status, 0) << run.err;
  const tavo::host::Image a = tavo::host::read_image(plain, "plain"), b = tavo::host::read_image(set, "set");
  const auto difference = [&](int i, int j) {
    const miColor p = a.texel(i, j), q = b.texel(i, j);
    return std::abs(p.r - q.r) + std::abs(p.g - q.g) + std::abs(p.b - q.b);
  };
  double total = 0, most = 0;
  int mx = 0, my = 0;
  for (int j = 0; j < a.height(); ++j)
    for (int i = 0; i < a.width(); ++i) {
      total += difference(i, j);
      if (difference(i, j) > most) most = difference(i, j), mx = i, my = j;
    }
  ASSERT_GT(most, 0.1) << "the override changed nothing";
  double near = 0;
  for (int j = std::max(0, my - a.height() / 8); j < std::min(a.height(), my + a.height() / 8); ++j)
    for (int i = std::max(0, mx - a.width() / 8); i < std::min(a.width(), mx + a.width() / 8); ++i)
      near += difference(i, j);
  EXPECT_GT(near, 0.9 * total);
}

TEST(Render, FailuresLeaveNoFileBehind) {
  struct Case {
    const char *what;
    const char *scene;   // written to scene.mi; empty: no scene file at all
    const char *output;
    const char *extra;
    int status;
    const char *message;
  };
  const Case cases[] = {
      {"a missing texture", "color texture \"bricks\" \"no_such_bricks.png\"\n", "out.png", "", 1,
       "no_such_bricks.png"},
      {"a missing scene file", "", "out.png", "", 1, "missing.mi"},
      {"no extension on the output", "camera \"c\" resolution 8 8 end camera\n", "out", "", 2, "extension"},
      {"zero samples", "camera \"c\" resolution 8 8 end camera\n", "out.png", "--samples 0", 2, "--samples"},
      {"a malformed resolution", "camera \"c\" resolution 8 8 end camera\n", "out.png", "--resolution 8x8", 2,
       "--resolution"},
      {"an unwritable folder", "camera \"c\" resolution 8 8 end camera\n", "no/such/folder/out.png", "", 1,
       "cannot write"},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    Folder dir("fail");
    fs::path scene = dir.path / "missing.mi";
    if (c.scene[0]) {
      scene = dir.path / "scene.mi";
      std::ofstream(scene) << c.scene;
    }
    const ToolRun run = run_tool("render " + scene.string() + " -o " + (dir.path / c.output).string() + " --quiet " + c.extra);
    EXPECT_EQ(run.status, c.status);
    EXPECT_NE(run.err.find(c.message), std::string::npos) << run.err;
    EXPECT_EQ(std::count_if(fs::directory_iterator(dir.path), fs::directory_iterator{},
                            [](const fs::directory_entry &e) { return e.path().filename() != "scene.mi"; }),
              0);
  }
}

TEST(Render, SrgbEncodingOfLinearValues) {
  struct Case {
    float linear;
    float encoded;
  };
  const Case cases[] = {
      {-0.5f, 0.0f}, {0.0f, 0.0f},         {0.002f, 0.02584f}, {0.0031308f, 0.040449936f},
      {0.18f, 0.46135613f}, {0.5f, 0.7353570f}, {1.0f, 1.0f},       {4.0f, 1.0f},
      {NAN, 0.0f},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.linear);
    EXPECT_NEAR(tavo::host::srgb_encode(c.linear), c.encoded, 2e-6f);
  }
}
