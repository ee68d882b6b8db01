// The glass converters: solid glass's falloff colour and the per-call refresh of
// a custom one; glazing's per-layer transmittance root and reflectance share.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "materials/converter_fixture.h"
#include "materials/tavo_Shd_Glazing_spider.h"
#include "materials/tavo_Shd_SolidGlass_spider.h"

namespace tavo::test {
namespace {

constexpr const char *kSolid = "tavo_Shd_SolidGlass_spider";
constexpr const char *kGlazing = "tavo_Shd_Glazing_spider";

using Glass = ConverterTest;

// (1 - B(v, v, v))^2: the share of light that is not reflected, squared.
float unreflected(float v) { return std::pow(1.0f - brightness(v, v, v), 2.0f); }

struct SolidCase {
  const char *glass_color;
  const char *front_reflectance;
  float v;  // the reflectance after the clamp
  float tint_r, tint_g, tint_b;
};

TEST_F(Glass, SolidPresetColoursBecomeTheFalloffColour) {
  const SolidCase cases[] = {
      {"3", "0.5", 0.5f, 0.367f, 0.514f, 0.651f}, {"1", "0.0009", 0.001f, 0.676f, 0.797f, 0.737f},
      {"5", "1.5", 1.5f, 0.583f, 0.516f, 0.467f},
      {"-1", "0", 0.001f, 0.001f, 0.001f, 0.001f},  // unlisted colours take the grey reflectance colour itself
  };
  for (const SolidCase &c : cases) {
    SCOPED_TRACE(std::string("glass ") + c.glass_color + " reflectance " + c.front_reflectance);
    const auto r = eval<solid_glass::Ready>(
        kSolid, {value("glass_color", {c.glass_color}), value("front_reflectance", {c.front_reflectance})});
    const float f = unreflected(c.v);
    EXPECT_COLOR_EQ(r.reflection_color, 1.0f, 1.0f, 1.0f, 1.0f);
    EXPECT_EQ(r.brdf_0_degree, brightness(c.v, c.v, c.v) / brightness(1.0f, 1.0f, 1.0f));
    EXPECT_COLOR_EQ(r.refraction_color, 1.0f, 1.0f, 1.0f, 1.0f);
    EXPECT_COLOR_EQ(r.refraction_falloff_color, c.tint_r * f, c.tint_g * f, c.tint_b * f, 1.0f);
    EXPECT_EQ(r.refresh_per_call, miFALSE);
  }
  EXPECT_EQ(eval<solid_glass::Ready>(kSolid, {value("roughness", {"1.5"})}).glossiness, 1.0f - 1.5f);  // unclamped
}

// A custom colour follows each call's reflectance (unclamped; 0 gives white)
// and colour; the scene flag keeps it as init derived it, clamp included, and
// preset colours are never refreshed.
TEST_F(Glass, ASolidCustomColourIsDerivedAgainOnEveryCallUnlessFixedAtInit) {
  const std::pair<float, miColor> calls[] = {
      {0.2f, {0.3f, 0.5f, 0.7f, 1.0f}}, {0.0005f, {0.9f, 0.1f, 0.2f, 0.5f}}, {-0.0f, {0.25f, 0.5f, 1.0f, 0.0f}}};
  const struct {
    int scene_flag;
    const char *glass_color;
    bool refresh;
    miColor kept;  // the colour init derived, when not refreshed
  } cases[] = {{0, "6", true, {}}, {1, "6", false, {0.3f, 0.5f, 0.7f, 1}}, {0, "3", false, {0.367f, 0.514f, 0.651f, 1}}};
  for (const auto &c : cases) {
    use_scene(0.0254f, c.scene_flag);
    const miTag live = instance(kSolid, {value("glass_color", {c.glass_color}), value("front_reflectance", {"0"}),
                                         value("custom_color", {"0.3", "0.5", "0.7", "1"}),
                                         value("falloff_distance", {"4"})});
    for (const auto &[v, color] : calls) {
      SCOPED_TRACE(testing::Message() << "glass " << c.glass_color << " flag " << c.scene_flag << " reflectance " << v);
      set(live, offsetof(solid_glass::Params, front_reflectance), v);
      set(live, offsetof(solid_glass::Params, custom_color), color);
      const auto r = call<solid_glass::Ready>(live);
      const float used = c.refresh ? v : 0.001f, f = unreflected(used);
      const miColor tint = c.refresh ? color : c.kept;
      EXPECT_EQ(r.refresh_per_call, c.refresh ? miTRUE : miFALSE);
      EXPECT_EQ(r.brdf_0_degree, used == 0.0f ? 0.0f : brightness(used, used, used) / brightness(1.0f, 1.0f, 1.0f));
      EXPECT_COLOR_EQ(r.refraction_falloff_color, tint.r * f, tint.g * f, tint.b * f, 1.0f);
      EXPECT_COLOR_EQ(r.reflection_color, 1.0f, 1.0f, 1.0f, 1.0f);
      if (!c.scene_flag) {
        EXPECT_EQ(r.falloff_distance, 4.0f);
      }
    }
  }
}

// A custom colour connected to a glazing's reflectance, which shadow rays see
// per layer: each call's colour reaches the result.
TEST_F(Glass, AConnectedCustomColourFollowsEachCallsState) {
  const miTag glazing =
      renderer().create_instance(kGlazing, {value("layer_count", {"2"}), value("front_reflectance", {"0.08"})});
  const miTag glass =
      renderer().create_instance(kSolid, {value("glass_color", {"6"}), value("front_reflectance", {"0.1"}),
                                          link("custom_color", glazing, "reflectance_color")});
  const auto calls = renderer().run(glass, {miRAY_EYE, miRAY_SHADOW});
  const float f = unreflected(0.1f);
  for (const auto &[index, channel] : {std::pair{0, 0.08f}, std::pair{1, 0.08f / 2.0f}}) {
    solid_glass::Ready r;
    std::memcpy(&r, calls[index].result.data(), sizeof r);
    EXPECT_COLOR_EQ(r.refraction_falloff_color, channel * f, channel * f, channel * f, 1.0f);
  }
}

// ---- glazing --------------------------------------------------------------------

float root(float channel, float layers) { return std::pow(channel, 1.0f / layers); }

struct GlazingCase {
  int glass_color, layer_count;
  const char *front_reflectance;
  float layers;  // the root degree and divisor the count stands for
  float tint_r, tint_g, tint_b;
  float a;  // the reflectance after the zero guard
};

TEST_F(Glass, GlazingTintsAndReflectancesArePerLayer) {
  const GlazingCase cases[] = {
      {0, 1, "0.08", 1.0f, 0.858f, 0.893f, 0.879f, 0.08f},
      {3, 4, "0.3", 4.0f, 0.367f, 0.514f, 0.651f, 0.3f},
      {6, 2, "0", 2.0f, 0.25f, 0.5f, 0.75f, 0.0001f},
      {2, 0, "-0", 1.0f, 0.451f, 0.449f, 0.472f, 0.0001f},  // fewer than one layer counts as one
      {7, 2, "0.08", 2.0f, 0.0f, 0.0f, 0.0f, 0.08f},  // an unlisted colour selects no tint
  };
  for (const GlazingCase &c : cases) {
    SCOPED_TRACE("glass " + std::to_string(c.glass_color) + " layers " + std::to_string(c.layer_count));
    const auto r = eval<glazing::Ready>(
        kGlazing,
        {value("glass_color", {std::to_string(c.glass_color)}), value("layer_count", {std::to_string(c.layer_count)}),
         value("front_reflectance", {c.front_reflectance}), value("custom_color", {"0.25", "0.5", "0.75", "0.5"})});
    EXPECT_COLOR_EQ(r.layer_transmittance, root(c.tint_r, c.layers), root(c.tint_g, c.layers), root(c.tint_b, c.layers),
                    0.0f);
    EXPECT_EQ(r.glass_color, c.glass_color);
    EXPECT_COLOR_EQ(r.reflectance_color, c.a, c.a, c.a, 0.0f);
    const float per_layer = c.a / c.layers;
    EXPECT_COLOR_EQ(r.layer_reflectance_color, per_layer, per_layer, per_layer, 0.0f);
    const float one = c.a / c.a;
    EXPECT_EQ(r.brdf_0_degree, brightness(c.a, c.a, c.a) / brightness(one, one, one));
  }
}

// A custom tint follows each call's colour and layer count, the reflectances
// keep the count of init; preset and unlisted tints are fixed at init.
TEST_F(Glass, GlazingRefreshesOnlyACustomTint) {
  for (const char *glass : {"6", "1", "8"}) {
    SCOPED_TRACE(std::string("glass ") + glass);
    const miTag live =
        instance(kGlazing, {value("glass_color", {glass}), value("layer_count", {"2"}), value("front_reflectance", {"0.1"}),
                            value("custom_color", {"0.25", "0.5", "1", "1"})});
    const auto before = call<glazing::Ready>(live);
    for (const auto &[count, layers] : {std::pair{3, 3.0f}, std::pair{-5, 1.0f}}) {
      const miColor color{0.81f, 0.64f, 0.09f, 1.0f};
      set(live, offsetof(glazing::Params, layer_count), miInteger{count});
      set(live, offsetof(glazing::Params, custom_color), color);
      set(live, offsetof(glazing::Params, front_reflectance), 0.9f);
      auto r = call<glazing::Ready>(live);
      EXPECT_COLOR_EQ(r.layer_reflectance_color, 0.1f / 2.0f, 0.1f / 2.0f, 0.1f / 2.0f, 0.0f);
      if (std::string(glass) == "6") {
        EXPECT_COLOR_EQ(r.layer_transmittance, root(color.r, layers), root(color.g, layers), root(color.b, layers),
                        0.0f);
        r.layer_transmittance = before.layer_transmittance;
      }
      EXPECT_EQ(std::memcmp(&before, &r, sizeof r), 0);
    }
  }
}

}  // namespace
}  // namespace tavo::test
