// The solid glass converter: preset and custom glass colours, the reflectance
// clamp, the falloff colour darkened by the reflected share, the per-call
// refresh of a custom colour, and the scene flag that turns it off.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "layout_registry.h"
#include "materials/converter_fixture.h"
#include "materials/tavo_Shd_Glazing_spider.h"
#include "materials/tavo_Shd_SolidGlass_spider.h"

namespace tavo::test {
namespace {

using solid_glass::Params;
using solid_glass::Ready;

TAVO_LAYOUT("tavo_Shd_SolidGlass_spider", Parameters, Params, TAVO_FIELD(Params, glass_color),
            TAVO_FIELD(Params, custom_color), TAVO_FIELD(Params, front_reflectance),
            TAVO_FIELD(Params, falloff_distance), TAVO_FIELD(Params, roughness), TAVO_FIELD(Params, custom_map_on),
            TAVO_FIELD(Params, custom_map));
TAVO_LAYOUT("tavo_Shd_SolidGlass_spider", Result, Ready, TAVO_FIELD(Ready, reflection_color),
            TAVO_FIELD(Ready, brdf_0_degree), TAVO_FIELD(Ready, refraction_color), TAVO_FIELD(Ready, falloff_distance),
            TAVO_FIELD(Ready, refraction_falloff_color), TAVO_FIELD(Ready, glossiness), TAVO_FIELD(Ready, reserved),
            TAVO_FIELD(Ready, custom_map), TAVO_FIELD(Ready, texture_scale), TAVO_FIELD(Ready, pattern_scale_u),
            TAVO_FIELD(Ready, pattern_scale_v), TAVO_FIELD(Ready, inch_scale_1), TAVO_FIELD(Ready, inch_scale_2),
            TAVO_FIELD(Ready, inch_scale_3), TAVO_FIELD(Ready, refresh_per_call));

constexpr const char *kShader = "tavo_Shd_SolidGlass_spider";

using SolidGlass = ConverterTest;

// (1 - B(v, v, v))^2: the share of light that is not reflected, squared.
float unreflected(float v) { return std::pow(1.0f - brightness(v, v, v), 2.0f); }

struct GlassCase {
  const char *glass_color;
  const char *front_reflectance;
  float v;  // the reflectance after the clamp
  float tint_r, tint_g, tint_b;
};

TEST_F(SolidGlass, PresetColoursBecomeTheFalloffColour) {
  const GlassCase cases[] = {
      {"0", "0", 0.001f, 0.858f, 0.893f, 0.879f},
      {"1", "0.0009", 0.001f, 0.676f, 0.797f, 0.737f},
      {"2", "0.001", 0.001f, 0.451f, 0.449f, 0.472f},
      {"3", "0.5", 0.5f, 0.367f, 0.514f, 0.651f},
      {"4", "1", 1.0f, 0.654f, 0.788f, 0.772f},
      {"5", "-0.3", 0.001f, 0.583f, 0.516f, 0.467f},
      {"5", "1.5", 1.5f, 0.583f, 0.516f, 0.467f},
      // unlisted colours take the grey reflectance colour itself
      {"9", "0.2", 0.2f, 0.2f, 0.2f, 0.2f},
      {"7", "0.2", 0.2f, 0.2f, 0.2f, 0.2f},
      {"-1", "0", 0.001f, 0.001f, 0.001f, 0.001f},
  };
  for (const GlassCase &c : cases) {
    SCOPED_TRACE(std::string("glass ") + c.glass_color + " reflectance " + c.front_reflectance);
    const Ready r = run<Ready>(kShader, {value("glass_color", {c.glass_color}),
                                         value("front_reflectance", {c.front_reflectance})});
    const float f = unreflected(c.v);
    EXPECT_COLOR_EQ(r.reflection_color, 1.0f, 1.0f, 1.0f, 1.0f);
    EXPECT_EQ(r.brdf_0_degree, brightness(c.v, c.v, c.v) / brightness(1.0f, 1.0f, 1.0f));
    EXPECT_COLOR_EQ(r.refraction_color, 1.0f, 1.0f, 1.0f, 1.0f);
    EXPECT_COLOR_EQ(r.refraction_falloff_color, c.tint_r * f, c.tint_g * f, c.tint_b * f, 1.0f);
    EXPECT_EQ(r.refresh_per_call, miFALSE);
    EXPECT_EQ(r.reserved, 0);
  }
}

TEST_F(SolidGlass, GlossinessIsOneMinusRoughnessUnclamped) {
  for (const float roughness : {0.3f, 0.0f, 1.0f, 1.5f, -0.2f}) {
    const Ready r = run<Ready>(kShader, {value("roughness", {word(roughness)})});
    EXPECT_EQ(r.glossiness, 1.0f - roughness) << roughness;
  }
}

struct UnitCase {
  SceneChoice unit_scale;
  int scene_flag;
  float u;
};

TEST_F(SolidGlass, LengthsFollowTheSceneUnitAndTheFlagFixesTheFalloffDistance) {
  const UnitCase cases[] = {
      {std::nullopt, 0, 1.0f}, {0.0f, 0, 1.0f}, {-0.5f, 0, 1.0f}, {1.0f, 0, 1.0f},
      {0.0254f, 0, 1.0f / 0.0254f}, {0.001f, 0, 1.0f / 0.001f}, {0.0254f, 1, 1.0f / 0.0254f}, {-1.0f, 3, 1.0f},
  };
  for (const UnitCase &c : cases) {
    SCOPED_TRACE(testing::Message() << (c.unit_scale ? std::to_string(*c.unit_scale) : "no scene") << " flag "
                                    << c.scene_flag);
    use_scene(c.unit_scale, c.scene_flag);
    const Ready r = run<Ready>(kShader, {value("falloff_distance", {"3.5"})});
    EXPECT_EQ(r.texture_scale, 39.37008f / c.u);
    EXPECT_EQ(r.inch_scale_1, 39.37008f / c.u);
    EXPECT_EQ(r.inch_scale_2, 39.37008f / c.u);
    EXPECT_EQ(r.inch_scale_3, 39.37008f / c.u);
    EXPECT_EQ(r.pattern_scale_u, 11.811024f / c.u);
    EXPECT_EQ(r.pattern_scale_v, 11.811024f / c.u);
    EXPECT_EQ(r.falloff_distance, c.scene_flag == 0 ? 3.5f : 2.0f * c.u);
  }
  use_scene(0.0254f);
  const Ready inch = run<Ready>(kShader, {});
  EXPECT_NEAR(inch.texture_scale, 1.0f, 1e-6f);
  EXPECT_NEAR(inch.pattern_scale_u, 0.3f, 1e-6f);
}

// ---- custom colour ------------------------------------------------------------

struct RefreshCase {
  float reflectance;
  miColor color;
};

TEST_F(SolidGlass, ACustomColourIsDerivedAgainOnEveryCall) {
  LiveInstance live(kShader, {value("glass_color", {"6"}), value("custom_color", {"0.3", "0.5", "0.7", "1"}),
                              value("front_reflectance", {"0.2"}), value("falloff_distance", {"4"})});
  const RefreshCase cases[] = {
      {0.2f, {0.3f, 0.5f, 0.7f, 1.0f}},
      {0.4f, {0.9f, 0.1f, 0.2f, 0.5f}},
      {0.0005f, {0.9f, 0.1f, 0.2f, 0.5f}},  // no clamp per call
      {-0.3f, {0.25f, 0.5f, 1.0f, 0.0f}},
      {2.0f, {0.25f, 0.5f, 1.0f, 0.0f}},
  };
  for (const RefreshCase &c : cases) {
    SCOPED_TRACE(testing::Message() << "reflectance " << c.reflectance);
    live.set(offsetof(Params, front_reflectance), c.reflectance);
    live.set(offsetof(Params, custom_color), c.color);
    const Ready r = live.call<Ready>();
    const float one = c.reflectance / c.reflectance;
    const float f = unreflected(c.reflectance);
    EXPECT_EQ(r.refresh_per_call, miTRUE);
    EXPECT_COLOR_EQ(r.reflection_color, one, one, one, 1.0f);
    EXPECT_EQ(r.brdf_0_degree,
              brightness(c.reflectance, c.reflectance, c.reflectance) / brightness(one, one, one));
    EXPECT_COLOR_EQ(r.refraction_falloff_color, c.color.r * f, c.color.g * f, c.color.b * f, 1.0f);
    EXPECT_EQ(r.falloff_distance, 4.0f);
    EXPECT_COLOR_EQ(r.refraction_color, 1.0f, 1.0f, 1.0f, 1.0f);
  }
}

TEST_F(SolidGlass, AZeroReflectanceOnACallGivesWhiteAndTheColourUnchanged) {
  // init clamps the 0 to 0.001; the call does not
  for (const char *zero : {"0", "-0"}) {
    SCOPED_TRACE(zero);
    const Ready r = run<Ready>(kShader, {value("glass_color", {"6"}), value("front_reflectance", {zero}),
                                         value("custom_color", {"0.3", "0.5", "0.7", "0.2"})});
    EXPECT_COLOR_EQ(r.reflection_color, 1.0f, 1.0f, 1.0f, 1.0f);
    EXPECT_EQ(r.brdf_0_degree, 0.0f);
    EXPECT_COLOR_EQ(r.refraction_falloff_color, 0.3f, 0.5f, 0.7f, 1.0f);
  }
}

// A custom colour connected to a glazing's reflectance, which differs between
// eye and shadow rays: each call's colour reaches the result.
TEST_F(SolidGlass, AConnectedCustomColourFollowsEachCallsState) {
  const miTag glazing = renderer().create_instance(
      "tavo_Shd_Glazing_spider", {value("layer_count", {"2"}), value("front_reflectance", {"0.08"})});
  const miTag glass = renderer().create_instance(
      kShader, {value("glass_color", {"6"}), value("front_reflectance", {"0.1"}),
                link("custom_color", glazing, "reflectance_color")});
  const auto calls = renderer().run(glass, {miRAY_EYE, miRAY_SHADOW});
  EXPECT_EQ(renderer().held_bytes(), 0u);
  const float f = unreflected(0.1f);
  for (const auto &[index, channel] : {std::pair{0, 0.08f}, std::pair{1, 0.08f / 2.0f}}) {
    SCOPED_TRACE(testing::Message() << "call " << index);
    Ready r;
    std::memcpy(&r, calls[index].result.data(), sizeof r);
    EXPECT_COLOR_EQ(r.refraction_falloff_color, channel * f, channel * f, channel * f, 1.0f);
  }
}

TEST_F(SolidGlass, TheSceneFlagKeepsTheColoursOfInit) {
  use_scene(0.0254f, 1);
  LiveInstance live(kShader, {value("glass_color", {"6"}), value("custom_color", {"0.3", "0.5", "0.7", "1"}),
                              value("front_reflectance", {"0"})});
  const float v = 0.001f;
  const float f = unreflected(v);
  for (const float reflectance : {0.0f, 0.6f}) {
    live.set(offsetof(Params, front_reflectance), reflectance);
    live.set(offsetof(Params, custom_color), miColor{1.0f, 0.0f, 0.0f, 1.0f});
    const Ready r = live.call<Ready>();
    EXPECT_EQ(r.refresh_per_call, miFALSE);
    EXPECT_COLOR_EQ(r.reflection_color, 1.0f, 1.0f, 1.0f, 1.0f);
    EXPECT_EQ(r.brdf_0_degree, brightness(v, v, v) / brightness(1.0f, 1.0f, 1.0f));
    EXPECT_COLOR_EQ(r.refraction_falloff_color, 0.3f * f, 0.5f * f, 0.7f * f, 1.0f);
    EXPECT_EQ(r.falloff_distance, 2.0f * (1.0f / 0.0254f));
  }
}

TEST_F(SolidGlass, PresetColoursAreNotRefreshed) {
  LiveInstance live(kShader, {value("glass_color", {"3"}), value("front_reflectance", {"0.5"})});
  live.set(offsetof(Params, front_reflectance), 0.0f);
  live.set(offsetof(Params, custom_color), miColor{1.0f, 0.0f, 0.0f, 1.0f});
  const Ready r = live.call<Ready>();
  EXPECT_EQ(r.brdf_0_degree, 0.5f);
  EXPECT_COLOR_EQ(r.refraction_falloff_color, 0.367f * 0.25f, 0.514f * 0.25f, 0.651f * 0.25f, 1.0f);
}

}  // namespace
}  // namespace tavo::test
