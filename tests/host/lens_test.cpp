// Rendering through lens shaders, chained as the camera names them.
#include "render.h"
#include "scene_fixture.h"

namespace tavo::test {
namespace {

// A lit ball on a floor under a panel light, and a sky.
const char kScene[] = R"(
    shader "sky" "tavo_host_constant" ( "color" 0.2 0.4 0.9 )
    material "red" "tavo_host_material" ( "color" 0.9 0.3 0.1, "lit" on ) end material
    material "pale" "tavo_host_material" ( "color" 0.7 0.8 0.6, "lit" on ) end material
    shader "grey" "to_bw" ( )
    shader "glossy" "tavo_core_glossy_sampler" ( )
    light "panel" area origin -2 5 -2 u 4 0 0 v 0 0 4 samples 3 end light
    object "ball" sphere centre 0 0 0 radius 1 material "red" end object
    object "floor" plane origin -6 -1 6 u 12 0 0 v 0 0 -12 material "pale" end object
    camera "c" resolution 8 6 position 0 1 6 look_at 0 0 0 environment = "sky" lens = "glossy" lens = "grey" end camera
)";

class Lenses : public SceneTest {
 protected:
  static host::RenderedImage render(host::Scene &scene, const host::LoadedScene &loaded, std::vector<miTag> lenses) {
    scene.lenses = std::move(lenses);
    host::RenderSettings settings;
    settings.threads = 1;
    return host::render(scene, loaded.instances, settings);
  }
  // Every pixel of `grey` is the grey lens's weighting of the same pixel of `colour`.
  static void expect_greyed(const host::RenderedImage &colour, const host::RenderedImage &grey) {
    ASSERT_EQ(grey.rgba.size(), colour.rgba.size());
    for (std::size_t p = 0; p < colour.rgba.size(); p += 4) {
      const float *c = &colour.rgba[p];
      const float want = (0.59f * c[1] + c[0] * 0.3f) + 0.11f * c[2];  // in the lens's order
      EXPECT_EQ(std::vector<float>(&grey.rgba[p], &grey.rgba[p] + 4), (std::vector<float>{want, want, want, c[3]}))
          << "pixel " << p / 4;
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
}

}  // namespace
}  // namespace tavo::test
