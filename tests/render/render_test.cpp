// Rendering whole images: the examples against reference images (8-bit PNGs,
// so the sRGB encoding too), thread count independence, tavo diff and the log.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "compare.h"
#include "render.h"
#include "renderer_core.h"
#include "texture.h"
#include "tool_run.h"

namespace tavo::test {
namespace {

namespace fs = std::filesystem;

// The comparison `tavo diff` makes, of a rendered image against another.
host::ImageComparison compare(const std::string &a, const std::string &b) {
  const host::ImageComparison d = host::compare_images(a, b);
  EXPECT_TRUE(d.same_size()) << a << " against " << b;
  return d;
}

// The examples and previews against the images beside this test; after a
// deliberate change: tavo ARGS -o REFERENCE --resolution W,H --threads 2.
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
      // two lenses chained: the glossy sampler's eye ray goes to to_bw, whose eye ray is shaded (every pixel grey)
      {"render " + examples + "lenses.mi", "lenses_72x48.png", "72,48"},
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
        tavo(c.args + " -o " + image.string() + " --resolution " + c.resolution + " --threads 2 --quiet");
    ASSERT_EQ(run.status, 0) << run.err;
    const host::ImageComparison d = compare(image.string(), (here / c.reference).string());
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
      const ToolRun run = tavo("render " + scene + " -o " + (out.path / (std::string(threads) + ".exr")).string() +
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
    EXPECT_EQ(tavo("render " + scene + " -o " + file + " --quiet --threads 1 " + more).status, 0);
    return file;
  };
  const std::string one = render("one.png", "--resolution 48,36");
  const std::string four = render("four.png", "--resolution 48,36 --samples 4");
  const std::string small = render("small.png", "--resolution 24,18");
  const host::ImageComparison d = compare(one, four);
  ASSERT_GT(d.max_error, 0.05);  // antialiased edges differ a lot, the rest little
  ASSERT_LT(d.mean_error, 0.05);
  const std::string pair = " " + one + " " + four;
  const std::pair<std::string, int> cases[] = {
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
  for (const auto &[args, status] : cases) EXPECT_EQ(tavo(args).status, status) << args;
  // The difference image: |a - b| x scale, readable by the same comparison.
  const std::string diff = (out.path / "diff.exr").string();
  EXPECT_EQ(tavo("diff" + pair + " -o " + diff + " --scale 2").status, 2);
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
    const ToolRun run = tavo("render " + scene + " -o " + file + " --resolution 64,48 --samples 2");
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
  const ToolRun quiet = tavo("render " + scene + " -o " + (out.path / "q.png").string() + " --quiet");
  EXPECT_EQ(quiet.err, "");
}

// Bad options of render's own (the robustness tests have the missing and
// unwritable files): a usage status, one line, and no file.
TEST(Render, BadOptionsLeaveNoFileBehind) {
  Folder dir("fail", {{"scene.mi", "camera \"c\" resolution 8 8 end camera\n"}});
  const std::string render = "render " + (dir.path / "scene.mi").string() + " -o " + (dir.path / "out.png").string();
  expect_refused({render + " --samples 0", 2, "--samples must lie in 1..1024, found 0"});
  expect_refused({render + " --resolution 8x8", 2, "expected --resolution W,H with two integers, found '8x8'"});
  EXPECT_FALSE(fs::exists(dir.path / "out.png"));
}

// docs/gallery.png is what make demo renders: the two at their mip level of
// 120x80 (the mean of 8x8 pixels), the render at one sample per pixel (the
// captions keep their size against the picture only at full size).
TEST(Render, TheDocumentedGalleryIsWhatTheDemoRenders) {
  Folder out("docs_gallery");
  const fs::path top = fs::path(TAVO_EXAMPLES).parent_path();
  const std::string image = (out.path / "gallery.png").string();
  const ToolRun run = tavo("render " + (top / "examples" / "gallery.mi").string() + " -o " + image +
                           " --samples 1 --threads 2 --quiet");
  ASSERT_EQ(run.status, 0) << run.err;
  const host::Image rendered = host::read_image(image, "render");
  const host::Image docs = host::read_image((top / "docs" / "gallery.png").string(), "docs");
  ASSERT_GT(docs.levels().size(), 3u);
  ASSERT_EQ(rendered.levels().size(), docs.levels().size());
  const host::Image::Level &a = rendered.levels()[3], &b = docs.levels()[3];
  ASSERT_EQ(a.width, b.width);
  ASSERT_EQ(a.height, b.height);
  double error = 0;
  for (std::size_t k = 0; k < a.texels.size(); ++k)
    error += std::abs(a.texels[k].r - b.texels[k].r) + std::abs(a.texels[k].g - b.texels[k].g) +
             std::abs(a.texels[k].b - b.texels[k].b);
  // one sample's noise, averaged, comes to about 0.024; the first gallery's look was 0.17
  EXPECT_LT(error / (3.0 * a.texels.size()), 0.05);
}

}  // namespace
}  // namespace tavo::test
