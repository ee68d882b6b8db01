// The masonry and concrete block converter: the type-by-finish presets with
// the defaults the dullest rows keep, the inch-based scales and the map pair.
#include <gtest/gtest.h>

#include <string>

#include "layout_registry.h"
#include "materials/converter_fixture.h"
#include "materials/tavo_Shd_MasonryCMU_spider.h"

namespace tavo::test {
namespace {

using masonry_cmu::Params;
using masonry_cmu::Ready;

TAVO_LAYOUT("tavo_Shd_MasonryCMU_spider", Parameters, Params, TAVO_FIELD(Params, type), TAVO_FIELD(Params, finish),
            TAVO_FIELD(Params, custom_map_on), TAVO_FIELD(Params, custom_map), TAVO_FIELD(Params, map_mode_on));
TAVO_LAYOUT("tavo_Shd_MasonryCMU_spider", Result, Ready, TAVO_FIELD(Ready, roughness),
            TAVO_FIELD(Ready, reflectivity), TAVO_FIELD(Ready, glossiness), TAVO_FIELD(Ready, preset_a),
            TAVO_FIELD(Ready, reflection_curve), TAVO_FIELD(Ready, preset_switch), TAVO_FIELD(Ready, texture_scale),
            TAVO_FIELD(Ready, pattern_scale_u), TAVO_FIELD(Ready, pattern_scale_v), TAVO_FIELD(Ready, custom_map),
            TAVO_FIELD(Ready, map_mode));

constexpr const char *kShader = "tavo_Shd_MasonryCMU_spider";

using Masonry = ConverterTest;

struct PresetCase {
  const char *type;
  const char *finish;
  float roughness, reflectivity, glossiness, preset_a, reflection_curve;
  miInteger preset_switch;
};

TEST_F(Masonry, TypeAndFinishSelectAPresetRow) {
  const PresetCase cases[] = {
      {"0", "1", 0.125f, 0.5f, 0.3f, 0.175f, 2.5f, 0},
      {"0", "2", 0.25f, 0.3f, 0.15f, 0.1f, 1.0f, 1},  // preset_a keeps its default
      {"1", "0", 0.0f, 0.625f, 0.55f, 0.2f, 4.0f, 0},
      // unlisted pairs: zeros and the defaults
      {"1", "3", 0.0f, 0.0f, 0.0f, 0.1f, 5.0f, 0},
      {"2", "0", 0.0f, 0.0f, 0.0f, 0.1f, 5.0f, 0},
      {"-1", "2", 0.0f, 0.0f, 0.0f, 0.1f, 5.0f, 0},
  };
  for (const PresetCase &c : cases) {
    SCOPED_TRACE(std::string("type ") + c.type + " finish " + c.finish);
    const Ready r = run<Ready>(kShader, {value("type", {c.type}), value("finish", {c.finish})});
    EXPECT_EQ(r.roughness, c.roughness);
    EXPECT_EQ(r.reflectivity, c.reflectivity);
    EXPECT_EQ(r.glossiness, c.glossiness);
    EXPECT_EQ(r.preset_a, c.preset_a);
    EXPECT_EQ(r.reflection_curve, c.reflection_curve);
    EXPECT_EQ(r.preset_switch, c.preset_switch);
  }
}

}  // namespace
}  // namespace tavo::test
