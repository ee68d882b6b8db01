// The wall paint converter: the finish-by-application table, the flat finish
// flag, the scalar application flag and the twelve inch-based scales.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "layout_registry.h"
#include "materials/converter_fixture.h"
#include "materials/tavo_Shd_WallPaint_spider.h"

namespace tavo::test {
namespace {

using wall_paint::Params;
using wall_paint::Ready;

TAVO_LAYOUT("tavo_Shd_WallPaint_spider", Parameters, Params, TAVO_FIELD(Params, finish),
            TAVO_FIELD(Params, application), TAVO_FIELD(Params, custom_map_on), TAVO_FIELD(Params, custom_map),
            TAVO_FIELD(Params, map_mode_on));
TAVO_LAYOUT("tavo_Shd_WallPaint_spider", Result, Ready, TAVO_FIELD(Ready, roughness), TAVO_FIELD(Ready, reflectivity),
            TAVO_FIELD(Ready, glossiness), TAVO_FIELD(Ready, reflection_curve), TAVO_FIELD(Ready, flat_finish),
            TAVO_FIELD(Ready, application_amount), TAVO_FIELD(Ready, application_flag),
            TAVO_FIELD(Ready, custom_map), TAVO_FIELD(Ready, map_mode), TAVO_FIELD(Ready, inch_scale_1),
            TAVO_FIELD(Ready, inch_scale_2), TAVO_FIELD(Ready, inch_scale_3), TAVO_FIELD(Ready, inch_scale_4),
            TAVO_FIELD(Ready, inch_scale_5), TAVO_FIELD(Ready, inch_scale_6), TAVO_FIELD(Ready, inch_scale_7),
            TAVO_FIELD(Ready, inch_scale_8), TAVO_FIELD(Ready, inch_scale_9), TAVO_FIELD(Ready, inch_scale_10),
            TAVO_FIELD(Ready, inch_scale_11), TAVO_FIELD(Ready, inch_scale_12));

constexpr const char *kShader = "tavo_Shd_WallPaint_spider";

using WallPaint = ConverterTest;

struct CellCase {
  const char *finish;
  const char *application;
  float roughness, reflectivity, glossiness, reflection_curve, amount, flag;
  miInteger flat_finish;
};

TEST_F(WallPaint, FinishAndApplicationSelectACell) {
  const CellCase cases[] = {
      {"0", "1", 0.15f, 0.25f, 0.3f, 2.5f, 0.02f, 1.0f, 1},
      {"2", "0", 0.25f, 0.51f, 0.28f, 3.9f, 0.04f, 0.0f, 0},
      {"4", "2", 0.14f, 0.6f, 0.4f, 2.8f, 0.0f, 0.0f, 0},
      {"5", "1", 0.1f, 0.45f, 0.575f, 2.5f, 0.015f, 1.0f, 0},
      // an unlisted application: a flat finish is still flat
      {"0", "3", 0, 0, 0, 0, 0, 0, 1},
      {"0", "-1", 0, 0, 0, 0, 0, 0, 1},
      {"3", "-1", 0, 0, 0, 0, 0, 0, 0},
      // an unlisted finish sets nothing at all
      {"6", "1", 0, 0, 0, 0, 0, 0, 0},
      {"-1", "1", 0, 0, 0, 0, 0, 0, 0},
      {"-6", "0", 0, 0, 0, 0, 0, 0, 0},
  };
  for (const CellCase &c : cases) {
    SCOPED_TRACE(std::string("finish ") + c.finish + " application " + c.application);
    const Ready r = run<Ready>(kShader, {value("finish", {c.finish}), value("application", {c.application})});
    EXPECT_EQ(r.roughness, c.roughness);
    EXPECT_EQ(r.reflectivity, c.reflectivity);
    EXPECT_EQ(r.glossiness, c.glossiness);
    EXPECT_EQ(r.reflection_curve, c.reflection_curve);
    EXPECT_EQ(r.application_amount, c.amount);
    EXPECT_EQ(r.application_flag, c.flag);
    EXPECT_EQ(r.flat_finish, c.flat_finish);
  }
}

// The flag is a scalar and the flat finish an integer, word for word.
TEST_F(WallPaint, TheApplicationFlagIsAScalarAndTheFlatFinishAnInteger) {
  const Ready r = run<Ready>(kShader, {value("finish", {"0"}), value("application", {"1"})});
  std::uint32_t flag_bits;
  std::uint32_t flat_bits;
  std::memcpy(&flag_bits, &r.application_flag, sizeof flag_bits);
  std::memcpy(&flat_bits, &r.flat_finish, sizeof flat_bits);
  EXPECT_EQ(flag_bits, 0x3f800000u);
  EXPECT_EQ(flat_bits, 1u);
}

// An inch unit gives the scales as fractions of a metre.
TEST_F(WallPaint, TheScalesAreInchesPerSceneUnit) {
  use_scene(0.0254f);
  const Ready inch = run<Ready>(kShader, {});
  EXPECT_NEAR(inch.inch_scale_1, 1.0f, 1e-6f);
  EXPECT_NEAR(inch.inch_scale_4, 0.005f, 1e-8f);
  EXPECT_NEAR(inch.inch_scale_8, 0.35f, 1e-6f);
  EXPECT_NEAR(inch.inch_scale_11, 0.75f, 1e-6f);
}

}  // namespace
}  // namespace tavo::test
