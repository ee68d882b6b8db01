// The metallic paint converter: the finish presets with preset_c's default,
// the option weight, one millimetre in scene units and the map pair.
#include <gtest/gtest.h>

#include <string>

#include "layout_registry.h"
#include "materials/converter_fixture.h"
#include "materials/tavo_Shd_MetallicPaint_spider.h"

namespace tavo::test {
namespace {

using metallic_paint::Params;
using metallic_paint::Ready;

TAVO_LAYOUT("tavo_Shd_MetallicPaint_spider", Parameters, Params, TAVO_FIELD(Params, finish),
            TAVO_FIELD(Params, option_on), TAVO_FIELD(Params, custom_map_on), TAVO_FIELD(Params, custom_map),
            TAVO_FIELD(Params, map_mode_on));
TAVO_LAYOUT("tavo_Shd_MetallicPaint_spider", Result, Ready, TAVO_FIELD(Ready, preset_a), TAVO_FIELD(Ready, preset_b),
            TAVO_FIELD(Ready, preset_switch), TAVO_FIELD(Ready, option_weight), TAVO_FIELD(Ready, length_1mm),
            TAVO_FIELD(Ready, preset_c), TAVO_FIELD(Ready, custom_map), TAVO_FIELD(Ready, map_mode));

constexpr const char *kShader = "tavo_Shd_MetallicPaint_spider";

using MetallicPaint = ConverterTest;

struct PresetCase {
  const char *finish;
  float preset_a, preset_b;
  miInteger preset_switch;
  float preset_c;
};

TEST_F(MetallicPaint, FinishSelectsAPresetRow) {
  const PresetCase cases[] = {
      {"0", 0.98f, 30.0f, 1, 0.1f},
      {"2", 0.32f, 20.0f, 0, 0.0f},  // the one row that clears preset_c
      // unlisted: zeros and preset_c's default
      {"3", 0.0f, 0.0f, 0, 0.1f},
      {"-1", 0.0f, 0.0f, 0, 0.1f},
  };
  for (const PresetCase &c : cases) {
    SCOPED_TRACE(std::string("finish ") + c.finish);
    const Ready r = run<Ready>(kShader, {value("finish", {c.finish})});
    EXPECT_EQ(r.preset_a, c.preset_a);
    EXPECT_EQ(r.preset_b, c.preset_b);
    EXPECT_EQ(r.preset_switch, c.preset_switch);
    EXPECT_EQ(r.preset_c, c.preset_c);
  }
}

TEST_F(MetallicPaint, AnyNonZeroOptionWeighsOne) {
  const std::pair<std::vector<std::string>, float> cases[] = {
      {{"false"}, 0.0f}, {{"true"}, 1.0f}, {{"7"}, 1.0f}, {{"-1"}, 1.0f}, {{}, 0.0f}};
  for (const auto &[on, weight] : cases) {
    SCOPED_TRACE(on.empty() ? std::string("default") : on[0]);
    std::vector<Assignment> assignments = {value("finish", {"1"})};
    if (!on.empty()) assignments.push_back(value("option_on", on));
    EXPECT_EQ(run<Ready>(kShader, assignments).option_weight, weight);
  }
}

TEST_F(MetallicPaint, OneMillimetreInSceneUnits) {
  use_scene(0.01f);
  EXPECT_EQ(run<Ready>(kShader, {}).length_1mm, (1.0f / 0.01f) * 0.001f);  // a centimetre per scene unit
  EXPECT_NEAR(run<Ready>(kShader, {}).length_1mm, 0.1f, 1e-7f);
}

}  // namespace
}  // namespace tavo::test
