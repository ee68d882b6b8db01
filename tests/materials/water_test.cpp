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

struct TypeCase {
  const char *water_type;
  float tint_r, tint_g, tint_b, tint_weight;
  miBoolean falloff_enable;
  float falloff_distance;  // inches
  miBoolean falloff_color_enable;
  float factor_1, factor_2;
  float offset, length_max, length_min;  // inches
  miInteger wave_count;
};

// With a colour outside the colour table only the type speaks.
TEST_F(Water, EachTypeSetsItsColumn) {
  const TypeCase cases[] = {
      {"0", 0.957f, 0.984f, 0.996f, 1.0f, 1, 36.0f, 1, 0.0f, 0.0f, -1.0f, 10.0f, 1.0f, 6},
      {"1", 0.973f, 0.969f, 0.933f, 0.9f, 0, 0.0f, 0, 25.0f, 5.0f, -1.0f, 6.0f, 1.0f, 5},
      {"2", 0.933f, 0.961f, 0.973f, 0.95f, 1, 120.0f, 1, 1.0f, 0.5f, -0.001f, 12.0f, 1.5f, 12},
      {"3", 0.965f, 0.98f, 0.984f, 0.75f, 1, 144.0f, 1, 25.0f, 0.75f, -1.0f, 16.0f, 3.0f, 18},
      {"4", 0.965f, 0.98f, 0.984f, 0.75f, 0, 144.0f, 0, 25.0f, 3.5f, -1.0f, 26.0f, 6.0f, 10},
      // an unlisted type: zeros, but the offset of -1 inch
      {"5", 0, 0, 0, 0, 0, 0.0f, 0, 0, 0, -1.0f, 0.0f, 0.0f, 0},
      {"-1", 0, 0, 0, 0, 0, 0.0f, 0, 0, 0, -1.0f, 0.0f, 0.0f, 0},
      {"-2147483648", 0, 0, 0, 0, 0, 0.0f, 0, 0, 0, -1.0f, 0.0f, 0.0f, 0},
  };
  for (const TypeCase &c : cases) {
    for (const char *color_type : {"8", "-1"}) {
      SCOPED_TRACE(std::string("type ") + c.water_type + " colour " + color_type);
      const Ready r = run<Ready>(kShader, {value("water_type", {c.water_type}), value("color_type", {color_type}),
                                           value("custom_color", {"0.1", "0.2", "0.3", "0.4"})});
      EXPECT_COLOR_EQ(r.tint_color, c.tint_r, c.tint_g, c.tint_b, 0.0f);
      EXPECT_EQ(r.tint_weight, c.tint_weight);
      EXPECT_EQ(r.falloff_enable, c.falloff_enable);
      EXPECT_EQ(r.falloff_distance, inches(c.falloff_distance, 1.0f));
      EXPECT_EQ(r.falloff_color_enable, c.falloff_color_enable);
      EXPECT_EQ(r.wave_factor_1, c.factor_1);
      EXPECT_EQ(r.wave_factor_2, c.factor_2);
      EXPECT_EQ(r.wave_offset, inches(c.offset, 1.0f));
      EXPECT_EQ(r.wave_length_max, inches(c.length_max, 1.0f));
      EXPECT_EQ(r.wave_length_min, inches(c.length_min, 1.0f));
      EXPECT_EQ(r.wave_count, c.wave_count);
      EXPECT_EQ(r.wave_extra_length, 0.0f);
      EXPECT_COLOR_EQ(r.body_color, 0.0f, 0.0f, 0.0f, 0.0f);
    }
  }
}

TEST_F(Water, TypeZeroKeepsItsOwnFalloffColourAndNoBody) {
  for (const char *color_type : {"0", "1", "2", "4", "6", "7", "8", "-1"}) {
    SCOPED_TRACE(std::string("colour ") + color_type);
    const Ready r = run<Ready>(kShader, {value("water_type", {"0"}), value("color_type", {color_type}),
                                         value("custom_color", {"0.1", "0.2", "0.3", "0.4"})});
    EXPECT_COLOR_EQ(r.falloff_color, 0.761f, 0.961f, 0.945f, 0.0f);
    EXPECT_COLOR_EQ(r.body_color, 0.0f, 0.0f, 0.0f, 0.0f);
    EXPECT_EQ(r.wave_factor_1, 0.0f);
    EXPECT_EQ(r.wave_factor_2, 0.0f);
    EXPECT_EQ(r.wave_offset, inches(-1.0f, 1.0f));  // colour 2's offset does not apply
  }
}

struct ColourCase {
  const char *color_type;
  bool sets_falloff;
  float falloff_r, falloff_g, falloff_b;
  float body_r, body_g, body_b;
  float offset;    // inches, over type 3's -1
  float factor_1;  // over type 3's 25
};

TEST_F(Water, TheColourRowIsLaidOverTheType) {
  const ColourCase cases[] = {
      {"0", true, 0.416f, 0.953f, 0.847f, 0.2f, 0.92f, 0.77f, -1.0f, 25.0f},
      {"1", true, 0.675f, 0.686f, 0.557f, 0.412f, 0.49f, 0.27f, -1.0f, 25.0f},
      {"2", false, 0, 0, 0, 0.486f, 0.298f, 0.078f, -0.001f, 25.0f},
      {"3", false, 0, 0, 0, 0.059f, 0.071f, 0.007f, -1.0f, 25.0f},
      {"4", true, 0.459f, 0.435f, 0.192f, 0.0f, 0.773f, 0.675f, -1.0f, 1.0f},
      {"5", true, 0.145f, 0.161f, 0.067f, 0.098f, 0.137f, 0.019f, -1.0f, 25.0f},
      {"6", true, 0.145f, 0.161f, 0.067f, 0.141f, 0.357f, 0.314f, -1.0f, 25.0f},
      {"7", true, 0.1f, 0.2f, 0.3f, 0.1f, 0.2f, 0.3f, -1.0f, 25.0f},  // custom: alpha stays 0
  };
  for (const ColourCase &c : cases) {
    for (const char *water_type : {"1", "3", "4"}) {
      SCOPED_TRACE(std::string("type ") + water_type + " colour " + c.color_type);
      const Ready r = run<Ready>(kShader, {value("water_type", {water_type}), value("color_type", {c.color_type}),
                                           value("custom_color", {"0.1", "0.2", "0.3", "0.4"})});
      EXPECT_COLOR_EQ(r.falloff_color, c.falloff_r, c.falloff_g, c.falloff_b, 0.0f);
      EXPECT_COLOR_EQ(r.body_color, c.body_r, c.body_g, c.body_b, 0.0f);
      EXPECT_EQ(r.wave_offset, inches(c.offset, 1.0f));
      EXPECT_EQ(r.wave_factor_1, c.factor_1);
    }
  }
  // a row without an offset leaves the type's own
  const Ready shallow = run<Ready>(kShader, {value("water_type", {"2"}), value("color_type", {"0"})});
  EXPECT_EQ(shallow.wave_offset, inches(-0.001f, 1.0f));
  EXPECT_EQ(shallow.wave_factor_1, 1.0f);
}

TEST_F(Water, AnUnlistedTypeStillTakesTheColour) {
  for (const char *water_type : {"5", "7", "-1"}) {
    SCOPED_TRACE(std::string("type ") + water_type);
    const Ready r = run<Ready>(kShader, {value("water_type", {water_type}), value("color_type", {"0"}),
                                         value("wave_height", {"500"})});
    Ready expected{};
    expected.falloff_color = {0.416f, 0.953f, 0.847f, 0.0f};
    expected.body_color = {0.2f, 0.92f, 0.77f, 0.0f};
    expected.wave_offset = inches(-1.0f, 1.0f);
    expected.wave_height = 500.0f / 1000.0f * 1.0f;
    EXPECT_EQ(std::memcmp(&r, &expected, sizeof r), 0);
  }
}

struct UnitCase {
  SceneChoice unit_scale;
  float u;
};

TEST_F(Water, LengthsAreConvertedToSceneUnits) {
  const UnitCase cases[] = {
      {std::nullopt, 1.0f}, {0.0f, 1.0f}, {-0.0254f, 1.0f}, {1.0f, 1.0f / 1.0f},
      {0.0254f, 1.0f / 0.0254f}, {0.001f, 1.0f / 0.001f}, {0.3048f, 1.0f / 0.3048f},
      // units at which multiplying before dividing would round differently
      {0.17f, 1.0f / 0.17f}, {2.2f, 1.0f / 2.2f}, {1.7f, 1.0f / 1.7f},
  };
  for (const UnitCase &c : cases) {
    SCOPED_TRACE(c.unit_scale ? std::to_string(*c.unit_scale) : std::string("no scene"));
    use_scene(c.unit_scale, 1);  // the flag plays no part here
    for (const float height : {25.4f, 500.0f, 0.0f, -3.0f, 0.3f}) {
      const Ready r = run<Ready>(kShader, {value("water_type", {"2"}), value("color_type", {"3"}),
                                           value("wave_height", {word(height)})});
      EXPECT_EQ(r.wave_height, height / 1000.0f * c.u);
      EXPECT_EQ(r.falloff_distance, inches(120.0f, c.u));
      EXPECT_EQ(r.wave_offset, inches(-0.001f, c.u));
      EXPECT_EQ(r.wave_length_max, inches(12.0f, c.u));
      EXPECT_EQ(r.wave_length_min, inches(1.5f, c.u));
      EXPECT_EQ(r.wave_extra_length, 0.0f);
    }
  }
  // one scene unit per inch gives the table's inches back; none gives metres
  use_scene(0.0254f);
  const Ready inch = run<Ready>(kShader, {value("water_type", {"4"}), value("wave_height", {"25.4"})});
  EXPECT_NEAR(inch.wave_length_max, 26.0f, 1e-4f);
  EXPECT_NEAR(inch.falloff_distance, 144.0f, 1e-4f);
  EXPECT_NEAR(inch.wave_height, 1.0f, 1e-6f);
  use_scene(std::nullopt);
  const Ready metre = run<Ready>(kShader, {value("water_type", {"4"}), value("wave_height", {"500"})});
  EXPECT_NEAR(metre.wave_length_max, 0.6604f, 1e-6f);
  EXPECT_EQ(metre.wave_height, 0.5f);
  EXPECT_EQ(renderer().releases().back().file, kShader);
}

TEST_F(Water, CallsReadNoParameter) {
  LiveInstance live(kShader, {value("water_type", {"3"}), value("color_type", {"7"}),
                              value("custom_color", {"0.1", "0.2", "0.3", "0.4"}), value("wave_height", {"10"})});
  const Ready before = live.call<Ready>();
  live.set<miInteger>(offsetof(Params, water_type), 0);
  live.set<miInteger>(offsetof(Params, color_type), 0);
  live.set<miColor>(offsetof(Params, custom_color), miColor{1.0f, 1.0f, 1.0f, 1.0f});
  live.set<miScalar>(offsetof(Params, wave_height), 99.0f);
  const Ready after = live.call<Ready>(miRAY_SHADOW);
  EXPECT_EQ(std::memcmp(&before, &after, sizeof before), 0);
  EXPECT_COLOR_EQ(after.body_color, 0.1f, 0.2f, 0.3f, 0.0f);
}

}  // namespace
}  // namespace tavo::test
