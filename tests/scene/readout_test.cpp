// Scene readouts and unit scaling: values the host's scene record gives (or,
// without a record, the input as it is), and an image's aspect ratio, times a
// multiplier; all fixed per instance at init.
#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <tuple>

#include "host_fixture.h"
#include "scene/readout.h"
#include "texture.h"

namespace tavo::test {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr const char *kToInternal = "tavo_scale_meters_to_internal";
constexpr const char *kToMeters = "tavo_scale_internal_to_meters";
constexpr const char *kInverse = "tavo_scale_meters_to_internal_inverse";
constexpr const char *kHeightPerWidth = "tavo_aspect_ratio_height_per_width";
constexpr const char *kWidthPerHeight = "tavo_aspect_ratio_width_per_height";

class Readouts : public HostTest {
 protected:
  // One life cycle under `scene` (none: no record).
  template <typename T = miInteger>
  static T read(const char *shader, const std::optional<SceneData> &scene, const std::vector<Assignment> &a = {}) {
    if (scene) renderer().set_scene(*scene);
    else renderer().clear_scene();
    return eval<T>(shader, a);
  }
  static float scale(const char *shader, std::optional<float> unit_scale, float v) {
    return read<float>(shader, unit_scale ? std::optional(scene_with_unit_scale(*unit_scale)) : std::nullopt,
                       {value("value", {word(v)})});
  }
  static miTag image(int w, int h) {
    return renderer().add_texture(
        std::make_unique<host::Image>("grey", w, h, 1, std::vector<float>(static_cast<std::size_t>(w) * h, 0.5f)));
  }
  static float aspect(const char *shader, miTag image_tag, const char *multiplier) {
    return eval<float>(shader, {value("image", {std::to_string(image_tag)}), value("multiplier", {multiplier})});
  }
};

// Expected values are written as the float arithmetic the shaders must do.
TEST_F(Readouts, ConvertsWithTheSceneUnitOrNotAtAllWithoutAUsableOne) {
  const float inch = 0.0254f;
  const std::tuple<const char *, float, float, float> cases[] = {
      {kToInternal, inch, 2.5f, (1.0f / inch) * 2.5f},
      {kToMeters, inch, 39.37008f, inch * 39.37008f},
      {kInverse, inch, 1.0f, 1.0f / ((1.0f / inch) * 1.0f)},
      {kInverse, 0.5f, 4.0f, 1.0f / (2.0f * 4.0f)},
      {kInverse, inch, -0.0f, 1.0f},  // never a division by zero
      {kToInternal, kInf, 5.0f, 0.0f},  // 1 / unit_scale is 0: the factor is 0 ...
      {kInverse, kInf, 5.0f, 1.0f},     // ... and the inverse 1
      {kInverse, 1e-30f, 1e10f, 0.0f},  // the product is formed first: it overflows to infinity
  };
  for (const auto &[shader, unit_scale, v, expected] : cases) EXPECT_EQ(scale(shader, unit_scale, v), expected) << shader << " " << unit_scale;
  // no scene record, or a scale that is zero, negative or not a number
  for (const std::optional<float> unusable : {std::optional<float>{}, {0.0f}, {-1.0f}, {kNaN}}) {
    EXPECT_EQ(scale(kToInternal, unusable, 2.5f), 2.5f) << unusable.value_or(1);
    EXPECT_EQ(scale(kToMeters, unusable, 2.5f), 2.5f) << unusable.value_or(1);
    EXPECT_EQ(scale(kInverse, unusable, 4.0f), 0.25f) << unusable.value_or(1);
  }
}

TEST_F(Readouts, ValueIsReadOnEveryCallFromAConnectionTooTheFactorOnlyAtInit) {
  renderer().set_scene(scene_with_unit_scale(0.5f));
  const miTag tag = instance(kToMeters, {value("value", {"3"})});
  renderer().set_scene(scene_with_unit_scale(10.0f));  // too late for this instance
  EXPECT_EQ(call<float>(tag), 1.5f);
  set(tag, 0, 7.0f);
  EXPECT_EQ(call<float>(tag), 3.5f);
  // 8 units at 0.25 m are 2 m, and back: 8, on every ray
  renderer().set_scene(scene_with_unit_scale(0.25f));
  const miTag metres = renderer().create_instance(kToMeters, {value("value", {"8"})});
  const auto calls = renderer().run(renderer().create_instance(kToInternal, {link("value", metres)}), {miRAY_EYE, miRAY_SHADOW});
  ASSERT_EQ(calls.size(), 2u);
  for (const auto &call : calls) {
    EXPECT_TRUE(call.returned);
    EXPECT_EQ(*reinterpret_cast<const float *>(call.result.data()), 8.0f);
  }
}

TEST_F(Readouts, SampleCountsComeFromTheSceneTheBlurredOnesScaledUpByTheirOwnMultiplier) {
  SceneData scene = Renderer::default_scene();
  for (const int samples : {16, -3}) {  // handed on as it is
    scene.area_shadow_samples = samples;
    EXPECT_EQ(read("tavo_area_shadow_samples", scene), samples);
  }
  EXPECT_EQ(read("tavo_area_shadow_samples", std::nullopt), 0);
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
      scene.blurred_reflection_multiplier = scene.blurred_refraction_multiplier = 100.0f;  // the other one must not count
      scene.*multiplier = m;
      EXPECT_EQ(read(shader, scene, {value("samples", {samples})}), expected) << shader << " x" << m << " of " << samples;
    }
    EXPECT_EQ(read(shader, std::nullopt, {value("samples", {"5"})}), 5) << shader;
  }
}

TEST_F(Readouts, AnAspectRatioIsTheImagesTimesTheMultiplierOrTheMultiplierAlone) {
  const miTag vga = image(640, 480), narrow = image(3, 7), tall = image(3, 10);
  const miTag not_an_image = renderer().create_instance(kToMeters, {});
  const std::tuple<miTag, const char *, float, float> cases[] = {  // image, multiplier: height per width, width per height
      {vga, "-1", -0.75f, -1.33333337f},
      // the quotient is formed first: (7 / 3) x 0.3 is 0.699999988, (7 x 0.3) / 3 would be 0.700000048
      {narrow, "0.3", 0.699999988f, 0.128571436f},
      // and (3 / 10) x 0.7 is 0.210000008, (3 x 0.7) / 10 would be 0.209999993
      {tall, "0.7", 2.33333325f, 0.210000008f},
      // no image, something else, or a tag that names nothing
      {0, "2.5", 2.5f, 2.5f}, {not_an_image, "2.5", 2.5f, 2.5f}, {4242, "-0.125", -0.125f, -0.125f}};
  for (const auto &[image, multiplier, height_per_width, width_per_height] : cases) {
    EXPECT_EQ(aspect(kHeightPerWidth, image, multiplier), height_per_width) << image << " x" << multiplier;
    EXPECT_EQ(aspect(kWidthPerHeight, image, multiplier), width_per_height) << image << " x" << multiplier;
  }
  EXPECT_EQ(eval<float>(kHeightPerWidth, {}), 1.0f);  // the declared default multiplier is 1
}

TEST_F(Readouts, AspectRatioParametersAreReadOnceAtInit) {
  const miTag tag =
      instance(kWidthPerHeight, {value("image", {std::to_string(image(640, 480))}), value("multiplier", {"2"})});
  set(tag, offsetof(readout::ImageParams, multiplier), 5.0f);  // too late for this instance
  set(tag, offsetof(readout::ImageParams, image), miTag{0});
  EXPECT_EQ(call<float>(tag), 2.66666675f);
}

}  // namespace
}  // namespace tavo::test
