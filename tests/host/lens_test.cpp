// Rendering through lens shaders, chained as the camera names them.
#include <cstring>

#include "render.h"
#include "scene_fixture.h"

namespace tavo::test {
namespace {

// A lit ball on a floor under a panel light, a card coloured by the average
// of two samples through the glossy sampler's function, and a sky.
const char kScene[] = R"(
    shader "sky" "tavo_host_constant" ( "color" 0.2 0.4 0.9 )
    material "red" "tavo_host_material" ( "color" 0.9 0.3 0.1, "lit" on ) end material
    material "pale" "tavo_host_material" ( "color" 0.7 0.8 0.6, "lit" on ) end material
    shader "averaged" "tavo_host_sample_average" ( "samples" [ 0.2 0.4 0.6, 0.4 0.2 0 ] )
    material "label" "tavo_host_material" ( "color" = "averaged" ) end material
    shader "grey" "to_bw" ( )
    shader "glossy" "tavo_core_glossy_sampler" ( )
    light "panel" area origin -2 5 -2 u 4 0 0 v 0 0 4 samples 3 end light
    object "ball" sphere centre 0 0 0 radius 1 material "red" end object
    object "floor" plane origin -6 -1 6 u 12 0 0 v 0 0 -12 material "pale" end object
    object "card" plane origin 0.5 -1 2 u 1.5 0 0 v 0 2 0 material "label" end object
    camera "c"
        resolution 8 6
        position 0 1 6
        look_at 0 0 0
        environment = "sky"
        lens = "glossy"
        lens = "grey"
    end camera
)";

class Lenses : public SceneTest {
 protected:
  static host::RenderedImage render(host::Scene &scene, const host::LoadedScene &loaded, std::vector<miTag> lenses) {
    scene.lenses = std::move(lenses);
    host::RenderSettings settings;
    settings.threads = 1;
    return host::render(scene, loaded.instances, settings);
  }
  static miColor pixel(const host::RenderedImage &image, int x, int y) {
    const float *p = &image.rgba[4 * (static_cast<std::size_t>(y) * image.width + x)];
    return {p[0], p[1], p[2], p[3]};
  }
  // Every pixel of `grey` is the grey lens's weighting of the same pixel of `colour`.
  static void expect_greyed(const host::RenderedImage &colour, const host::RenderedImage &grey) {
    ASSERT_EQ(grey.rgba.size(), colour.rgba.size());
    for (int y = 0; y < colour.height; ++y)
      for (int x = 0; x < colour.width; ++x) {
        SCOPED_TRACE(testing::Message() << "pixel " << x << "," << y);
        const miColor c = pixel(colour, x, y), g = pixel(grey, x, y);
        const float want = (0.59f * c.g + c.r * 0.3f) + 0.11f * c.b;  // in the lens's order
        expect_near(g, {want, want, want, c.a}, 0, "grey");
      }
  }
};

TEST_F(Lenses, AChainOfLensesEndsAsItsLastAndEachLensesEyeRayReachesTheNext) {
  const host::LoadedScene loaded = load(kScene);
  host::Scene &scene = *loaded.scene;
  ASSERT_EQ(scene.lenses, (std::vector<miTag>{tag("glossy"), tag("grey")}));
  const host::RenderedImage plain = render(scene, loaded, {});
  int coloured = 0;
  for (int p = 0; p < 48; ++p) coloured += plain.rgba[4 * p] != plain.rgba[4 * p + 1];
  EXPECT_GT(coloured, 24);  // not grey already
  expect_greyed(plain, render(scene, loaded, {tag("grey")}));
  // the sampler's eye ray goes to the grey lens, whose eye ray shades the scene
  expect_greyed(render(scene, loaded, {tag("glossy")}), render(scene, loaded, {tag("glossy"), tag("grey")}));

  // only under the glossy sampler does a material find the averaging function
  double x = 0, y = 0;
  ASSERT_TRUE(scene.camera.to_raster({1.25f, 0, 2}, x, y));  // the card's middle
  const int px = static_cast<int>(x), py = static_cast<int>(y);
  EXPECT_FALSE(scene.camera.to_raster({0, 1, 20}, x, y));  // behind the camera
  expect_near(pixel(render(scene, loaded, {}), px, py), {1, 0, 1, 1}, 0, "missing");
  expect_near(pixel(render(scene, loaded, {tag("glossy")}), px, py), {0.3f, 0.3f, 0.3f, 1}, 1e-6f, "averaged");

  // evaluating at a pixel shades the hit itself, without the scene's lens
  const host::PixelEvaluation at = host::evaluate_at_pixel(scene, loaded.instances, tag("averaged"), px, py, {miRAY_EYE});
  EXPECT_EQ(at.object, "card");
  miColor direct;
  std::memcpy(&direct, at.calls[0].result.data(), sizeof direct);
  expect_near(direct, {1, 0, 1, 1}, 0, "missing at the hit");
}

}  // namespace
}  // namespace tavo::test
