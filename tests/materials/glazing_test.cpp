// The glazing converter: the per-layer transmittance root of each tint, the
// reflectances and their weighted brightness, the custom colour re-read on
// every call, the shadow-ray substitution and layer counts below one.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "layout_registry.h"
#include "materials/converter_fixture.h"
#include "materials/tavo_Shd_Glazing_spider.h"

namespace tavo::test {
namespace {

using glazing::Params;
using glazing::Ready;

TAVO_LAYOUT("tavo_Shd_Glazing_spider", Parameters, Params, TAVO_FIELD(Params, layer_count),
            TAVO_FIELD(Params, glass_color), TAVO_FIELD(Params, custom_color), TAVO_FIELD(Params, front_reflectance));
TAVO_LAYOUT("tavo_Shd_Glazing_spider", Result, Ready, TAVO_FIELD(Ready, layer_transmittance),
            TAVO_FIELD(Ready, reflectance_color), TAVO_FIELD(Ready, layer_reflectance_color),
            TAVO_FIELD(Ready, brdf_0_degree), TAVO_FIELD(Ready, glass_color));

constexpr const char *kShader = "tavo_Shd_Glazing_spider";

using Glazing = ConverterTest;

float root(float channel, float layers) { return std::pow(channel, 1.0f / layers); }

struct TintCase {
  int glass_color;
  int layer_count;
  float layers;  // the root degree the count stands for
  float tint_r, tint_g, tint_b;
};

TEST_F(Glazing, TheTintBecomesAPerLayerTransmittance) {
  const TintCase cases[] = {
      {0, 1, 1.0f, 0.858f, 0.893f, 0.879f}, {1, 3, 3.0f, 0.676f, 0.797f, 0.737f},
      {2, 2, 2.0f, 0.451f, 0.449f, 0.472f}, {3, 4, 4.0f, 0.367f, 0.514f, 0.651f},
      {4, 2, 2.0f, 0.654f, 0.788f, 0.772f}, {5, 7, 7.0f, 0.583f, 0.516f, 0.467f},
      {6, 2, 2.0f, 0.25f, 0.5f, 0.75f},
      // fewer than one layer counts as one
      {2, 0, 1.0f, 0.451f, 0.449f, 0.472f}, {6, -3, 1.0f, 0.25f, 0.5f, 0.75f},
      // an unlisted colour selects no tint
      {7, 2, 2.0f, 0.0f, 0.0f, 0.0f}, {-1, 1, 1.0f, 0.0f, 0.0f, 0.0f}, {-6, 0, 1.0f, 0.0f, 0.0f, 0.0f},
  };
  for (const TintCase &c : cases) {
    SCOPED_TRACE("glass " + std::to_string(c.glass_color) + " layers " + std::to_string(c.layer_count));
    const Ready r = run<Ready>(kShader, {value("glass_color", {std::to_string(c.glass_color)}),
                                         value("layer_count", {std::to_string(c.layer_count)}),
                                         value("custom_color", {"0.25", "0.5", "0.75", "0.5"})});
    EXPECT_COLOR_EQ(r.layer_transmittance, root(c.tint_r, c.layers), root(c.tint_g, c.layers),
                    root(c.tint_b, c.layers), 0.0f);
    EXPECT_EQ(r.glass_color, c.glass_color);
  }
  // one layer passes the table's tint through exactly; two take square roots
  const Ready one = run<Ready>(kShader, {value("glass_color", {"0"}), value("layer_count", {"1"})});
  EXPECT_COLOR_EQ(one.layer_transmittance, 0.858f, 0.893f, 0.879f, 0.0f);
  const Ready two = run<Ready>(kShader, {value("glass_color", {"2"}), value("layer_count", {"2"})});
  EXPECT_NEAR(two.layer_transmittance.r, 0.6716f, 1e-4f);
  EXPECT_NEAR(two.layer_transmittance.b, 0.6870f, 1e-4f);
}

struct ReflectanceCase {
  const char *front_reflectance;
  int layer_count;
  float a;       // after the zero guard
  float layers;  // the divisor
};

TEST_F(Glazing, TheReflectanceIsSharedOutOverTheLayers) {
  const ReflectanceCase cases[] = {
      {"0.08", 2, 0.08f, 2.0f}, {"0.08", 1, 0.08f, 1.0f}, {"0.3", 5, 0.3f, 5.0f},
      {"0", 2, 0.0001f, 2.0f},  {"-0", 3, 0.0001f, 3.0f}, {"-0.2", 2, -0.2f, 2.0f},
      {"0.08", 0, 0.08f, 1.0f}, {"0.08", -2147483647, 0.08f, 1.0f},
  };
  for (const ReflectanceCase &c : cases) {
    SCOPED_TRACE(std::string("reflectance ") + c.front_reflectance + " layers " + std::to_string(c.layer_count));
    const Ready r = run<Ready>(kShader, {value("front_reflectance", {c.front_reflectance}),
                                         value("layer_count", {std::to_string(c.layer_count)})});
    EXPECT_COLOR_EQ(r.reflectance_color, c.a, c.a, c.a, 0.0f);
    const float per_layer = c.a / c.layers;
    EXPECT_COLOR_EQ(r.layer_reflectance_color, per_layer, per_layer, per_layer, 0.0f);
    const float one = c.a / c.a;
    EXPECT_EQ(r.brdf_0_degree, brightness(c.a, c.a, c.a) / brightness(one, one, one));
  }
  const Ready r = run<Ready>(kShader, {value("front_reflectance", {"0.08"}), value("layer_count", {"2"})});
  EXPECT_NEAR(r.brdf_0_degree, 0.08f, 1e-8f);
}

TEST_F(Glazing, ShadowRaysSeeThePerLayerReflectance) {
  const auto calls = run<Ready>(kShader, {value("front_reflectance", {"0.08"}), value("layer_count", {"2"}),
                                          value("glass_color", {"3"})},
                                {miRAY_EYE, miRAY_SHADOW, miRAY_EYE, miRAY_LIGHT, miRAY_SHADOW});
  const float whole = 0.08f;
  const float half = 0.08f / 2.0f;
  const float expected[] = {whole, half, whole, whole, half};
  for (std::size_t k = 0; k < calls.size(); ++k) {
    SCOPED_TRACE("call " + std::to_string(k));
    EXPECT_COLOR_EQ(calls[k].reflectance_color, expected[k], expected[k], expected[k], 0.0f);
    EXPECT_COLOR_EQ(calls[k].layer_reflectance_color, half, half, half, 0.0f);
    EXPECT_EQ(calls[k].brdf_0_degree, calls[0].brdf_0_degree);
    EXPECT_EQ(std::memcmp(&calls[k].layer_transmittance, &calls[0].layer_transmittance, sizeof(miColor)), 0);
  }
}

TEST_F(Glazing, ACustomTintFollowsEachCallsColourAndLayerCount) {
  LiveInstance live(kShader, {value("glass_color", {"6"}), value("layer_count", {"2"}),
                              value("front_reflectance", {"0.1"}), value("custom_color", {"0.25", "0.5", "1", "1"})});
  const struct {
    miInteger layer_count;
    float layers;
    miColor color;
  } cases[] = {
      {2, 2.0f, {0.25f, 0.5f, 1.0f, 1.0f}},
      {2, 2.0f, {0.81f, 0.64f, 0.09f, 1.0f}},
      {3, 3.0f, {0.81f, 0.64f, 0.09f, 1.0f}},
      {0, 1.0f, {0.81f, 0.64f, 0.09f, 1.0f}},
      {-5, 1.0f, {0.5f, 0.5f, 0.5f, 0.0f}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE("layers " + std::to_string(c.layer_count));
    live.set(offsetof(Params, layer_count), c.layer_count);
    live.set(offsetof(Params, custom_color), c.color);
    const Ready r = live.call<Ready>();
    EXPECT_COLOR_EQ(r.layer_transmittance, root(c.color.r, c.layers), root(c.color.g, c.layers),
                    root(c.color.b, c.layers), 0.0f);
    // the reflectances keep the count of init
    EXPECT_COLOR_EQ(r.layer_reflectance_color, 0.1f / 2.0f, 0.1f / 2.0f, 0.1f / 2.0f, 0.0f);
  }
}

TEST_F(Glazing, PresetAndUnlistedTintsAreFixedAtInit) {
  for (const char *glass : {"1", "8"}) {
    SCOPED_TRACE(std::string("glass ") + glass);
    LiveInstance live(kShader, {value("glass_color", {glass}), value("layer_count", {"2"})});
    const Ready before = live.call<Ready>();
    live.set(offsetof(Params, layer_count), miInteger{5});
    live.set(offsetof(Params, custom_color), miColor{0.5f, 0.5f, 0.5f, 1.0f});
    live.set(offsetof(Params, front_reflectance), 0.9f);
    const Ready after = live.call<Ready>();
    EXPECT_EQ(std::memcmp(&before, &after, sizeof before), 0);
  }
}

TEST_F(Glazing, NeedsNoSceneRecord) {
  const Ready with = run<Ready>(kShader, {value("glass_color", {"4"}), value("layer_count", {"3"})});
  renderer().clear_scene();
  const Ready without = run<Ready>(kShader, {value("glass_color", {"4"}), value("layer_count", {"3"})});
  use_scene(0.0254f, 1);
  const Ready flagged = run<Ready>(kShader, {value("glass_color", {"4"}), value("layer_count", {"3"})});
  EXPECT_EQ(std::memcmp(&with, &without, sizeof with), 0);
  EXPECT_EQ(std::memcmp(&with, &flagged, sizeof with), 0);
}

}  // namespace
}  // namespace tavo::test
