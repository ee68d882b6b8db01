// The concrete converter: which of its tables a type and finish read, the
// user's amount, the coatings, the lengths in scene units and the feature size
// that the scene flag switches.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <utility>

#include "layout_registry.h"
#include "materials/converter_fixture.h"
#include "materials/tavo_Shd_Concrete_spider.h"

namespace tavo::test {
namespace {

using concrete::Params;
using concrete::Ready;

TAVO_LAYOUT("tavo_Shd_Concrete_spider", Parameters, Params, TAVO_FIELD(Params, type), TAVO_FIELD(Params, finish),
            TAVO_FIELD(Params, coating), TAVO_FIELD(Params, custom_map_on), TAVO_FIELD(Params, custom_map),
            TAVO_FIELD(Params, map_mode_on), TAVO_FIELD(Params, user_amount), TAVO_FIELD(Params, feature_size));
TAVO_LAYOUT("tavo_Shd_Concrete_spider", Result, Ready, TAVO_FIELD(Ready, coating_weight),
            TAVO_FIELD(Ready, coating_kind), TAVO_FIELD(Ready, preset_a), TAVO_FIELD(Ready, preset_color_1),
            TAVO_FIELD(Ready, preset_color_2), TAVO_FIELD(Ready, preset_b), TAVO_FIELD(Ready, preset_switch),
            TAVO_FIELD(Ready, preset_color_3), TAVO_FIELD(Ready, preset_color_4), TAVO_FIELD(Ready, preset_c),
            TAVO_FIELD(Ready, preset_d), TAVO_FIELD(Ready, preset_e), TAVO_FIELD(Ready, preset_f),
            TAVO_FIELD(Ready, preset_g), TAVO_FIELD(Ready, type), TAVO_FIELD(Ready, custom_map),
            TAVO_FIELD(Ready, map_mode), TAVO_FIELD(Ready, pattern_scale_1), TAVO_FIELD(Ready, pattern_scale_2),
            TAVO_FIELD(Ready, pattern_scale_3), TAVO_FIELD(Ready, pattern_scale_4), TAVO_FIELD(Ready, pattern_scale_5),
            TAVO_FIELD(Ready, pattern_scale_6), TAVO_FIELD(Ready, pattern_scale_7), TAVO_FIELD(Ready, pattern_scale_8),
            TAVO_FIELD(Ready, pattern_scale_9), TAVO_FIELD(Ready, texture_scale_1), TAVO_FIELD(Ready, texture_scale_2),
            TAVO_FIELD(Ready, texture_scale_3), TAVO_FIELD(Ready, texture_scale_4), TAVO_FIELD(Ready, texture_scale_5),
            TAVO_FIELD(Ready, texture_scale_6), TAVO_FIELD(Ready, length_14in), TAVO_FIELD(Ready, length_6in),
            TAVO_FIELD(Ready, length_24in), TAVO_FIELD(Ready, feature_size));

constexpr const char *kShader = "tavo_Shd_Concrete_spider";

using Concrete = ConverterTest;

void expect_grey(const miColor &c, float v) { EXPECT_COLOR_EQ(c, v, v, v, 0.0f); }

// Finish 0 reads the type's own row, finishes 1 and 2 a row shared by every
// type; the amount comes from its own [type][finish] table.
TEST_F(Concrete, TheFinishChoosesBetweenTheTypesRowAndASharedOne) {
  const Ready own = run<Ready>(kShader, {value("type", {"2"}), value("finish", {"0"})});
  EXPECT_EQ(own.preset_a, 0.6f);
  expect_grey(own.preset_color_2, 0.501961f);
  EXPECT_EQ(own.preset_c, 3.5f);
  EXPECT_EQ(own.preset_switch, 0);
  EXPECT_EQ(own.preset_g, 0.5f);
  EXPECT_EQ(run<Ready>(kShader, {value("type", {"0"}), value("finish", {"0"})}).preset_switch, 1);

  const Ready shared = run<Ready>(kShader, {value("type", {"3"}), value("finish", {"1"})});
  expect_grey(shared.preset_color_1, 0.784314f);
  expect_grey(shared.preset_color_3, 0.235294f);
  EXPECT_EQ(shared.preset_f, 3.0f);
  EXPECT_EQ(shared.preset_g, 0.02f);
  const Ready second = run<Ready>(kShader, {value("type", {"0"}), value("finish", {"2"})});
  expect_grey(second.preset_color_3, 0.54902f);
  expect_grey(second.preset_color_4, 0.705882f);
  EXPECT_EQ(second.preset_g, 0.03f);
}

TEST_F(Concrete, TypeFourTakesTheUserAmountAsItIs) {
  for (const float amount : {0.7f, -3.25f}) {
    for (const char *finish : {"0", "2"}) {
      const Ready r =
          run<Ready>(kShader, {value("type", {"4"}), value("finish", {finish}), value("user_amount", {word(amount)})});
      EXPECT_EQ(r.preset_g, amount) << finish;
    }
  }
  EXPECT_EQ(run<Ready>(kShader, {value("type", {"3"}), value("user_amount", {"0.7"})}).preset_g, 0.0f);
}

// A pair outside the table sets nothing; the type is copied all the same.
TEST_F(Concrete, APairOutsideTheTableSetsNoPreset) {
  const std::pair<const char *, const char *> pairs[] = {{"5", "0"}, {"-1", "1"}, {"0", "3"}, {"4", "-1"}};
  for (const auto &[type, finish] : pairs) {
    SCOPED_TRACE(std::string("type ") + type + " finish " + finish);
    const Ready r = run<Ready>(kShader, {value("type", {type}), value("finish", {finish}), value("user_amount", {"0.7"})});
    EXPECT_EQ(r.preset_a, 0.0f);
    expect_grey(r.preset_color_1, 0.0f);
    EXPECT_EQ(r.preset_g, 0.0f);
    EXPECT_EQ(r.type, std::stoi(type));
  }
}

TEST_F(Concrete, TheCoatingSetsAWeightAndAKindWhateverTheType) {
  const std::tuple<const char *, float, miInteger> cases[] = {{"1", 1.0f, 0}, {"2", 1.0f, 1}, {"3", 0.0f, 0}};
  for (const auto &[coating, weight, kind] : cases) {
    const Ready r = run<Ready>(kShader, {value("type", {"9"}), value("coating", {coating})});
    EXPECT_EQ(r.coating_weight, weight) << coating;
    EXPECT_EQ(r.coating_kind, kind) << coating;
  }
}

TEST_F(Concrete, LengthsFollowTheSceneUnitAndTheFlagKeepsTheFeatureSize) {
  const float u = 1.0f / 0.0254f;
  use_scene(0.0254f);
  const Ready r = run<Ready>(kShader, {value("feature_size", {"0.3"})});
  EXPECT_EQ(r.pattern_scale_1, 7.874016f / u);
  EXPECT_EQ(r.pattern_scale_9, 7.874016f / u);
  EXPECT_EQ(r.texture_scale_1, 39.37008f / u);
  EXPECT_EQ(r.texture_scale_6, 39.37008f / u);
  EXPECT_NEAR(r.length_6in, 6.0f, 1e-5f);
  EXPECT_NEAR(r.length_14in, 14.0f, 1e-5f);
  EXPECT_NEAR(r.length_24in, 24.0f, 1e-5f);
  EXPECT_EQ(r.feature_size, 0.3f * (1.0f / (u * 0.508f)));
  use_scene(0.0254f, 1);
  EXPECT_EQ(run<Ready>(kShader, {value("feature_size", {"0.3"})}).feature_size, 0.3f);
}

}  // namespace
}  // namespace tavo::test
