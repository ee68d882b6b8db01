// Scene readouts: the host's sample counts, fixed per instance at init.
#include <gtest/gtest.h>

#include "host_fixture.h"
#include "scene/readout.h"

namespace tavo::test {
namespace {

class Readouts : public HostTest {
 protected:
  template <typename T = miInteger>
  static T readout(const char *shader, const std::vector<Assignment> &a = {}) {
    const T r = eval<T>(shader, a);
    EXPECT_EQ(renderer().held_bytes(), 0u) << shader;
    return r;
  }
};

TEST_F(Readouts, AreaShadowSamplesComeFromTheScene) {
  SceneData scene = Renderer::default_scene();
  for (const int samples : {16, -3}) {  // handed on as it is
    scene.area_shadow_samples = samples;
    renderer().set_scene(scene);
    EXPECT_EQ(readout("tavo_area_shadow_samples"), samples);
  }
  renderer().clear_scene();
  EXPECT_EQ(readout("tavo_area_shadow_samples"), 0);
}

TEST_F(Readouts, SampleCountsScaleUpByTheirOwnMultiplier) {
  const std::tuple<float, const char *, miInteger> cases[] = {
      {1.3f, "4", 6},                   // 5.2 rounds up
      {0.0f, "4", 4}, {-2.0f, "4", 4},  // no usable multiplier
      {1.1f, "10", 11},  // 10 x 1.1f rounds to exactly 11 in single precision (not so in double)
      {0.5f, "-3", -1},  // ceil towards zero for negatives
  };
  const std::pair<const char *, miScalar SceneData::*> shaders[] = {
      {"tavo_blurred_reflection_multiplier", &SceneData::blurred_reflection_multiplier},
      {"tavo_blurred_refraction_multiplier", &SceneData::blurred_refraction_multiplier}};
  for (const auto &[shader, multiplier] : shaders) {
    for (const auto &[m, samples, expected] : cases) {
      SceneData scene = Renderer::default_scene();
      scene.blurred_reflection_multiplier = scene.blurred_refraction_multiplier = 100.0f;  // the other one must not count
      scene.*multiplier = m;
      renderer().set_scene(scene);
      EXPECT_EQ(readout(shader, {value("samples", {samples})}), expected) << shader << " x" << m << " of " << samples;
    }
    renderer().clear_scene();
    EXPECT_EQ(readout(shader, {value("samples", {"5"})}), 5) << shader;
  }
}

}  // namespace
}  // namespace tavo::test
