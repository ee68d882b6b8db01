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
      {"2", 0.15f, 0.5f, 0.425f, 0.2f, 2.0f, 1},
      {"3", 0.3f, 0.15f, 0.2f, 0.1f, 0.6f, 1},
      {"4", 0.0f, 0.0f, 0.0f, 0.0f, 5.0f, 0},
      {"-1", 0.0f, 0.0f, 0.0f, 0.0f, 5.0f, 0},
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

// Two feature sizes from one parameter, each with its own length; the scene
// flag keeps both as given.
TEST_F(Stone, FeatureSizesFollowTheUnitUnlessTheSceneFlagIsSet) {
  const float u = 1.0f / 0.0254f;
  use_scene(0.0254f);
  const Ready r = run<Ready>(kShader, {value("feature_size", {"0.75"})});
  EXPECT_EQ(r.feature_size_a, (1.0f / (u * 0.381f)) * 0.75f);
  EXPECT_EQ(r.feature_size_b, (1.0f / (u * 2.54f)) * 0.75f);
  EXPECT_EQ(r.pattern_scale_v, 11.811024f / u);
  use_scene(0.0254f, 2);
  const Ready flagged = run<Ready>(kShader, {value("feature_size", {"0.75"})});
  EXPECT_EQ(flagged.feature_size_a, 0.75f);
  EXPECT_EQ(flagged.feature_size_b, 0.75f);
}

}  // namespace
}  // namespace tavo::test
