// Ceramic converter: a type, a finish, a colour and a bump height in
// millimetres become reflection presets, unit-scaled lengths and two shading
// colours derived in hue/saturation/value space.
#include "materials/tavo_Shd_Ceramic_spider.h"

#include "materials/converter.h"

using tavo::ceramic::Params;
using tavo::ceramic::Ready;
namespace conv = tavo::converter;

namespace {

struct Preset {
  miScalar roughness;
  miScalar reflectivity;
  miScalar glossiness;
  miScalar reflection_curve;
};

// [type][finish]
constexpr Preset kPresets[2][3] = {
    {
        {0.0f, 0.9f, 0.85f, 5.0f},
        {0.1f, 0.6f, 0.5f, 5.0f},
        {0.35f, 0.4f, 0.325f, 5.0f},
    },
    {
        {0.0f, 0.375f, 0.9f, 5.0f},
        {0.1f, 0.325f, 0.4f, 3.0f},
        {0.2f, 0.3f, 0.25f, 2.0f},
    },
};

// The colour with its saturation and value scaled; no clamping, so a
// saturation pushed above 1 gives negative channels.
miColor adjusted(const miColor &color, miScalar saturation, miScalar value) {
  conv::Hsv hsv = conv::rgb_to_hsv(color);
  hsv.s = hsv.s * saturation;
  hsv.v = hsv.v * value;
  return conv::hsv_to_rgb(hsv, color.a);
}

void build(Ready *ready, miState *state, Params *paras) {
  const miInteger type = tavo::eval(state, &paras->type);
  const miInteger finish = tavo::eval(state, &paras->finish);
  const miBoolean map_mode_on = tavo::eval(state, &paras->map_mode_on);
  const miScalar bump_height_mm = tavo::eval(state, &paras->bump_height_mm);
  const miColor color = tavo::eval(state, &paras->color);

  ready->bump_on = 0;
  ready->reflection_curve = 5.0f;

  if (const auto *by_finish = conv::preset_row(kPresets, type)) {
    // A bumpy type bumps for any finish, listed or not.
    if (type == 1 && bump_height_mm != 0.0f) ready->bump_on = 1;
    if (const Preset *preset = conv::preset_row(*by_finish, finish)) {
      ready->roughness = preset->roughness;
      ready->reflectivity = preset->reflectivity;
      ready->glossiness = preset->glossiness;
      ready->reflection_curve = preset->reflection_curve;
    }
  }

  const conv::SceneFacts scene = conv::scene_facts(state);
  ready->map_mode = conv::map_mode(map_mode_on);
  ready->bump_height = conv::millimetre_parameter(bump_height_mm, scene.u);
  ready->texture_scale = conv::inch_scale(39.37008f, scene.u);
  ready->pattern_scale_u = conv::inch_scale(11.811024f, scene.u);
  ready->pattern_scale_v = conv::inch_scale(11.811024f, scene.u);
  ready->bump_vector_x = ready->bump_height * 3.0f;
  ready->bump_vector_y = ready->bump_height * 3.0f;
  ready->bump_vector_z = ready->bump_height * 3.0f;

  ready->tint_color = adjusted(color, 0.85f, 0.95f);
  ready->deep_color = adjusted(color, 1.4f, 0.94f);

  // Without a scene record there is nothing to pass through: 0.
  ready->scene_value = scene.record != nullptr ? scene.record->passthrough_value : 0;
}

}  // namespace

TAVO_CONVERTER(tavo_Shd_Ceramic_spider, Ready, Params, build, conv::pass_map_through)
