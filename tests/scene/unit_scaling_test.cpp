// Unit scaling between metres and scene units.
#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <string>
#include <tuple>

#include "host_fixture.h"
#include "scene/unit_scaling.h"
#include "values.h"

namespace tavo::test {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr const char *kToInternal = "tavo_scale_meters_to_internal";
constexpr const char *kToMeters = "tavo_scale_internal_to_meters";
constexpr const char *kInverse = "tavo_scale_meters_to_internal_inverse";

class UnitScaling : public HostTest {
 protected:
  // One life cycle under a scene record of `unit_scale` (no record for none).
  float scale(const char *shader, std::optional<float> unit_scale, float v) {
    if (unit_scale) renderer().set_scene(scene_with_unit_scale(*unit_scale));
    else renderer().clear_scene();
    const float result = eval<float>(shader, {value("value", {host::format_scalar(v)})});
    EXPECT_EQ(renderer().held_bytes(), 0u) << shader;
    return result;
  }
};

// Expected values are written as the float arithmetic the shaders must do.
TEST_F(UnitScaling, ConvertsWithTheSceneUnitOrNotAtAllWithoutAUsableOne) {
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

TEST_F(UnitScaling, ValueIsReadOnEveryCallFromAConnectionTooTheFactorOnlyAtInit) {
  renderer().set_scene(scene_with_unit_scale(0.5f));
  const miTag tag = renderer().create_instance(kToMeters, {value("value", {"3"})});
  host::ShadingState s;
  renderer().init_instance(tag, s.state);
  renderer().set_scene(scene_with_unit_scale(10.0f));  // too late for this instance
  float out = 0.0f;
  EXPECT_TRUE(renderer().call(tag, &out, s.state));
  EXPECT_EQ(out, 1.5f);
  *reinterpret_cast<float *>(renderer().instance(tag)->parameters()) = 7.0f;
  EXPECT_TRUE(renderer().call(tag, &out, s.state));
  EXPECT_EQ(out, 3.5f);
  renderer().exit_instance(tag, s.state);
  EXPECT_EQ(renderer().held_bytes(), 0u);
  EXPECT_EQ(renderer().instance(tag)->user_pointer, nullptr);  // full exit clears the slot
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

}  // namespace
}  // namespace tavo::test
