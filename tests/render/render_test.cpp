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
#include <sstream>
#include <string>

#include "render.h"
#include "renderer_core.h"
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

struct Difference {
  double mean = 0;
  double max = 0;
};

Difference compare(const std::string &a, const std::string &b) {
  const tavo::host::Image x = tavo::host::read_image(a, "rendered"), y = tavo::host::read_image(b, "reference");
  EXPECT_EQ(x.width(), y.width());
  EXPECT_EQ(x.height(), y.height());
  Difference d;
  if (x.width() != y.width() || x.height() != y.height()) return {1, 1};
  for (int j = 0; j < x.height(); ++j)
    for (int i = 0; i < x.width(); ++i) {
      const miColor p = x.texel(i, j), q = y.texel(i, j);
      for (const double e : {p.r - q.r, p.g - q.g, p.b - q.b, p.a - q.a}) {
        d.mean += std::abs(e);
        d.max = std::max(d.max, std::abs(e));
      }
    }
  d.mean /= 4.0 * x.width() * x.height();
  return d;
}

}  // namespace

// Each example at low resolution against the image checked in beside this
// test: any change of a shader or of the host that changes the picture shows.
// Regenerate a reference with the command in the table after a deliberate change.
TEST(Render, ExamplesMatchTheirReferenceImages) {
  struct Case {
    const char *scene;
    const char *reference;
    const char *resolution;
  };
  const Case cases[] = {
      {"gallery.mi", "gallery_96x64.png", "96,64"},
      {"utilities.mi", "utilities_64x48.png", "64,48"},
  };
  const fs::path here = fs::path(__FILE__).parent_path();
  for (const Case &c : cases) {
    SCOPED_TRACE(c.scene);
    Folder out(std::string("example_") + c.reference);
    const fs::path image = out.path / "image.png";
    const ToolRun run = run_tool("render " + (fs::path(TAVO_EXAMPLES) / c.scene).string() + " -o " + image.string() +
                         " --resolution " + c.resolution + " --threads 2 --quiet");
    ASSERT_EQ(run.status, 0) << run.err;
    const Difference d = compare(image.string(), (here / c.reference).string());
    // one 8-bit step of rounding allowed anywhere, far less on average
    EXPECT_LT(d.mean, 0.002);
    EXPECT_LE(d.max, 2.5 / 255.0);
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
    const Difference d = compare((out.path / "1.exr").string(), (out.path / "2.exr").string());
    EXPECT_EQ(d.max, 0.0);
  }
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
