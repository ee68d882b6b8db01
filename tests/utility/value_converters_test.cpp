// Value converters: one parameter type into another, read on every call.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "host_fixture.h"
#include "layout_registry.h"
#include "utility/value_converters.h"

namespace tavo::test {
namespace {

using namespace value_converters;
TAVO_LAYOUT("tavo_Utility_bool_to_int", Parameters, BoolToIntParams, TAVO_FIELD(BoolToIntParams, value));
TAVO_LAYOUT("tavo_Utility_scale_zero_up", Parameters, ScaleZeroUpParams, TAVO_FIELD(ScaleZeroUpParams, value),
            TAVO_FIELD(ScaleZeroUpParams, offset));
TAVO_LAYOUT("tavo_Utility_color_to_bool", Parameters, ColorToBoolParams, TAVO_FIELD(ColorToBoolParams, color),
            TAVO_FIELD(ColorToBoolParams, threshold));
TAVO_LAYOUT("tavo_Utility_color_to_bool", Result, ColorToBoolResult, TAVO_FIELD(ColorToBoolResult, r),
            TAVO_FIELD(ColorToBoolResult, g), TAVO_FIELD(ColorToBoolResult, b));

using ValueConverters = HostTest;

TEST_F(ValueConverters, BoolToIntPassesTheBitsThrough) {
  for (const char *word : {"0", "1", "-7", "2147483647"})
    EXPECT_EQ(eval<miInteger>("tavo_Utility_bool_to_int", {value("value", {word})}), std::atoi(word)) << word;
  EXPECT_EQ(eval<miInteger>("tavo_Utility_bool_to_int", {value("value", {"on"})}), 1);
}

TEST_F(ValueConverters, ScaleZeroUpLiftsTheZeroPoint) {
  struct Case {
    const char *value, *offset;
    float expected;
  } cases[] = {
      {"0.3", "0", 0.3f},                                  // no offset: passes through
      {"0", "0.25", 0.25f / 1.25f},                        // 0 maps to o / (o + 1)
      {"1", "0.25", 1.0f},                                 // 1 stays 1
      {"0.6", "3", (3.0f + 0.6f) / (3.0f + 1.0f)},
      {"-2", "2", 0.0f},                                   // value -offset gives 0
      {"0.5", "-1", -std::numeric_limits<float>::infinity()},  // -1 divides by zero: -0.5 / 0
      {"1", "-1", std::numeric_limits<float>::quiet_NaN()},    // 0 / 0
  };
  for (const Case &c : cases) {
    const float r = eval<float>("tavo_Utility_scale_zero_up", {value("value", {c.value}), value("offset", {c.offset})});
    if (std::isnan(c.expected)) EXPECT_TRUE(std::isnan(r)) << c.value << " " << c.offset;
    else EXPECT_EQ(r, c.expected) << c.value << " " << c.offset;
  }
}

TEST_F(ValueConverters, ColorToBoolNeedsStrictlyMoreThanTheThreshold) {
  const auto r = eval<ColorToBoolResult>("tavo_Utility_color_to_bool",
                                         {value("color", {"0.5", "0.50001", "0.2", "9"}), value("threshold", {"0.5"})});
  EXPECT_EQ(r.r, 0);  // equal is not above
  EXPECT_EQ(r.g, 1);
  EXPECT_EQ(r.b, 0);
  const auto n = eval<ColorToBoolResult>("tavo_Utility_color_to_bool",
                                         {value("color", {"nan", "inf", "-inf", "0"}), value("threshold", {"-1"})});
  EXPECT_EQ(n.r, 0);  // NaN is above nothing
  EXPECT_EQ(n.g, 1);
  EXPECT_EQ(n.b, 0);
  const auto t = eval<ColorToBoolResult>("tavo_Utility_color_to_bool",
                                         {value("color", {"1", "1", "1"}), value("threshold", {"nan"})});
  EXPECT_EQ(t.r + t.g + t.b, 0);
}

// Every parameter is read per call: connected to a shader, it follows it.
TEST_F(ValueConverters, ParametersComeFromConnectedShaders) {
  renderer().set_scene(scene_with_unit_scale(0.5f));
  const miTag offset = renderer().create_instance("tavo_scale_internal_to_meters", {value("value", {"2"})});
  const float r = eval<float>("tavo_Utility_scale_zero_up", {value("value", {"0"}), link("offset", offset)});
  EXPECT_EQ(r, 1.0f / 2.0f);
  EXPECT_EQ(renderer().held_bytes(), 0u);
}

}  // namespace
}  // namespace tavo::test
