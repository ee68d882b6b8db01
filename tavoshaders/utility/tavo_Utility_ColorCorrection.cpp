// Colour correction: one colour through inversion, hue/saturation/value
// scaling, gamma, Perlin's gain and bias, and a luminance-keyed highlight
// boost, in that order, each step skipped at its neutral value. Parameters
// gamma to invert can be frozen for the instance in init.
#include "utility/tavo_Utility_ColorCorrection.h"

#include <math.h>

#include "frame/frame.h"

using tavo::color_correction::InstanceData;
using tavo::color_correction::Params;

namespace {

const char kFile[] = "tavo_Utility_ColorCorrection";

// Parameters gamma to invert, from the record or evaluated for this call.
struct Adjustments {
  miScalar gamma, gain, bias;
  miScalar hue_factor, saturation_factor, value_factor;
  miBoolean invert;
};

Adjustments evaluate_adjustments(miState *state, Params *paras) {
  Adjustments a;
  a.gamma = tavo::eval(state, &paras->gamma);
  a.gain = tavo::eval(state, &paras->gain);
  a.bias = tavo::eval(state, &paras->bias);
  a.hue_factor = tavo::eval(state, &paras->hue) + 1.0f;
  a.saturation_factor = tavo::eval(state, &paras->saturation) + 1.0f;
  a.value_factor = tavo::eval(state, &paras->value) + 1.0f;
  a.invert = tavo::eval(state, &paras->invert);
  return a;
}

void scale_hsv(miColor &c, miScalar hue_factor, miScalar saturation_factor, miScalar value_factor) {
  miScalar min = c.r;
  if (min > c.g) min = c.g;
  if (min > c.b) min = c.b;
  miScalar max = c.r;
  if (c.g > max) max = c.g;
  if (c.b > max) max = c.b;
  miScalar hue = 0.0f, saturation = 0.0f;
  if (max != min) {
    const miScalar d = max - min;
    saturation = d / max;
    if (c.r == min) hue = (3.0f - (c.g - c.b) / d) / 6.0f;
    else if (c.g == min) hue = (5.0f - (c.b - c.r) / d) / 6.0f;
    else hue = (1.0f - (c.r - c.g) / d) / 6.0f;
  }

  miScalar h = hue * hue_factor * 6.0f;
  const miScalar s = saturation * saturation_factor;
  const miScalar v = max * value_factor;
  // Sectors 0 to 6 exist (6 is 0 again). A hue pushed below 0 or to 7 and
  // beyond by its factor goes round the colour circle instead: h is wrapped
  // into 0 to 6 (fmodf is exact). A hue that is no number at all (a NaN
  // channel, an infinite factor) is taken as 0, red, so that saturation and
  // value are still scaled and the sector is always one of the seven.
  if (!isfinite(h)) h = 0.0f;
  if (h < 0.0f || h >= 7.0f) {
    h = fmodf(h, 6.0f);
    if (h < 0.0f) h += 6.0f;
  }
  const miInteger sector = static_cast<miInteger>(floorf(h));
  miScalar f = h - static_cast<miScalar>(sector);
  if (sector % 2 == 0) f = 1.0f - f;
  const miScalar m = (1.0f - s) * v;
  const miScalar n = (1.0f - f * s) * v;
  switch (sector) {
    case 0:
    case 6: c.r = v, c.g = n, c.b = m; break;
    case 1: c.r = n, c.g = v, c.b = m; break;
    case 2: c.r = m, c.g = v, c.b = n; break;
    case 3: c.r = m, c.g = n, c.b = v; break;
    case 4: c.r = n, c.g = m, c.b = v; break;
    case 5: c.r = v, c.g = m, c.b = n; break;
    default: break;  // unreachable: h lies in 0 to 7
  }
}

// Perlin's gain with k = 1 - gain and ln2 = logf(0.5). The curve is defined on
// 0 to 1: a value above 1 is read as 0.999, and a value below 0 (which would
// take the logarithm of a negative number) as 0, the curve's lower end.
miScalar perlin_gain(miScalar x, miScalar k, miScalar ln_half) {
  if (x > 1.0f) x = 0.999f;
  else if (x < 0.0f) x = 0.0f;
  if (x < 0.5f) return powf(k, logf(2.0f * x) / ln_half) * 0.5f;
  return 1.0f - powf(k, logf(2.0f - 2.0f * x) / ln_half) * 0.5f;
}

void boost_highlights(miColor &c, miState *state, Params *paras) {
  if (tavo::eval(state, &paras->highlight) == 0.0f) return;
  const miScalar exponent = tavo::eval(state, &paras->highlight_exponent);
  const miScalar threshold = tavo::eval(state, &paras->highlight_threshold);
  const miScalar multiplier = tavo::eval(state, &paras->highlight_multiplier);
  if (!(multiplier > 1.0f)) return;
  const miScalar lum = c.r * 0.3f + c.g * 0.59f + c.b * 0.11f;
  miScalar t = 0.0f;
  // The ramp runs from the threshold up to a luminance of 1. A threshold of 1
  // or more leaves no room for a ramp: it becomes a step, and everything above
  // the threshold gets the full boost.
  if (lum > threshold) t = threshold < 1.0f ? powf((lum - threshold) / (1.0f - threshold), exponent) : 1.0f;
  if (!(t > 0.0f)) return;
  if (t >= 1.0f) {
    c.r *= multiplier;
    c.g *= multiplier;
    c.b *= multiplier;
    return;
  }
  c.r = (c.r * multiplier - c.r) * t + c.r;
  c.g = (c.g * multiplier - c.g) * t + c.g;
  c.b = (c.b * multiplier - c.b) * t + c.b;
}

}  // namespace

TAVO_SHADER_ENTRIES(tavo_Utility_ColorCorrection, miColor, Params);

void tavo_Utility_ColorCorrection_init(miState *state, Params *paras, miBoolean *init_req) {
  if (tavo::shader_level_init(paras, init_req)) return;
  InstanceData *data = tavo::create_instance_record<InstanceData>(state, kFile, __LINE__);
  data->precompute = tavo::eval(state, &paras->precompute);
  if (data->precompute == miFALSE) return;
  const Adjustments a = evaluate_adjustments(state, paras);
  data->gamma = a.gamma;
  data->gain = a.gain;
  data->bias = a.bias;
  data->hue_factor = a.hue_factor;
  data->saturation_factor = a.saturation_factor;
  data->value_factor = a.value_factor;
  data->invert = a.invert;
}

miBoolean tavo_Utility_ColorCorrection(miColor *result, miState *state, Params *paras) {
  const InstanceData *data = tavo::instance_record<InstanceData>(state);
  miColor c = tavo::eval(state, &paras->input);
  Adjustments a;
  if (data->precompute != miFALSE) {
    a = {data->gamma, data->gain, data->bias, data->hue_factor, data->saturation_factor, data->value_factor,
         data->invert};
  } else {
    a = evaluate_adjustments(state, paras);
  }

  if (a.invert != miFALSE) {
    c.r = 1.0f - c.r;
    c.g = 1.0f - c.g;
    c.b = 1.0f - c.b;
    c.a = 1.0f - c.a;
  }
  if (a.hue_factor != 1.0f || a.saturation_factor != 1.0f || a.value_factor != 1.0f)
    scale_hsv(c, a.hue_factor, a.saturation_factor, a.value_factor);
  if (a.gamma != 1.0f) {
    const miScalar exponent = 1.0f / (a.gamma == 0.0f ? 0.001f : a.gamma);
    c.r = powf(c.r, exponent);
    c.g = powf(c.g, exponent);
    c.b = powf(c.b, exponent);
    c.a = powf(c.a, exponent);
  }
  if (a.gain != 0.5f) {
    const miScalar k = 1.0f - a.gain;
    const miScalar ln_half = logf(0.5f);
    c.r = perlin_gain(c.r, k, ln_half);
    c.g = perlin_gain(c.g, k, ln_half);
    c.b = perlin_gain(c.b, k, ln_half);
    c.a = perlin_gain(c.a, k, ln_half);
  }
  if (a.bias != 0.5f) {
    const miScalar exponent = logf(a.bias) / logf(0.5f);
    c.r = powf(c.r, exponent);
    c.g = powf(c.g, exponent);
    c.b = powf(c.b, exponent);
    c.a = powf(c.a, exponent);
  }
  boost_highlights(c, state, paras);
  *result = c;
  return miTRUE;
}

void tavo_Utility_ColorCorrection_exit(miState *state, Params *paras) { tavo::exit_plain(state, paras, kFile); }
