// The concrete converter: the type-by-finish table with its greys and the
// user's amount, the coatings, the pattern and texture sizes in scene units
// and the feature size that the scene flag switches.
#include <gtest/gtest.h>

#include <string>

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

struct Row {
  float a, color_1, color_2, b;
  miInteger preset_switch;
  float color_3, color_4, c, d, e, f, g;
};

struct PresetCase {
  const char *type;
  const char *finish;
  Row row;
};

void expect_row(const Ready &r, const Row &row) {
  EXPECT_EQ(r.preset_a, row.a);
  EXPECT_COLOR_EQ(r.preset_color_1, row.color_1, row.color_1, row.color_1, 0.0f);
  EXPECT_COLOR_EQ(r.preset_color_2, row.color_2, row.color_2, row.color_2, 0.0f);
  EXPECT_EQ(r.preset_b, row.b);
  EXPECT_EQ(r.preset_switch, row.preset_switch);
  EXPECT_COLOR_EQ(r.preset_color_3, row.color_3, row.color_3, row.color_3, 0.0f);
  EXPECT_COLOR_EQ(r.preset_color_4, row.color_4, row.color_4, row.color_4, 0.0f);
  EXPECT_EQ(r.preset_c, row.c);
  EXPECT_EQ(r.preset_d, row.d);
  EXPECT_EQ(r.preset_e, row.e);
  EXPECT_EQ(r.preset_f, row.f);
  EXPECT_EQ(r.preset_g, row.g);
}

TEST_F(Concrete, TypeAndFinishSelectARowOfGreysAndScalars) {
  const PresetCase cases[] = {
      // finish 0: each type's own
      {"0", "0", {0.5f, 0.501961f, 0.882353f, 3.0f, 1, 0.117647f, 0.352941f, 1.5f, 0.9f, 0.1f, 0.75f, 0.5f}},
      {"1", "0", {0.5f, 0.501961f, 0.952941f, 3.0f, 1, 0.137255f, 0.333333f, 1.5f, 0.9f, 0.2f, 0.5f, 0.85f}},
      {"2", "0", {0.6f, 0.235294f, 0.501961f, 0.5f, 0, 0.235294f, 0.352941f, 3.5f, 0.9f, 0.2f, 0.5f, 0.5f}},
      {"3", "0", {0.5f, 0.392157f, 0.54902f, 1.0f, 0, 0.352941f, 0.509804f, 1.0f, 0.6f, 0.3f, 1.0f, 0.0f}},
      {"4", "0", {0.6f, 0.335294f, 0.501961f, 0.5f, 1, 0.235294f, 0.352941f, 3.5f, 0.9f, 0.2f, 0.5f, 0.7f}},
      // finishes 1 and 2: shared, but for the amount
      {"0", "1", {0.6f, 0.784314f, 0.921569f, 1.0f, 0, 0.235294f, 0.411765f, 1.0f, 0.2f, 1.0f, 3.0f, 0.05f}},
      {"1", "1", {0.6f, 0.784314f, 0.921569f, 1.0f, 0, 0.235294f, 0.411765f, 1.0f, 0.2f, 1.0f, 3.0f, 0.05f}},
      {"2", "1", {0.6f, 0.784314f, 0.921569f, 1.0f, 0, 0.235294f, 0.411765f, 1.0f, 0.2f, 1.0f, 3.0f, 0.05f}},
      {"3", "1", {0.6f, 0.784314f, 0.921569f, 1.0f, 0, 0.235294f, 0.411765f, 1.0f, 0.2f, 1.0f, 3.0f, 0.02f}},
      {"4", "1", {0.6f, 0.784314f, 0.921569f, 1.0f, 0, 0.235294f, 0.411765f, 1.0f, 0.2f, 1.0f, 3.0f, 0.7f}},
      {"0", "2", {0.6f, 0.784314f, 0.921569f, 1.0f, 0, 0.54902f, 0.705882f, 1.0f, 0.2f, 1.0f, 3.0f, 0.03f}},
      {"1", "2", {0.6f, 0.784314f, 0.921569f, 1.0f, 0, 0.54902f, 0.705882f, 1.0f, 0.2f, 1.0f, 3.0f, 0.03f}},
      {"2", "2", {0.6f, 0.784314f, 0.921569f, 1.0f, 0, 0.54902f, 0.705882f, 1.0f, 0.2f, 1.0f, 3.0f, 0.03f}},
      {"3", "2", {0.6f, 0.784314f, 0.921569f, 1.0f, 0, 0.54902f, 0.705882f, 1.0f, 0.2f, 1.0f, 3.0f, 0.01f}},
      {"4", "2", {0.6f, 0.784314f, 0.921569f, 1.0f, 0, 0.54902f, 0.705882f, 1.0f, 0.2f, 1.0f, 3.0f, 0.7f}},
      // a pair outside the table sets nothing
      {"5", "0", {}},
      {"-1", "1", {}},
      {"-2147483648", "0", {}},
      {"0", "3", {}},
      {"4", "-1", {}},
      {"2", "2147483647", {}},
  };
  for (const PresetCase &c : cases) {
    SCOPED_TRACE(std::string("type ") + c.type + " finish " + c.finish);
    const Ready r = run<Ready>(kShader, {value("type", {c.type}), value("finish", {c.finish}),
                                         value("user_amount", {"0.7"})});
    expect_row(r, c.row);
    EXPECT_EQ(r.type, std::stoi(c.type));  // copied whether listed or not
  }
}

TEST_F(Concrete, TypeFourTakesTheUserAmountAsItIs) {
  for (const float amount : {0.7f, 0.0f, -3.25f, 1e30f}) {
    for (const char *finish : {"0", "1", "2"}) {
      SCOPED_TRACE(testing::Message() << "amount " << amount << " finish " << finish);
      const Ready r =
          run<Ready>(kShader, {value("type", {"4"}), value("finish", {finish}), value("user_amount", {word(amount)})});
      EXPECT_EQ(r.preset_g, amount);
    }
  }
  // other types ignore it
  const Ready three = run<Ready>(kShader, {value("type", {"3"}), value("user_amount", {"0.7"})});
  EXPECT_EQ(three.preset_g, 0.0f);
  EXPECT_EQ(three.preset_switch, 0);
}

struct CoatingCase {
  const char *coating;
  float weight;
  miInteger kind;
};

TEST_F(Concrete, TheCoatingSetsAWeightAndAnIntegerKind) {
  const CoatingCase cases[] = {
      {"0", 0.0f, 0}, {"1", 1.0f, 0}, {"2", 1.0f, 1}, {"3", 0.0f, 0}, {"-1", 0.0f, 0}, {"-2147483648", 0.0f, 0},
  };
  for (const CoatingCase &c : cases) {
    SCOPED_TRACE(std::string("coating ") + c.coating);
    // an unlisted type does not keep the coating from applying
    for (const char *type : {"1", "9"}) {
      const Ready r = run<Ready>(kShader, {value("type", {type}), value("coating", {c.coating})});
      EXPECT_EQ(r.coating_weight, c.weight);
      EXPECT_EQ(r.coating_kind, c.kind);
    }
  }
}

struct UnitCase {
  SceneChoice unit_scale;
  float u;
};

const UnitCase kUnits[] = {
    {std::nullopt, 1.0f}, {0.0f, 1.0f},  {-0.0f, 1.0f}, {-1.0f, 1.0f},
    {1.0f, 1.0f / 1.0f},  {0.0254f, 1.0f / 0.0254f},    {0.001f, 1.0f / 0.001f}, {3.0f, 1.0f / 3.0f},
    // with these, K * unit_scale or L / unit_scale would round differently
    {1.7f, 1.0f / 1.7f},  {2.5f, 1.0f / 2.5f},
};

TEST_F(Concrete, PatternAndTextureSizesFollowTheSceneUnit) {
  for (const UnitCase &c : kUnits) {
    SCOPED_TRACE(c.unit_scale ? std::to_string(*c.unit_scale) : std::string("no scene"));
    use_scene(c.unit_scale);
    const Ready r = run<Ready>(kShader, {value("type", {"2"})});
    const float pattern = 7.874016f / c.u;
    const float texture = 39.37008f / c.u;
    for (const float s : {r.pattern_scale_1, r.pattern_scale_2, r.pattern_scale_3, r.pattern_scale_4,
                          r.pattern_scale_5, r.pattern_scale_6, r.pattern_scale_7, r.pattern_scale_8,
                          r.pattern_scale_9})
      EXPECT_EQ(s, pattern);
    for (const float s : {r.texture_scale_1, r.texture_scale_2, r.texture_scale_3, r.texture_scale_4,
                          r.texture_scale_5, r.texture_scale_6})
      EXPECT_EQ(s, texture);
    EXPECT_EQ(r.length_14in, c.u * 0.3556f);
    EXPECT_EQ(r.length_6in, c.u * 0.1524f);
    EXPECT_EQ(r.length_24in, c.u * 0.6096f);
  }
  // one scene unit per inch
  use_scene(0.0254f);
  const Ready inch = run<Ready>(kShader, {});
  EXPECT_NEAR(inch.pattern_scale_5, 0.2f, 1e-6f);
  EXPECT_NEAR(inch.texture_scale_6, 1.0f, 1e-6f);
  EXPECT_NEAR(inch.length_6in, 6.0f, 1e-5f);
  EXPECT_NEAR(inch.length_14in, 14.0f, 1e-5f);
  EXPECT_NEAR(inch.length_24in, 24.0f, 1e-5f);
}

struct FeatureCase {
  SceneChoice unit_scale;
  int scene_flag;
  float u;
  bool scaled;  // the flag-dependent form applies
};

TEST_F(Concrete, TheSceneFlagKeepsTheFeatureSizeAsGiven) {
  const FeatureCase cases[] = {
      {std::nullopt, 1, 1.0f, true},  // no record: the flag counts as 0
      {1.0f, 0, 1.0f, true},
      {0.0254f, 0, 1.0f / 0.0254f, true},
      {0.001f, 0, 1.0f / 0.001f, true},
      {0.0f, 0, 1.0f, true},
      {0.0254f, 1, 1.0f / 0.0254f, false},
      {1.0f, -1, 1.0f, false},
      {0.0f, 7, 1.0f, false},
  };
  for (const FeatureCase &c : cases) {
    for (const float size : {1.0f, 0.3f, -2.5f, 0.0f}) {
      SCOPED_TRACE(testing::Message() << (c.unit_scale ? *c.unit_scale : -99.0f) << " flag " << c.scene_flag
                                      << " size " << size);
      use_scene(c.unit_scale, c.scene_flag);
      const Ready r = run<Ready>(kShader, {value("feature_size", {word(size)})});
      EXPECT_EQ(r.feature_size, c.scaled ? size * (1.0f / (c.u * 0.508f)) : size);
    }
  }
  use_scene(1.0f);
  EXPECT_NEAR(run<Ready>(kShader, {value("feature_size", {"1"})}).feature_size, 1.0f / 0.508f, 1e-6f);
}

TEST_F(Concrete, TheMapPassesThroughPerCallAndTheModeIsFixedAtInit) {
  const std::pair<std::vector<Assignment>, miTag> maps[] = {
      {{value("custom_map_on", {"false"}), value("custom_map", {"42"})}, 0},
      {{value("custom_map_on", {"true"}), value("custom_map", {"42"})}, 42},
      {{value("custom_map", {"42"})}, 0},
  };
  for (const auto &[assignments, expected] : maps) EXPECT_EQ(run<Ready>(kShader, assignments).custom_map, expected);
  EXPECT_EQ(run<Ready>(kShader, {value("map_mode_on", {"true"})}).map_mode, 2);
  EXPECT_EQ(renderer().releases().back().file, kShader);

  LiveInstance live(kShader, {value("type", {"0"}), value("finish", {"0"}), value("coating", {"2"}),
                              value("custom_map", {"17"}), value("feature_size", {"1"})});
  const Ready before = live.call<Ready>();
  EXPECT_EQ(before.map_mode, 1);
  EXPECT_EQ(before.custom_map, 0u);
  // init-time parameters changed after init change nothing; the switch does
  live.set<miInteger>(offsetof(Params, type), 3);
  live.set<miInteger>(offsetof(Params, coating), 0);
  live.set<miBoolean>(offsetof(Params, map_mode_on), miTRUE);
  live.set<miScalar>(offsetof(Params, feature_size), 5.0f);
  live.set<miBoolean>(offsetof(Params, custom_map_on), miTRUE);
  Ready after = live.call<Ready>(miRAY_SHADOW);
  EXPECT_EQ(after.custom_map, 17u);
  after.custom_map = 0;
  EXPECT_EQ(std::memcmp(&before, &after, sizeof before), 0);
}

}  // namespace
}  // namespace tavo::test
