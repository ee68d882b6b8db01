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
      {"0", "0", 0.15f, 0.2f, 0.3f, 2.5f, 0.02f, 0.0f, 1},
      {"0", "1", 0.15f, 0.25f, 0.3f, 2.5f, 0.02f, 1.0f, 1},
      {"0", "2", 0.15f, 0.6f, 0.3f, 2.5f, 0.0f, 0.0f, 1},
      {"1", "0", 0.25f, 0.5f, 0.2f, 3.9f, 0.035f, 0.0f, 0},
      {"1", "1", 0.15f, 0.55f, 0.215f, 3.8f, 0.045f, 1.0f, 0},
      {"1", "2", 0.2f, 0.55f, 0.21f, 3.9f, 0.0f, 0.0f, 0},
      {"2", "0", 0.25f, 0.51f, 0.28f, 3.9f, 0.04f, 0.0f, 0},
      {"2", "1", 0.15f, 0.575f, 0.335f, 3.8f, 0.05f, 1.0f, 0},
      {"2", "2", 0.2f, 0.575f, 0.3f, 3.9f, 0.0f, 0.0f, 0},
      {"3", "0", 0.25f, 0.515f, 0.345f, 3.9f, 0.06f, 0.0f, 0},
      {"3", "1", 0.15f, 0.6f, 0.375f, 3.8f, 0.05f, 1.0f, 0},
      {"3", "2", 0.18f, 0.6f, 0.35f, 3.9f, 0.0f, 0.0f, 0},
      {"4", "0", 0.2f, 0.55f, 0.37f, 3.0f, 0.06f, 0.0f, 0},
      {"4", "1", 0.1f, 0.6f, 0.445f, 2.5f, 0.05f, 1.0f, 0},
      {"4", "2", 0.14f, 0.6f, 0.4f, 2.8f, 0.0f, 0.0f, 0},
      {"5", "0", 0.2f, 0.435f, 0.52f, 3.0f, 0.025f, 0.0f, 0},
      {"5", "1", 0.1f, 0.45f, 0.575f, 2.5f, 0.015f, 1.0f, 0},
      {"5", "2", 0.15f, 0.46f, 0.54f, 2.8f, 0.0f, 0.0f, 0},
      // an unlisted application: a flat finish is still flat
      {"0", "3", 0, 0, 0, 0, 0, 0, 1},
      {"0", "-1", 0, 0, 0, 0, 0, 0, 1},
      {"3", "-2147483648", 0, 0, 0, 0, 0, 0, 0},
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

struct UnitCase {
  SceneChoice unit_scale;
  float u;
};

TEST_F(WallPaint, TheTwelveScalesFollowTheSceneUnit) {
  const UnitCase cases[] = {
      {std::nullopt, 1.0f}, {0.0f, 1.0f}, {-1.0f, 1.0f}, {1.0f, 1.0f / 1.0f},
      {0.0254f, 1.0f / 0.0254f}, {0.001f, 1.0f / 0.001f}, {0.3048f, 1.0f / 0.3048f},
      // with these, K * unit_scale would round differently
      {2.5f, 1.0f / 2.5f},       {3.0f, 1.0f / 3.0f},
  };
  for (const UnitCase &c : cases) {
    SCOPED_TRACE(c.unit_scale ? std::to_string(*c.unit_scale) : std::string("no scene"));
    use_scene(c.unit_scale);
    const Ready r = run<Ready>(kShader, {value("finish", {"2"}), value("application", {"0"})});
    const float metre = 39.37008f / c.u;
    const float fine = 0.19685039f / c.u;
    const float mid = 13.779528f / c.u;
    const float wide = 29.52756f / c.u;
    const float expected[12] = {metre, metre, metre, fine, metre, fine, metre, mid, mid, metre, wide, wide};
    const float actual[12] = {r.inch_scale_1, r.inch_scale_2, r.inch_scale_3, r.inch_scale_4,
                              r.inch_scale_5, r.inch_scale_6, r.inch_scale_7, r.inch_scale_8,
                              r.inch_scale_9, r.inch_scale_10, r.inch_scale_11, r.inch_scale_12};
    for (int k = 0; k < 12; ++k) EXPECT_EQ(actual[k], expected[k]) << "inch_scale_" << k + 1;
  }
  // no scene: the constants themselves; an inch unit: the fractions of a metre
  use_scene(std::nullopt);
  const Ready none = run<Ready>(kShader, {});
  EXPECT_EQ(none.inch_scale_1, 39.37008f);
  EXPECT_EQ(none.inch_scale_4, 0.19685039f);
  EXPECT_EQ(none.inch_scale_8, 13.779528f);
  EXPECT_EQ(none.inch_scale_11, 29.52756f);
  use_scene(0.0254f);
  const Ready inch = run<Ready>(kShader, {});
  EXPECT_NEAR(inch.inch_scale_1, 1.0f, 1e-6f);
  EXPECT_NEAR(inch.inch_scale_4, 0.005f, 1e-8f);
  EXPECT_NEAR(inch.inch_scale_8, 0.35f, 1e-6f);
  EXPECT_NEAR(inch.inch_scale_11, 0.75f, 1e-6f);
}

TEST_F(WallPaint, TheMapPassesThroughPerCallAndTheModeIsFixedAtInit) {
  EXPECT_EQ(run<Ready>(kShader, {value("map_mode_on", {"true"})}).map_mode, 2);
  EXPECT_EQ(run<Ready>(kShader, {value("map_mode_on", {"false"})}).map_mode, 1);
  EXPECT_EQ(run<Ready>(kShader, {value("custom_map_on", {"true"}), value("custom_map", {"12"})}).custom_map, 12u);
  EXPECT_EQ(run<Ready>(kShader, {value("custom_map_on", {"false"}), value("custom_map", {"12"})}).custom_map, 0u);
  EXPECT_EQ(renderer().releases().back().file, kShader);

  LiveInstance live(kShader, {value("finish", {"4"}), value("application", {"2"}), value("custom_map", {"12"})});
  const Ready before = live.call<Ready>();
  live.set<miInteger>(offsetof(Params, finish), 0);
  live.set<miInteger>(offsetof(Params, application), 1);
  live.set<miBoolean>(offsetof(Params, map_mode_on), miTRUE);
  live.set<miBoolean>(offsetof(Params, custom_map_on), miTRUE);
  Ready after = live.call<Ready>();
  EXPECT_EQ(after.custom_map, 12u);
  EXPECT_EQ(after.reflection_curve, 2.8f);
  EXPECT_EQ(after.flat_finish, 0);
  after.custom_map = before.custom_map;
  EXPECT_EQ(std::memcmp(&before, &after, sizeof before), 0);
}

}  // namespace
}  // namespace tavo::test
