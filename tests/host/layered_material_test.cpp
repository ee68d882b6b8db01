// The host's layered material as the library's material phenomena use it:
// the diffuse map the converters pass through, and ceramic's bump.
#include <cmath>
#include <cstring>

#include "scene_fixture.h"

namespace tavo::test {
namespace {

class LayeredMaterial : public SceneTest {
 protected:
  // Shader instance (or material) `name` at the centre of a square lit head-on, so that a diffuse surface
  // shows its colour unchanged, seen `resolution` pixels across (901: a pixel covers 1/300 of a unit).
  template <typename T>
  T seen(const std::string &scene, const std::string &name, int resolution = 9) {
    SetUp();
    const host::LoadedScene loaded = load(scene + R"(
      object "card" plane origin -1 -1 0 u 2 0 0 v 0 2 0 material "m" end object
      light "head_on" directional direction 0 0 -1 shadow off end light
      camera "c" resolution )" + std::to_string(resolution) + " " + std::to_string(resolution) +
                                          " position 0 0 4 look_at 0 0 0 end camera");
    const host::PixelEvaluation hit = host::evaluate_at_pixel(
        *loaded.scene, loaded.instances, renderer().shader_of(tag(name)), resolution / 2, resolution / 2, {miRAY_EYE});
    EXPECT_EQ(hit.object, "card");
    T out;
    std::memcpy(&out, hit.calls.at(0).result.data(), sizeof out);
    return out;
  }
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
