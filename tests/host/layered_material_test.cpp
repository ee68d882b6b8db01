// The host's layered material as the library's material phenomena use it:
// the diffuse map the converters pass through, and the relief behind
// ceramic's bump.
#include <cmath>
#include <cstring>

#include "scene_fixture.h"

namespace tavo::test {
namespace {

// A square facing the camera straight on, lit head-on by a light of
// intensity 1, so that a diffuse surface shows its colour unchanged; seen
// through `resolution` pixels across (odd, so that one pixel is the centre).
std::string stage(int resolution = 9) {
  return R"(
    object "card" plane origin -1 -1 0 u 2 0 0 v 0 2 0 material "m" end object
    light "head_on" directional direction 0 0 -1 shadow off end light
    camera "c" resolution )" + std::to_string(resolution) + " " + std::to_string(resolution) +
         R"( position 0 0 4 look_at 0 0 0 end camera
)";
}
const std::string kStage = stage();
// Fine enough that a pixel covers 1/300 of a scene unit at the card.
const std::string kFineStage = stage(901);

class LayeredMaterial : public SceneTest {
 protected:
  // The result of shader instance (or material) `name`, evaluated where the camera sees the centre of the card.
  template <typename T>
  static T at_centre(const host::LoadedScene &loaded, const std::string &name) {
    const int centre = loaded.scene->camera.intrinsics.x_resolution / 2;
    const host::PixelEvaluation at = host::evaluate_at_pixel(*loaded.scene, loaded.instances,
                                                             renderer().shader_of(tag(name)), centre, centre, {miRAY_EYE});
    EXPECT_EQ(at.object, "card");
    T out;
    std::memcpy(&out, at.calls.at(0).result.data(), sizeof out);
    return out;
  }
};

TEST_F(LayeredMaterial, ADiffuseMapReplacesTheColourOrMultipliesIt) {
  const std::string map = R"(shader "map" "tavo_host_constant" ( "color" 0.2 0.4 0.8 ) )";
  const auto shaded = [&](const std::string &settings) {
    SetUp();
    const host::LoadedScene loaded =
        load(map + "material \"m\" \"tavo_host_layered\" ( \"diffuse\" 0.5 0.5 0.5" + settings + " ) end material" +
             kStage);
    return at_centre<miColor>(loaded, "m");
  };
  expect_near(shaded(""), {0.5f, 0.5f, 0.5f, 1}, 1e-6f, "no map");
  expect_near(shaded(", \"diffuse_map\" \"map\""), {0.2f, 0.4f, 0.8f, 1}, 1e-6f, "map mode 1");
  expect_near(shaded(", \"diffuse_map\" \"map\", \"map_mode\" 2"), {0.1f, 0.2f, 0.4f, 1}, 1e-6f, "map mode 2");
}

// The ripple's tilt is the gradient of its height field laid into the
// surface where a pixel resolves its wavelength, and fades out where one
// pixel covers a wavelength (moire otherwise).
TEST_F(LayeredMaterial, TheRippleTiltsTheNormalWithinTheSurfaceAndFadesWherePixelsCannotResolveIt) {
  struct Case {
    int resolution;
    float keep_min, keep_max;  // of the unfiltered tilt
  };
  const Case cases[] = {{901, 0.99f, 1.0f}, {9, 0.0f, 0.01f}};
  for (const Case &c : cases) {
    SCOPED_TRACE(c.resolution);
    SetUp();
    const host::LoadedScene loaded = load(R"(
        shader "r" "tavo_host_ripple" ( "amount_x" 0.01, "amount_y" 0.02, "amount_z" 0.5, "wavelength" 0.3 )
        shader "off" "tavo_host_ripple" ( "amount_x" 0.01, "amount_y" 0.02, "enable" 0 )
        material "m" "tavo_host_layered" ( ) end material
    )" + stage(c.resolution));
    const int centre = c.resolution / 2 + 1;  // off the card's centre, where the cosines are not all 1
    const host::PixelEvaluation at =
        host::evaluate_at_pixel(*loaded.scene, loaded.instances, tag("r"), centre, centre, {miRAY_EYE});
    const miVector p = at.point;
    miVector relief;
    std::memcpy(&relief, at.calls.at(0).result.data(), sizeof relief);
    const float k = 6.2831853f / 0.3f;
    const float x = -0.01f * k / 3.0f * std::cos(k * p.x), y = -0.02f * k / 3.0f * std::cos(k * p.y);
    EXPECT_GE(relief.x / x, c.keep_min);
    EXPECT_LE(relief.x / x, c.keep_max);
    EXPECT_NEAR(relief.y / y, relief.x / x, 1e-4f);  // the same fade on every axis
    EXPECT_EQ(relief.z, 0.0f);  // the card's normal is z: the z amount has nothing to tilt
    expect_near(at_centre<miVector>(loaded, "off"), {0, 0, 0}, 0, "switched off");
  }
}

TEST_F(LayeredMaterial, CeramicsBumpReachesTheMaterialOnlyWhereTheConverterTurnsItOn) {
  const auto relief = [&](const std::string &settings) {
    SetUp();
    const host::LoadedScene loaded =
        load("material \"m\" \"tavo_Mtl_Ceramic\" ( " + settings + " ) end material" + kFineStage);
    return at_centre<miVector>(loaded, "m:relief");
  };
  const miVector on = relief("\"type\" 1, \"bump_height_mm\" 2");
  EXPECT_GT(std::abs(on.x) + std::abs(on.y), 0.0f);
  expect_near(relief("\"type\" 0, \"bump_height_mm\" 2"), {0, 0, 0}, 0, "type 0 has no bump");
  expect_near(relief("\"type\" 1, \"bump_height_mm\" 0"), {0, 0, 0}, 0, "no height");
}

}  // namespace
}  // namespace tavo::test
