// Scene readouts: the host's sample counts, fixed per instance at init.
#include <gtest/gtest.h>

#include "host_fixture.h"
#include "layout_registry.h"
#include "scene/readout.h"

namespace tavo::test {
namespace {

using readout::SamplesParams;
const RegisterLayout area_parameters{{"tavo_area_shadow_samples", RecordLayout::Parameters, 0, {}}};
TAVO_LAYOUT("tavo_blurred_reflection_multiplier", Parameters, SamplesParams, TAVO_FIELD(SamplesParams, samples));
TAVO_LAYOUT("tavo_blurred_refraction_multiplier", Parameters, SamplesParams, TAVO_FIELD(SamplesParams, samples));

class Readouts : public HostTest {
 protected:
  miInteger samples(const char *shader, const char *count) {
    const miInteger r = eval<miInteger>(shader, {value("samples", {count})});
    EXPECT_EQ(renderer().held_bytes(), 0u);
    return r;
  }
};

TEST_F(Readouts, AreaShadowSamplesComeFromTheScene) {
  SceneData scene = Renderer::default_scene();
  scene.area_shadow_samples = 16;
  renderer().set_scene(scene);
  EXPECT_EQ(eval<miInteger>("tavo_area_shadow_samples", {}), 16);
  scene.area_shadow_samples = -3;  // handed on as it is
  renderer().set_scene(scene);
  EXPECT_EQ(eval<miInteger>("tavo_area_shadow_samples", {}), -3);
  renderer().clear_scene();
  EXPECT_EQ(eval<miInteger>("tavo_area_shadow_samples", {}), 0);
  EXPECT_EQ(renderer().held_bytes(), 0u);
}

TEST_F(Readouts, SampleCountsScaleUpByTheMultiplier) {
  struct Case {
    float multiplier;
    const char *samples;
    miInteger expected;
  } cases[] = {
      {1.5f, "4", 6},  {1.3f, "4", 6},   // 5.2 rounds up
      {0.0f, "4", 4},  {-2.0f, "4", 4},  // no usable multiplier
      {7.0f, "0", 0},  {0.5f, "3", 2},   // 1.5 rounds up
      {1.1f, "10", 11},  // 10 x 1.1f rounds to exactly 11 in single precision (not so in double)
      {2.0f, "-3", -6}, {0.5f, "-3", -1},  // ceil towards zero for negatives
  };
  const std::pair<const char *, miScalar SceneData::*> shaders[] = {
      {"tavo_blurred_reflection_multiplier", &SceneData::blurred_reflection_multiplier},
      {"tavo_blurred_refraction_multiplier", &SceneData::blurred_refraction_multiplier},
  };
  for (const auto &[shader, multiplier] : shaders) {
    for (const Case &c : cases) {
      SceneData scene = Renderer::default_scene();
      // the other shader's multiplier is set too, and must not be read
      scene.blurred_reflection_multiplier = 100.0f;
      scene.blurred_refraction_multiplier = 100.0f;
      scene.*multiplier = c.multiplier;
      renderer().set_scene(scene);
      EXPECT_EQ(samples(shader, c.samples), c.expected) << shader << " x" << c.multiplier << " of " << c.samples;
    }
    renderer().clear_scene();
    EXPECT_EQ(samples(shader, "5"), 5) << shader;
  }
}

}  // namespace
}  // namespace tavo::test
