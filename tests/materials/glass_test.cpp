// The glass converters: solid glass's falloff colour and the per-call refresh of
// a custom one; glazing's per-layer transmittance root and reflectance share.
#include <gtest/gtest.h>

#include <string>

#include "materials/converter_fixture.h"
#include "materials/tavo_Shd_Glazing_spider.h"
#include "materials/tavo_Shd_SolidGlass_spider.h"

namespace tavo::test {
namespace {

constexpr const char *kSolid = "tavo_Shd_SolidGlass_spider";
constexpr const char *kGlazing = "tavo_Shd_Glazing_spider";

using Glass = ConverterTest;

// The reflectance, at least 0.001, is the brdf at 0 degrees (its brightness over white's); the glass colour times
// (1 - its brightness)^2 is the falloff colour; reflection and refraction stay white.
TEST_F(Glass, SolidPresetColoursBecomeTheFalloffColour) {
  const struct {
    const char *glass_color, *front_reflectance;
    float brdf;
    const char *falloff;
  } cases[] = {
      {"3", "0.5", 0.5f, "0.0917500034 0.1285 0.162750006 1"},
      {"1", "0.0009", 0.001f, "0.674648702 0.795406818 0.735526741 1"},  // clamped
      {"5", "1.5", 1.49999988f, "0.145749927 0.128999934 0.11674995 1"},
      {"-1", "0", 0.001f, "0.00099800108 0.00099800108 0.00099800108 1"},  // unlisted colours take the grey reflectance colour itself
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(std::string("glass ") + c.glass_color + " reflectance " + c.front_reflectance);
    const auto r = eval<solid_glass::Ready>(
        kSolid, {value("glass_color", {c.glass_color}), value("front_reflectance", {c.front_reflectance})});
    EXPECT_EQ(r.brdf_0_degree, c.brdf);
    EXPECT_EQ(exact(r.refraction_falloff_color), c.falloff);
    EXPECT_EQ(exact(r.reflection_color) + ", " + exact(r.refraction_color), "1 1 1 1, 1 1 1 1");
    EXPECT_EQ(r.refresh_per_call, miFALSE);
  }
  EXPECT_EQ(eval<solid_glass::Ready>(kSolid, {value("roughness", {"1.5"})}).glossiness, 1.0f - 1.5f);  // unclamped
}

// A custom colour follows each call's reflectance (unclamped; 0 gives white) and colour; the scene flag keeps it as
// init derived it, clamp included, and preset colours are never refreshed.
TEST_F(Glass, ASolidCustomColourIsDerivedAgainOnEveryCallUnlessFixedAtInit) {
  const struct {
    float v;
    miColor color;
    float brdf;
    const char *falloff;  // where each call's colour is derived
  } calls[] = {{0.2f, {0.3f, 0.5f, 0.7f, 1}, 0.2f, "0.192000017 0.320000023 0.448000014 1"},
               {0.0005f, {0.9f, 0.1f, 0.2f, 0.5f}, 0.0005f, "0.899100125 0.0999000221 0.199800044 1"},
               {-0.0f, {0.25f, 0.5f, 1, 0}, 0, "0.25 0.5 1 1"}};
  const struct {
    int scene_flag;
    const char *glass_color;
    const char *kept;  // the falloff colour init derived (reflectance 0.001); null: derived on every call
  } cases[] = {{0, "6", nullptr}, {1, "6", "0.29940033 0.49900052 0.698600709 1"},
               {0, "3", "0.3662664 0.512972534 0.649698675 1"}};
  for (const auto &c : cases) {
    use_scene(0.0254f, c.scene_flag);
    const miTag live = instance(kSolid, {value("glass_color", {c.glass_color}), value("front_reflectance", {"0"}),
                                         value("custom_color", {"0.3", "0.5", "0.7", "1"}),
                                         value("falloff_distance", {"4"})});
    for (const auto &each : calls) {
      SCOPED_TRACE(testing::Message() << "glass " << c.glass_color << " flag " << c.scene_flag << " reflectance " << each.v);
      set(live, offsetof(solid_glass::Params, front_reflectance), each.v);
      set(live, offsetof(solid_glass::Params, custom_color), each.color);
      const auto r = call<solid_glass::Ready>(live);
      EXPECT_EQ(r.refresh_per_call, c.kept ? miFALSE : miTRUE);
      EXPECT_EQ(r.brdf_0_degree, c.kept ? 0.001f : each.brdf);
      EXPECT_EQ(exact(r.refraction_falloff_color), c.kept ? c.kept : each.falloff);
      EXPECT_EQ(exact(r.reflection_color), "1 1 1 1");
      if (!c.scene_flag) {
        EXPECT_EQ(r.falloff_distance, 4.0f);
      }
    }
  }
}

// A custom colour connected to a glazing's reflectance, which shadow rays see per layer: each call's colour reaches
// the result.
TEST_F(Glass, AConnectedCustomColourFollowsEachCallsState) {
  const miTag glazing =
      renderer().create_instance(kGlazing, {value("layer_count", {"2"}), value("front_reflectance", {"0.08"})});
  const miTag glass =
      renderer().create_instance(kSolid, {value("glass_color", {"6"}), value("front_reflectance", {"0.1"}),
                                          link("custom_color", glazing, "reflectance_color")});
  const auto calls = renderer().run(glass, {miRAY_EYE, miRAY_SHADOW});
  for (const auto &[index, falloff] : {std::pair{0, "0.0647999942 0.0647999942 0.0647999942 1"},
                                        std::pair{1, "0.0323999971 0.0323999971 0.0323999971 1"}}) {
    solid_glass::Ready r;
    std::memcpy(&r, calls[index].result.data(), sizeof r);
    EXPECT_EQ(exact(r.refraction_falloff_color), falloff) << index;
  }
}

// The layer-count root of the tint's channels, the reflectance (0 counts as 0.0001) and its share per layer.
TEST_F(Glass, GlazingTintsAndReflectancesArePerLayer) {
  const struct {
    const char *glass_color, *layer_count, *front_reflectance;
    const char *transmittance;
    float reflectance, per_layer;
  } cases[] = {
      {"0", "1", "0.08", "0.85799998 0.893000007 0.879000008 0", 0.08f, 0.08f},
      {"3", "4", "0.3", "0.778334916 0.846721888 0.898245931 0", 0.3f, 0.3f / 4},
      {"6", "2", "0", "0.5 0.707106769 0.866025388 0", 0.0001f, 0.0001f / 2},  // the custom colour
      {"2", "0", "-0", "0.451000005 0.449000001 0.472000003 0", 0.0001f, 0.0001f},  // fewer than one layer is one
      {"7", "2", "0.08", "0 0 0 0", 0.08f, 0.08f / 2},  // an unlisted colour selects no tint
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(std::string("glass ") + c.glass_color + " layers " + c.layer_count);
    const auto r = eval<glazing::Ready>(
        kGlazing, {value("glass_color", {c.glass_color}), value("layer_count", {c.layer_count}),
                   value("front_reflectance", {c.front_reflectance}), value("custom_color", {"0.25", "0.5", "0.75", "0.5"})});
    EXPECT_EQ(exact(r.layer_transmittance), c.transmittance);
    EXPECT_EQ(r.glass_color, std::stoi(c.glass_color));
    EXPECT_EQ(exact(r.reflectance_color), exact(miColor{c.reflectance, c.reflectance, c.reflectance, 0}));
    EXPECT_EQ(exact(r.layer_reflectance_color), exact(miColor{c.per_layer, c.per_layer, c.per_layer, 0}));
    EXPECT_EQ(r.brdf_0_degree, c.reflectance);  // its brightness over white's
  }
}

// A custom tint follows each call's colour and layer count, the reflectances keep the count of init; preset and
// unlisted tints are fixed at init.
TEST_F(Glass, GlazingRefreshesOnlyACustomTint) {
  for (const char *glass : {"6", "1", "8"}) {
    SCOPED_TRACE(std::string("glass ") + glass);
    const miTag live =
        instance(kGlazing, {value("glass_color", {glass}), value("layer_count", {"2"}), value("front_reflectance", {"0.1"}),
                            value("custom_color", {"0.25", "0.5", "1", "1"})});
    const auto before = call<glazing::Ready>(live);
    for (const auto &[count, transmittance] : {std::pair{3, "0.932169735 0.861773849 0.448140472 0"}, std::pair{-5, "0.810000002 0.639999986 0.0900000036 0"}}) {
      set(live, offsetof(glazing::Params, layer_count), miInteger{count});
      set(live, offsetof(glazing::Params, custom_color), miColor{0.81f, 0.64f, 0.09f, 1.0f});
      set(live, offsetof(glazing::Params, front_reflectance), 0.9f);
      auto r = call<glazing::Ready>(live);
      EXPECT_EQ(exact(r.layer_reflectance_color), "0.0500000007 0.0500000007 0.0500000007 0");
      if (std::string(glass) == "6") {
        EXPECT_EQ(exact(r.layer_transmittance), transmittance);
        r.layer_transmittance = before.layer_transmittance;
      }
      EXPECT_EQ(std::memcmp(&before, &r, sizeof r), 0);
    }
  }
}

}  // namespace
}  // namespace tavo::test
