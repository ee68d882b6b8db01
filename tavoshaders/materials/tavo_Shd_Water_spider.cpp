// Water converter: five kinds of water and seven water colours (or a custom
// one) fill the record; wave and falloff lengths given in inches and the wave
// height in millimetres are turned into scene units.
#include "materials/tavo_Shd_Water_spider.h"

#include "materials/converter.h"

using tavo::water::Params;
using tavo::water::Ready;
namespace conv = tavo::converter;

namespace {

struct Rgb {
  miScalar r, g, b;
};

// Writes r, g and b; the alpha keeps its 0.
void set_rgb(miColor *color, const Rgb &c) {
  color->r = c.r;
  color->g = c.g;
  color->b = c.b;
}

// Lengths in inches. A field that a type leaves alone (falloff_distance of
// type 1, the wave factors of type 0) holds 0: the column is applied to a
// cleared record, so writing that 0 leaves the field as it was.
struct WaterType {
  Rgb tint;
  miScalar tint_weight;
  miBoolean falloff_enable;
  miScalar falloff_distance;
  miBoolean falloff_color_enable;
  miScalar wave_factor_1;
  miScalar wave_factor_2;
  miScalar wave_offset;
  miScalar wave_length_max;
  miScalar wave_length_min;
  miInteger wave_count;
};

constexpr WaterType kTypes[5] = {
    {{0.957f, 0.984f, 0.996f}, 1.0f, 1, 36.0f, 1, 0.0f, 0.0f, -1.0f, 10.0f, 1.0f, 6},
    {{0.973f, 0.969f, 0.933f}, 0.9f, 0, 0.0f, 0, 25.0f, 5.0f, -1.0f, 6.0f, 1.0f, 5},
    {{0.933f, 0.961f, 0.973f}, 0.95f, 1, 120.0f, 1, 1.0f, 0.5f, -0.001f, 12.0f, 1.5f, 12},
    {{0.965f, 0.98f, 0.984f}, 0.75f, 1, 144.0f, 1, 25.0f, 0.75f, -1.0f, 16.0f, 3.0f, 18},
    {{0.965f, 0.98f, 0.984f}, 0.75f, 0, 144.0f, 0, 25.0f, 3.5f, -1.0f, 26.0f, 6.0f, 10},
};

// Type 0 brings its own falloff colour and takes no water colour.
constexpr miInteger kOwnColourType = 0;
constexpr Rgb kOwnFalloffColour = {0.761f, 0.961f, 0.945f};

struct Override {
  bool applies;
  miScalar value;
};

constexpr Override kKeep = {false, 0.0f};

struct WaterColour {
  bool sets_falloff;  // else the falloff colour stays as the type left it
  Rgb falloff;
  Rgb body;
  Override wave_offset;  // inches
  Override wave_factor_1;
};

constexpr WaterColour kColours[7] = {
    {true, {0.416f, 0.953f, 0.847f}, {0.2f, 0.92f, 0.77f}, kKeep, kKeep},
    {true, {0.675f, 0.686f, 0.557f}, {0.412f, 0.49f, 0.27f}, kKeep, kKeep},
    {false, {}, {0.486f, 0.298f, 0.078f}, {true, -0.001f}, kKeep},
    {false, {}, {0.059f, 0.071f, 0.007f}, kKeep, kKeep},
    {true, {0.459f, 0.435f, 0.192f}, {0.0f, 0.773f, 0.675f}, kKeep, {true, 1.0f}},
    {true, {0.145f, 0.161f, 0.067f}, {0.098f, 0.137f, 0.019f}, kKeep, kKeep},
    {true, {0.145f, 0.161f, 0.067f}, {0.141f, 0.357f, 0.314f}, kKeep, kKeep},
};

// Both colours take the user's r, g and b.
constexpr miInteger kCustomColour = 7;

void apply_type(Ready *ready, const WaterType &t) {
  set_rgb(&ready->tint_color, t.tint);
  ready->tint_weight = t.tint_weight;
  ready->falloff_enable = t.falloff_enable;
  ready->falloff_distance = t.falloff_distance;
  ready->falloff_color_enable = t.falloff_color_enable;
  ready->wave_factor_1 = t.wave_factor_1;
  ready->wave_factor_2 = t.wave_factor_2;
  ready->wave_offset = t.wave_offset;
  ready->wave_length_max = t.wave_length_max;
  ready->wave_length_min = t.wave_length_min;
  ready->wave_count = t.wave_count;
}

void apply_colour(Ready *ready, const WaterColour &c) {
  if (c.sets_falloff) set_rgb(&ready->falloff_color, c.falloff);
  set_rgb(&ready->body_color, c.body);
  if (c.wave_offset.applies) ready->wave_offset = c.wave_offset.value;
  if (c.wave_factor_1.applies) ready->wave_factor_1 = c.wave_factor_1.value;
}

void build(Ready *ready, miState *state, Params *paras) {
  const miInteger water_type = tavo::eval(state, &paras->water_type);
  const miInteger color_type = tavo::eval(state, &paras->color_type);
  const miColor custom_color = tavo::eval(state, &paras->custom_color);
  const miScalar wave_height = tavo::eval(state, &paras->wave_height);

  ready->wave_offset = -1.0f;

  if (water_type == kOwnColourType) {
    apply_type(ready, kTypes[kOwnColourType]);
    set_rgb(&ready->falloff_color, kOwnFalloffColour);
  } else {
    // An unlisted type sets nothing, but the colour still applies.
    if (const WaterType *t = conv::preset_row(kTypes, water_type)) apply_type(ready, *t);
    if (color_type == kCustomColour) {
      const Rgb custom = {custom_color.r, custom_color.g, custom_color.b};
      set_rgb(&ready->falloff_color, custom);
      set_rgb(&ready->body_color, custom);
    } else if (const WaterColour *c = conv::preset_row(kColours, color_type)) {
      apply_colour(ready, *c);
    }
  }

  const conv::SceneFacts scene = conv::scene_facts(state);
  ready->wave_height = conv::millimetre_parameter(wave_height, scene.u);
  ready->falloff_distance = conv::inch_value(ready->falloff_distance, scene.u);
  ready->wave_offset = conv::inch_value(ready->wave_offset, scene.u);
  ready->wave_length_max = conv::inch_value(ready->wave_length_max, scene.u);
  ready->wave_length_min = conv::inch_value(ready->wave_length_min, scene.u);
  ready->wave_extra_length = conv::inch_value(ready->wave_extra_length, scene.u);
}

}  // namespace

TAVO_CONVERTER(tavo_Shd_Water_spider, Ready, Params, build, conv::copy_only)
