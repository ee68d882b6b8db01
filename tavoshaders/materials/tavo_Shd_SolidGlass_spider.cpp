// Solid glass converter: thick refracting glass. The glass colour becomes the
// refraction falloff colour, darkened by the square of the reflected share;
// the refraction colour itself is always white. A custom colour is derived
// again on every call, so that a texture driving it reaches the result.
#include "materials/tavo_Shd_SolidGlass_spider.h"

#include <math.h>

#include "materials/converter.h"

using tavo::solid_glass::Params;
using tavo::solid_glass::Ready;
namespace conv = tavo::converter;

namespace {

constexpr miInteger kCustomColor = 6;

miColor grey(miScalar v) { return {v, v, v, 1.0f}; }

// The glass colour times f = (1 - B(reflectance))^2; the alpha stays opaque.
miColor falloff_color(const miColor &glass, const miColor &reflectance) {
  const miScalar f = powf(1.0f - conv::weighted_brightness(reflectance), 2.0f);
  return {glass.r * f, glass.g * f, glass.b * f, 1.0f};
}

void build(Ready *ready, miState *state, Params *paras) {
  const miInteger glass_color = tavo::eval(state, &paras->glass_color);
  miScalar v = tavo::eval(state, &paras->front_reflectance);
  const miScalar falloff_distance = tavo::eval(state, &paras->falloff_distance);
  const miScalar roughness = tavo::eval(state, &paras->roughness);

  // Keeps the divisions by the largest channel away from 0.
  if (v < 0.001f) v = 0.001f;
  const miColor reflectance = grey(v);

  // Outside 0 to 6 the glass takes the grey reflectance colour.
  miColor glass = reflectance;
  if (const conv::GlassColor *row = conv::preset_row(conv::glass_color_table, glass_color)) {
    glass = row->transmittance;
  } else if (glass_color == kCustomColor) {
    ready->refresh_per_call = miTRUE;
    glass = tavo::eval(state, &paras->custom_color);
  }

  const miScalar m = conv::largest_channel(reflectance);
  const miColor normalised = {reflectance.r / m, reflectance.g / m, reflectance.b / m, 1.0f};
  ready->reflection_color = normalised;
  ready->brdf_0_degree = conv::weighted_brightness(reflectance) / conv::weighted_brightness(normalised);
  ready->refraction_color = {1.0f, 1.0f, 1.0f, 1.0f};
  ready->refraction_falloff_color = falloff_color(glass, reflectance);
  ready->glossiness = 1.0f - roughness;

  const conv::SceneFacts scene = conv::scene_facts(state);
  ready->pattern_scale_u = conv::inch_scale(11.811024f, scene.u);
  ready->pattern_scale_v = conv::inch_scale(11.811024f, scene.u);
  ready->falloff_distance = falloff_distance;
  ready->texture_scale = conv::inch_scale(39.37008f, scene.u);
  ready->inch_scale_1 = conv::inch_scale(39.37008f, scene.u);
  ready->inch_scale_2 = conv::inch_scale(39.37008f, scene.u);
  ready->inch_scale_3 = conv::inch_scale(39.37008f, scene.u);

  if (conv::scene_flag(scene) != 0) {
    ready->refresh_per_call = miFALSE;
    ready->falloff_distance = 2.0f * scene.u;
  }
}

// With a custom colour the colours follow this call's reflectance (unclamped)
// and colour.
void per_call(Ready *result, miState *state, Params *paras) {
  if (result->refresh_per_call) {
    const miScalar v = tavo::eval(state, &paras->front_reflectance);
    const miColor glass = tavo::eval(state, &paras->custom_color);
    const miColor reflectance = grey(v);
    if (v == 0.0f) {
      result->reflection_color = {1.0f, 1.0f, 1.0f, 1.0f};
      result->brdf_0_degree = 0.0f;
    } else {
      const miScalar c = v / v;
      result->reflection_color.r = c;
      result->reflection_color.g = c;
      result->reflection_color.b = c;
      result->brdf_0_degree = conv::weighted_brightness(reflectance) / conv::weighted_brightness(grey(c));
    }
    result->refraction_falloff_color = falloff_color(glass, reflectance);
  }
  result->custom_map = conv::map_pass_through(state, &paras->custom_map_on, &paras->custom_map);
}

}  // namespace

TAVO_CONVERTER(tavo_Shd_SolidGlass_spider, Ready, Params, build, per_call)
