// tavo_host_ripple and tavo_host_waves: reliefs for the layered material's
// `bump` input, as tilts of the normal (the gradient of a height field with
// its part along the normal taken out, so that it never lengthens the
// normal). Both fade each wave out where one pixel covers a good part of its
// wavelength: what a pixel cannot resolve would only alias into moire.
//
// ripple: h = (sin kx + sin ky + sin kz) / 3 over the state's point, with
// k = 2 pi / wavelength, gradient (k / 3)(cos kx, cos ky, cos kz) scaled axis
// by axis by the amounts.
// waves: the sum of `count` waves sin(k d.p + phase) with directions d spread
// round the vertical and wavelengths spread from length_min to length_max.
#include <algorithm>
#include <cmath>

#include "frame/frame.h"

namespace {

struct RippleParameters {
  miScalar amount_x;
  miScalar amount_y;
  miScalar amount_z;
  miInteger enable;
  miScalar wavelength;
};

struct WavesParameters {
  miScalar height;
  miScalar length_min;
  miScalar length_max;
  miInteger count;
};

constexpr float kTwoPi = 6.2831853f;

// The width one pixel covers at the state's point: the length of the ray
// path from the camera times the angle a pixel subtends.
float footprint(const miState *state) {
  const miCamera *camera = state->camera;
  if (!camera || camera->x_resolution <= 0 || !(camera->focal > 0.0f)) return 0.0f;
  const float pixel = camera->aperture / (camera->focal * camera->x_resolution);
  if (camera->orthographic) return camera->aperture / camera->x_resolution;
  float path = 0.0f;
  for (const miState *s = state; s; s = s->parent) path += s->dist;
  return path * pixel;
}

// How much of a wave of wave number k survives a pixel of width w: the
// Gaussian fall-off of a box-filtered sine, 1 when resolved, 0 when not.
float resolved(float k, float w) {
  const float x = 0.35f * k * w;
  return std::exp(-x * x);
}

// The gradient g with its part along the normal taken out, negated: the
// normal leans away from where the surface rises.
miVector tilt(const miState *state, miVector g) {
  const miVector n = state->normal;
  const float nn = n.x * n.x + n.y * n.y + n.z * n.z;
  const float along = nn > 0.0f ? (g.x * n.x + g.y * n.y + g.z * n.z) / nn : 0.0f;
  return miVector{-(g.x - along * n.x), -(g.y - along * n.y), -(g.z - along * n.z)};
}

}  // namespace

TAVO_EXPORT int tavo_host_ripple_version(void) { return 1; }
TAVO_EXPORT miBoolean tavo_host_ripple(miVector *result, miState *state, RippleParameters *paras) {
  *result = miVector{0, 0, 0};
  const float wavelength = tavo::eval(state, &paras->wavelength);
  if (!tavo::eval(state, &paras->enable) || !(wavelength > 0.0f)) return miTRUE;
  const float k = kTwoPi / wavelength;
  const float keep = resolved(k, footprint(state));
  if (keep < 1e-3f) return miTRUE;
  const miVector p = state->point;
  const float a = keep * k / 3.0f;
  *result = tilt(state, {tavo::eval(state, &paras->amount_x) * a * std::cos(k * p.x),
                         tavo::eval(state, &paras->amount_y) * a * std::cos(k * p.y),
                         tavo::eval(state, &paras->amount_z) * a * std::cos(k * p.z)});
  return miTRUE;
}

TAVO_EXPORT int tavo_host_waves_version(void) { return 1; }
TAVO_EXPORT miBoolean tavo_host_waves(miVector *result, miState *state, WavesParameters *paras) {
  *result = miVector{0, 0, 0};
  const int count = std::min(tavo::eval(state, &paras->count), 64);
  const float height = tavo::eval(state, &paras->height);
  const float shortest = tavo::eval(state, &paras->length_min), longest = tavo::eval(state, &paras->length_max);
  if (count <= 0 || height == 0.0f || !(shortest > 0.0f) || !(longest > 0.0f)) return miTRUE;
  const float w = footprint(state);
  const miVector p = state->point;
  miVector g{0, 0, 0};
  for (int i = 0; i < count; ++i) {
    const float t = count > 1 ? static_cast<float>(i) / (count - 1) : 0.5f;
    const float length = longest * std::pow(shortest / longest, t);  // evenly spread in octaves
    const float k = kTwoPi / length, keep = resolved(k, w);
    if (keep < 1e-3f) continue;
    // directions by the golden angle round the vertical, tilted a little out of the horizontal
    const float angle = 2.3999632f * i, lift = 0.35f * std::sin(1.7f * i);
    const miVector d{std::cos(angle), lift, std::sin(angle)};
    const float amplitude = height / count * keep * k;
    const float c = amplitude * std::cos(k * (d.x * p.x + d.y * p.y + d.z * p.z) + 1.3f * i);
    g = miVector{g.x + c * d.x, g.y + c * d.y, g.z + c * d.z};
  }
  *result = tilt(state, g);
  return miTRUE;
}
