// The stone converter: the finish presets and the defaults the glossy rows
// keep, the inch-based scales, and the two feature sizes that only a scene
// without the flag converts.
#include <gtest/gtest.h>

#include <string>

#include "layout_registry.h"
#include "materials/converter_fixture.h"
#include "materials/tavo_Shd_Stone_spider.h"

namespace tavo::test {
namespace {

using stone::Params;
using stone::Ready;

TAVO_LAYOUT("tavo_Shd_Stone_spider", Parameters, Params, TAVO_FIELD(Params, stone_reserved),
            TAVO_FIELD(Params, finish), TAVO_FIELD(Params, custom_map_on), TAVO_FIELD(Params, custom_map),
            TAVO_FIELD(Params, map_mode_on), TAVO_FIELD(Params, feature_size));
TAVO_LAYOUT("tavo_Shd_Stone_spider", Result, Ready, TAVO_FIELD(Ready, roughness), TAVO_FIELD(Ready, reflectivity),
            TAVO_FIELD(Ready, glossiness), TAVO_FIELD(Ready, preset_a), TAVO_FIELD(Ready, reflection_curve),
            TAVO_FIELD(Ready, preset_switch), TAVO_FIELD(Ready, texture_scale), TAVO_FIELD(Ready, pattern_scale_u),
            TAVO_FIELD(Ready, pattern_scale_v), TAVO_FIELD(Ready, feature_size_a), TAVO_FIELD(Ready, feature_size_b),
            TAVO_FIELD(Ready, custom_map), TAVO_FIELD(Ready, map_mode));

constexpr const char *kShader = "tavo_Shd_Stone_spider";

using Stone = ConverterTest;

struct PresetCase {
  const char *finish;
  float roughness, reflectivity, glossiness, preset_a, reflection_curve;
  miInteger preset_switch;
};

TEST_F(Stone, FinishSelectsAPresetRow) {
  const PresetCase cases[] = {
      {"0", 0.0f, 0.85f, 0.8f, 0.15f, 5.0f, 0},  // glossy rows keep the defaults
      {"1", 0.0f, 0.65f, 0.5f, 0.125f, 5.0f, 0},
      {"2", 0.15f, 0.5f, 0.425f, 0.2f, 2.0f, 1},
      {"3", 0.3f, 0.15f, 0.2f, 0.1f, 0.6f, 1},
      {"4", 0.0f, 0.0f, 0.0f, 0.0f, 5.0f, 0},
      {"-1", 0.0f, 0.0f, 0.0f, 0.0f, 5.0f, 0},
      {"-2147483648", 0.0f, 0.0f, 0.0f, 0.0f, 5.0f, 0},
  };
  for (const PresetCase &c : cases) {
    SCOPED_TRACE(std::string("finish ") + c.finish);
    // the reserved word is never read, whatever it holds
    const Ready r = run<Ready>(kShader, {value("finish", {c.finish}), value("stone_reserved", {"3"})});
    EXPECT_EQ(r.roughness, c.roughness);
    EXPECT_EQ(r.reflectivity, c.reflectivity);
    EXPECT_EQ(r.glossiness, c.glossiness);
    EXPECT_EQ(r.preset_a, c.preset_a);
    EXPECT_EQ(r.reflection_curve, c.reflection_curve);
    EXPECT_EQ(r.preset_switch, c.preset_switch);
  }
}

struct UnitCase {
  SceneChoice unit_scale;
  int scene_flag;
  float u;
};

TEST_F(Stone, ScalesFollowTheUnitAndFeatureSizesTheSceneFlag) {
  const UnitCase cases[] = {
      {std::nullopt, 0, 1.0f},     {0.0f, 0, 1.0f},   {-1.0f, 0, 1.0f},
      {1.0f, 0, 1.0f},             {0.0254f, 0, 1.0f / 0.0254f},         {0.001f, 0, 1.0f / 0.001f},
      {0.0254f, 1, 1.0f / 0.0254f}, {0.0f, -7, 1.0f}, {0.001f, 2, 1.0f / 0.001f},
  };
  const float size = 0.75f;
  for (const UnitCase &c : cases) {
    SCOPED_TRACE(testing::Message() << (c.unit_scale ? std::to_string(*c.unit_scale) : "no scene") << " flag "
                                    << c.scene_flag);
    use_scene(c.unit_scale, c.scene_flag);
    const Ready r = run<Ready>(kShader, {value("finish", {"2"}), value("feature_size", {word(size)})});
    EXPECT_EQ(r.texture_scale, 39.37008f / c.u);
    EXPECT_EQ(r.pattern_scale_u, 11.811024f / c.u);
    EXPECT_EQ(r.pattern_scale_v, 11.811024f / c.u);
    if (c.scene_flag == 0) {
      EXPECT_EQ(r.feature_size_a, (1.0f / (c.u * 0.381f)) * size);
      EXPECT_EQ(r.feature_size_b, (1.0f / (c.u * 2.54f)) * size);
    } else {
      EXPECT_EQ(r.feature_size_a, size);
      EXPECT_EQ(r.feature_size_b, size);
    }
  }
  // one scene unit per inch, feature size 1
  use_scene(0.0254f);
  const Ready inch = run<Ready>(kShader, {value("feature_size", {"1"})});
  EXPECT_NEAR(inch.texture_scale, 1.0f, 1e-6f);
  EXPECT_NEAR(inch.pattern_scale_u, 0.3f, 1e-6f);
  EXPECT_NEAR(inch.feature_size_a, 0.0666667f, 1e-6f);
  EXPECT_NEAR(inch.feature_size_b, 0.01f, 1e-7f);
}

TEST_F(Stone, InitFixesTheRecordAndOnlyTheMapIsPerCall) {
  LiveInstance live(kShader, {value("finish", {"3"}), value("feature_size", {"2"}), value("custom_map", {"42"}),
                              value("map_mode_on", {"true"})});
  Ready before = live.call<Ready>();
  EXPECT_EQ(before.custom_map, 0u);
  EXPECT_EQ(before.map_mode, 2);
  live.set<miInteger>(offsetof(Params, finish), 0);
  live.set<miScalar>(offsetof(Params, feature_size), 9.0f);
  live.set<miBoolean>(offsetof(Params, map_mode_on), miFALSE);
  live.set<miBoolean>(offsetof(Params, custom_map_on), miTRUE);
  const Ready after = live.call<Ready>(miRAY_REFLECT);
  EXPECT_EQ(after.custom_map, 42u);
  before.custom_map = after.custom_map;
  EXPECT_EQ(std::memcmp(&before, &after, sizeof before), 0);
  EXPECT_EQ(run<Ready>(kShader, {}).map_mode, 1);
}

}  // namespace
}  // namespace tavo::test
