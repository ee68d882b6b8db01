// The host's layered material as the library's material phenomena use it:
// the diffuse map the converters pass through, and the relief behind
// ceramic's bump.
#include <cmath>
#include <cstring>
#include <tuple>

#include "scene_fixture.h"

namespace tavo::test {
namespace {

class LayeredMaterial : public SceneTest {
 protected:
  // Shader instance (or material) `name` where the camera sees pixel (at, at), the centre by default, of a
  // square lit head-on so that a diffuse surface shows its colour unchanged, `resolution` pixels across
  // (901: a pixel covers 1/300 of a unit at the card).
  template <typename T>
  T seen(const std::string &scene, const std::string &name, int resolution = 9, int at = -1) {
    SetUp();
    const host::LoadedScene loaded = load(scene + R"(
      object "card" plane origin -1 -1 0 u 2 0 0 v 0 2 0 material "m" end object
      light "head_on" directional direction 0 0 -1 shadow off end light
      camera "c" resolution )" + std::to_string(resolution) + " " + std::to_string(resolution) +
                                          " position 0 0 4 look_at 0 0 0 end camera");
    if (at < 0) at = resolution / 2;
    hit = host::evaluate_at_pixel(*loaded.scene, loaded.instances, renderer().shader_of(tag(name)), at, at, {miRAY_EYE});
    EXPECT_EQ(hit.object, "card");
    T out;
    std::memcpy(&out, hit.calls.at(0).result.data(), sizeof out);
    return out;
  }
  host::PixelEvaluation hit;
};

TEST_F(LayeredMaterial, ADiffuseMapReplacesTheColourOrMultipliesIt) {
  const auto shaded = [&](const std::string &settings) {
    return seen<miColor>(R"(shader "map" "tavo_host_constant" ( "color" 0.2 0.4 0.8 )
        material "m" "tavo_host_layered" ( "diffuse" 0.5 0.5 0.5)" + settings + " ) end material", "m");
  };
  expect_near(shaded(""), {0.5f, 0.5f, 0.5f, 1}, 1e-6f, "no map");
  expect_near(shaded(", \"diffuse_map\" \"map\""), {0.2f, 0.4f, 0.8f, 1}, 1e-6f, "map mode 1");
  expect_near(shaded(", \"diffuse_map\" \"map\", \"map_mode\" 2"), {0.1f, 0.2f, 0.4f, 1}, 1e-6f, "map mode 2");
}

// The ripple's tilt is the gradient of its height field laid into the surface
// where a pixel resolves its wavelength, and fades out where one pixel covers
// a wavelength (moire otherwise).
TEST_F(LayeredMaterial, TheRippleTiltsTheNormalWithinTheSurfaceAndFadesWherePixelsCannotResolveIt) {
  const std::string ripples = R"(
      shader "r" "tavo_host_ripple" ( "amount_x" 0.01, "amount_y" 0.02, "amount_z" 0.5, "wavelength" 0.3 )
      shader "off" "tavo_host_ripple" ( "amount_x" 0.01, "amount_y" 0.02, "enable" 0 )
      material "m" "tavo_host_layered" ( ) end material)";
  for (const auto &[resolution, keep_min, keep_max] : {std::tuple{901, 0.99f, 1.0f}, std::tuple{9, 0.0f, 0.01f}}) {
    SCOPED_TRACE(resolution);
    // off the card's centre, where the cosines are not all 1
    const miVector relief = seen<miVector>(ripples, "r", resolution, resolution / 2 + 1);
    const float k = 6.2831853f / 0.3f;
    const float x = -0.01f * k / 3.0f * std::cos(k * hit.point.x), y = -0.02f * k / 3.0f * std::cos(k * hit.point.y);
    EXPECT_TRUE(relief.x / x >= keep_min && relief.x / x <= keep_max) << relief.x / x;
    EXPECT_NEAR(relief.y / y, relief.x / x, 1e-4f);  // the same fade on every axis
    EXPECT_EQ(relief.z, 0.0f);  // the card's normal is z: the z amount has nothing to tilt
    expect_near(seen<miVector>(ripples, "off", resolution), {0, 0, 0}, 0, "switched off");
  }
}

TEST_F(LayeredMaterial, CeramicsBumpReachesTheMaterialOnlyWhereTheConverterTurnsItOn) {
  const auto relief = [&](const std::string &settings) {
    return seen<miVector>("material \"m\" \"tavo_Mtl_Ceramic\" ( " + settings + " ) end material", "m:relief", 901);
  };
  const miVector on = relief("\"type\" 1, \"bump_height_mm\" 2");
  EXPECT_GT(std::abs(on.x) + std::abs(on.y), 0.0f);
  expect_near(relief("\"type\" 0, \"bump_height_mm\" 2"), {0, 0, 0}, 0, "type 0 has no bump");
  expect_near(relief("\"type\" 1, \"bump_height_mm\" 0"), {0, 0, 0}, 0, "no height");
}

}  // namespace
}  // namespace tavo::test
