// Value converters: one parameter type into another, read on every call.
#include <array>
#include <cstdlib>
#include <limits>
#include <tuple>

#include "utility/value_converters.h"
#include "host_fixture.h"

namespace tavo::test {
namespace {

using namespace value_converters;

using ValueConverters = HostTest;

TEST_F(ValueConverters, BoolToIntPassesTheBitsThrough) {
  for (const char *word : {"0", "1", "-7", "2147483647", "on"})
    EXPECT_EQ(eval<miInteger>("tavo_Utility_bool_to_int", {value("value", {word})}), word[0] == 'o' ? 1 : std::atoi(word));
}

TEST_F(ValueConverters, ScaleZeroUpLiftsTheZeroPointAndReadsAConnectedOffsetTwice) {
  const std::tuple<const char *, const char *, float> cases[] = {
      {"0.3", "0", 0.3f},                 // no offset: passes through
      {"0", "0.25", 0.25f / 1.25f},       // 0 maps to o / (o + 1)
      {"0.6", "3", (3.0f + 0.6f) / 4.0f},
      {"0.5", "-1", -std::numeric_limits<float>::infinity()},  // -1 divides by zero: -0.5 / 0
      {"1", "-1", std::numeric_limits<float>::quiet_NaN()},    // 0 / 0
  };
  for (const auto &[v, offset, expected] : cases)
    EXPECT_EQ(word(eval<float>("tavo_Utility_scale_zero_up", {value("value", {v}), value("offset", {offset})})), word(expected))
        << v << " " << offset;
  renderer().set_scene(scene_with_unit_scale(0.5f));
  const miTag offset = renderer().create_instance("tavo_scale_internal_to_meters", {value("value", {"2"})});
  EXPECT_EQ(eval<float>("tavo_Utility_scale_zero_up", {value("value", {"0"}), link("offset", offset)}), 0.5f);
}

TEST_F(ValueConverters, ColorToBoolNeedsStrictlyMoreThanTheThreshold) {
  const std::tuple<std::vector<std::string>, const char *, std::array<miBoolean, 3>> cases[] = {
      {{"0.5", "0.50001", "0.2", "9"}, "0.5", {0, 1, 0}},  // equal is not above; alpha takes no part
      {{"nan", "inf", "-inf", "0"}, "-1", {0, 1, 0}},      // NaN is above nothing
      {{"1", "1", "1", "1"}, "nan", {0, 0, 0}},
  };
  for (const auto &[colour, threshold, expected] : cases) {
    const auto r = eval<ColorToBoolResult>("tavo_Utility_color_to_bool", {value("color", colour), value("threshold", {threshold})});
    EXPECT_EQ((std::array<miBoolean, 3>{r.r, r.g, r.b}), expected) << colour[0] << " " << threshold;
  }
}

}  // namespace
}  // namespace tavo::test
