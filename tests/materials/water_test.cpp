// The water converter: the water types, the water colours laid over them (or
// not, for the first type), the custom colour, and lengths given in inches and
// millimetres turned into scene units.
#include <gtest/gtest.h>

#include <string>

#include "layout_registry.h"
#include "materials/converter_fixture.h"
#include "materials/tavo_Shd_Water_spider.h"

namespace tavo::test {
namespace {

using water::Params;
using water::Ready;

TAVO_LAYOUT("tavo_Shd_Water_spider", Parameters, Params, TAVO_FIELD(Params, water_type),
            TAVO_FIELD(Params, color_type), TAVO_FIELD(Params, custom_color), TAVO_FIELD(Params, wave_height));
TAVO_LAYOUT("tavo_Shd_Water_spider", Result, Ready, TAVO_FIELD(Ready, tint_color), TAVO_FIELD(Ready, tint_weight),
            TAVO_FIELD(Ready, falloff_enable), TAVO_FIELD(Ready, falloff_distance),
            TAVO_FIELD(Ready, falloff_color_enable), TAVO_FIELD(Ready, falloff_color), TAVO_FIELD(Ready, body_color),
            TAVO_FIELD(Ready, wave_factor_1), TAVO_FIELD(Ready, wave_factor_2), TAVO_FIELD(Ready, wave_offset),
            TAVO_FIELD(Ready, wave_length_max), TAVO_FIELD(Ready, wave_length_min), TAVO_FIELD(Ready, wave_count),
            TAVO_FIELD(Ready, wave_extra_length), TAVO_FIELD(Ready, wave_height));

constexpr const char *kShader = "tavo_Shd_Water_spider";

using Water = ConverterTest;

// Inches to scene units: divided first, multiplied second.
float inches(float value, float u) { return value / 39.37008f * u; }

// Type 0 keeps its own falloff colour and no body, whatever the colour.
TEST_F(Water, TypeZeroIgnoresTheColour) {
  for (const char *color_type : {"0", "2", "7"}) {
    SCOPED_TRACE(std::string("colour ") + color_type);
    const Ready r = run<Ready>(kShader, {value("water_type", {"0"}), value("color_type", {color_type}),
                                         value("custom_color", {"0.1", "0.2", "0.3", "0.4"})});
    EXPECT_COLOR_EQ(r.falloff_color, 0.761f, 0.961f, 0.945f, 0.0f);
    EXPECT_COLOR_EQ(r.body_color, 0.0f, 0.0f, 0.0f, 0.0f);
    EXPECT_EQ(r.wave_count, 6);
    EXPECT_EQ(r.wave_offset, inches(-1.0f, 1.0f));  // colour 2's offset does not apply
  }
}

struct ColourCase {
  const char *water_type;
  const char *color_type;
  float falloff_r, body_r;
  float offset;    // inches
  float factor_1;
};

// A colour row is laid over the type: some rows leave the falloff colour, the
// offset or the first factor as the type set them; the custom colour (7) is
// both colours, alpha left at 0.
TEST_F(Water, TheColourRowIsLaidOverTheType) {
  const ColourCase cases[] = {
      {"3", "0", 0.416f, 0.2f, -1.0f, 25.0f},  {"3", "2", 0.0f, 0.486f, -0.001f, 25.0f},
      {"3", "4", 0.459f, 0.0f, -1.0f, 1.0f},   {"2", "0", 0.416f, 0.2f, -0.001f, 1.0f},
      {"4", "7", 0.1f, 0.1f, -1.0f, 25.0f},    {"3", "8", 0.0f, 0.0f, -1.0f, 25.0f},
      {"5", "0", 0.416f, 0.2f, -1.0f, 0.0f},   // an unlisted type still takes the colour
      {"-1", "-1", 0.0f, 0.0f, -1.0f, 0.0f},
  };
  for (const ColourCase &c : cases) {
    SCOPED_TRACE(std::string("type ") + c.water_type + " colour " + c.color_type);
    const Ready r = run<Ready>(kShader, {value("water_type", {c.water_type}), value("color_type", {c.color_type}),
                                         value("custom_color", {"0.1", "0.2", "0.3", "0.4"})});
    EXPECT_EQ(r.falloff_color.r, c.falloff_r);
    EXPECT_EQ(r.body_color.r, c.body_r);
    EXPECT_EQ(r.body_color.a, 0.0f);
    EXPECT_EQ(r.wave_offset, inches(c.offset, 1.0f));
    EXPECT_EQ(r.wave_factor_1, c.factor_1);
  }
  const Ready custom = run<Ready>(kShader, {value("water_type", {"4"}), value("color_type", {"7"}),
                                            value("custom_color", {"0.1", "0.2", "0.3", "0.4"})});
  EXPECT_COLOR_EQ(custom.falloff_color, 0.1f, 0.2f, 0.3f, 0.0f);
  EXPECT_COLOR_EQ(custom.body_color, 0.1f, 0.2f, 0.3f, 0.0f);
}

TEST_F(Water, TheWaveHeightIsInMillimetres) {
  use_scene(0.0254f, 1);  // the flag plays no part here
  const Ready inch = run<Ready>(kShader, {value("water_type", {"4"}), value("wave_height", {"25.4"})});
  EXPECT_EQ(inch.wave_height, 25.4f / 1000.0f * (1.0f / 0.0254f));
  EXPECT_NEAR(inch.wave_length_max, 26.0f, 1e-4f);
  EXPECT_EQ(inch.wave_extra_length, 0.0f);
}

}  // namespace
}  // namespace tavo::test
