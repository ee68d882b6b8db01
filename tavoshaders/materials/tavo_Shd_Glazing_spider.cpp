// Glazing converter: panes of thin glass. The tint becomes a per-layer
// transmittance (the layer-count root of each channel); shadow rays see the
// per-layer reflectance in place of the whole one.
#include "materials/tavo_Shd_Glazing_spider.h"

#include <math.h>

#include "materials/converter.h"

using tavo::glazing::Params;
using tavo::glazing::Ready;
namespace conv = tavo::converter;

namespace {

constexpr miInteger kCustomColor = 6;

// The layer count as the root degree and divisor. A count below 1 would make
// the root exponent infinite or negative (transmittance 0, or above 1) and the
// per-layer reflectance infinite or negative; it counts as one layer.
miScalar layers(miInteger layer_count) { return layer_count < 1 ? 1.0f : static_cast<miScalar>(layer_count); }

void set_layer_transmittance(miColor *out, const miColor &tint, miScalar n) {
  const miScalar e = 1.0f / n;
  out->r = powf(tint.r, e);
  out->g = powf(tint.g, e);
  out->b = powf(tint.b, e);
}

void build(Ready *ready, miState *state, Params *paras) {
  const miScalar n = layers(tavo::eval(state, &paras->layer_count));
  miScalar a = tavo::eval(state, &paras->front_reflectance);
  // Keeps the divisions by the largest channel away from 0.
  if (a == 0.0f) a = 0.0001f;
  const miInteger glass_color = tavo::eval(state, &paras->glass_color);
  ready->glass_color = glass_color;

  // A glass colour outside 0 to 6 selects no tint: the transmittance stays 0.
  if (const conv::GlassColor *row = conv::preset_row(conv::glass_color_table, glass_color))
    set_layer_transmittance(&ready->layer_transmittance, row->transmittance, n);
  else if (glass_color == kCustomColor)
    set_layer_transmittance(&ready->layer_transmittance, tavo::eval(state, &paras->custom_color), n);

  ready->reflectance_color.r = ready->reflectance_color.g = ready->reflectance_color.b = a;
  const miScalar per_layer = a / n;
  ready->layer_reflectance_color.r = ready->layer_reflectance_color.g = ready->layer_reflectance_color.b = per_layer;

  const miColor &r = ready->reflectance_color;
  const miScalar m = conv::largest_channel(r);
  const miColor normalised = {r.r / m, r.g / m, r.b / m, 0.0f};
  ready->brdf_0_degree = conv::weighted_brightness(r) / conv::weighted_brightness(normalised);
}

void per_call(Ready *result, miState *state, Params *paras) {
  // A custom tint follows this call's colour and layer count; the reflectance
  // fields keep the count of init.
  if (result->glass_color == kCustomColor) {
    const miScalar n = layers(tavo::eval(state, &paras->layer_count));
    set_layer_transmittance(&result->layer_transmittance, tavo::eval(state, &paras->custom_color), n);
  }
  if (state->type == miRAY_SHADOW) result->reflectance_color = result->layer_reflectance_color;
}

}  // namespace

TAVO_CONVERTER(tavo_Shd_Glazing_spider, Ready, Params, build, per_call)
