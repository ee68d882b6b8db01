// tavo_host_layered: the host's material shader for what the material
// converters hand out. A layered model: a clear coat whose reflectance
// follows the reflection curve over a base that splits between a
// transmitted layer (refraction, tinted, fading to a falloff colour with the
// distance travelled inside) and a diffuse layer lit by the scene's lights.
// docs/rendering.md describes it.
#include <algorithm>
#include <cmath>

#include "frame/frame.h"
#include "host_operations.h"

namespace {

struct LayeredParameters {
  miColor diffuse;
  miScalar reflectivity;        // weight of the coat
  miScalar glossiness;          // 1: a mirror; less: blurred reflections
  miScalar roughness;           // of the diffuse layer: flattens its shading
  miScalar reflectance_0;       // coat reflectance facing the viewer
  miScalar reflectance_90;      // at grazing angles
  miScalar curve;               // exponent of the curve between the two
  miColor reflection_color;     // tints the coat (metals)
  miScalar transparency;
  miColor refraction_color;
  miScalar ior;
  miScalar falloff_distance;    // 0: no falloff
  miColor falloff_color;
  miVector bump;                // added to the normal before shading
  miScalar bump_scale;
  miTag diffuse_map;            // a shader for the diffuse colour, or none
  miInteger map_mode;           // 2: the map multiplies `diffuse`; otherwise it replaces it
};

// The blurred reflections use this many rays, in a fixed pattern per pixel.
constexpr int kGlossyRays = 4;

miVector add(miVector a, miVector b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
miVector scale(miVector a, float s) { return {a.x * s, a.y * s, a.z * s}; }
float dot(miVector a, miVector b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
miVector unit(miVector a) {
  const float l = std::sqrt(dot(a, a));
  return l > 0.0f ? scale(a, 1.0f / l) : a;
}
miVector cross(miVector a, miVector b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

// The coat's reflection: one mirror ray, or the mean of kGlossyRays rays in a
// cone that widens as glossiness drops.
bool reflection(miColor &seen, miState *state, miVector n, float glossiness) {
  const miVector d = state->dir;
  const miVector mirrored = add(d, scale(n, -2.0f * dot(d, n)));
  if (glossiness >= 1.0f) return mi_trace_reflection(&seen, state, const_cast<miVector *>(&mirrored));
  const float spread = 0.5f * (1.0f - std::max(glossiness, 0.0f));
  const miVector u = unit(cross(mirrored, std::abs(mirrored.x) < 0.9f ? miVector{1, 0, 0} : miVector{0, 1, 0}));
  const miVector v = cross(mirrored, u);
  // a pattern of its own for every pixel and sample, so that samples average out the blur's noise
  miInteger pixel[4] = {static_cast<int>(state->raster_x), static_cast<int>(state->raster_y), 0, 1};
  mi_query(miQ_PIXEL_SAMPLE, state, 0, pixel);
  const int px = pixel[0], py = pixel[1], sample = pixel[2];
  miColor sum{0, 0, 0, 0};
  int count = 0;
  for (int k = 0; k < kGlossyRays; ++k) {
    const float a = 6.2831853f * (k + tavo::host::hash01({px, py, sample * kGlossyRays + k, 1})) / kGlossyRays;
    const float r = spread * std::sqrt(tavo::host::hash01({px, py, sample * kGlossyRays + k, 2}));
    miVector dir = unit(add(mirrored, add(scale(u, r * std::cos(a)), scale(v, r * std::sin(a)))));
    if (dot(dir, n) <= 0.0f) dir = mirrored;  // never below the surface
    miColor c;
    if (mi_trace_reflection(&c, state, &dir)) {
      sum.r += c.r, sum.g += c.g, sum.b += c.b;
      ++count;
    }
  }
  if (count == 0) return false;
  seen = miColor{sum.r / count, sum.g / count, sum.b / count, 1.0f};
  return true;
}

// What is seen through the surface along the refracted ray. The renderer
// refuses rays past its depths.
bool refraction(miColor &seen, miState *state, miVector n, float ior) {
  const miVector d = state->dir;
  const float eta = state->inv_normal ? ior : 1.0f / std::max(ior, 1e-3f);
  const float c = -dot(d, n);
  const float k = 1.0f - eta * eta * (1.0f - c * c);
  miVector dir = k < 0.0f ? add(d, scale(n, 2.0f * c))  // total internal reflection
                          : add(scale(d, eta), scale(n, eta * c - std::sqrt(k)));
  dir = unit(dir);
  return mi_trace_refraction(&seen, state, &dir);
}

}  // namespace

TAVO_EXPORT int tavo_host_layered_version(void) { return 1; }
TAVO_EXPORT miBoolean tavo_host_layered(miColor *result, miState *state, LayeredParameters *paras) {
  const miVector saved_normal = state->normal;
  const miVector bump = tavo::eval(state, &paras->bump);
  const miScalar bump_scale = tavo::eval(state, &paras->bump_scale);
  miVector n = unit(add(state->normal, scale(bump, bump_scale)));
  if (!(dot(n, n) > 0.5f) || dot(n, state->dir) > 0.0f) n = saved_normal;  // a bump never turns it away
  state->normal = n;

  const float cos_view = std::clamp(-dot(state->dir, n), 0.0f, 1.0f);
  const float r0 = tavo::eval(state, &paras->reflectance_0), r90 = tavo::eval(state, &paras->reflectance_90);
  const float curve = std::max(tavo::eval(state, &paras->curve), 0.0f);
  const float reflectivity = std::clamp(tavo::eval(state, &paras->reflectivity), 0.0f, 1.0f);
  const float coat = std::clamp(reflectivity * (r0 + (r90 - r0) * std::pow(1.0f - cos_view, curve)), 0.0f, 1.0f);
  const float transparency = std::clamp(tavo::eval(state, &paras->transparency), 0.0f, 1.0f);

  miColor out{0, 0, 0, 1};
  // diffuse layer: Lambert, flattened towards an even shade as roughness grows
  const float base = (1.0f - coat) * (1.0f - transparency);
  if (base > 0.0f) {
    miColor diffuse = tavo::eval(state, &paras->diffuse);
    if (const miTag map = tavo::eval(state, &paras->diffuse_map)) {
      miColor mapped{0, 0, 0, 1};
      if (mi_call_shader(&mapped, miSHADER_TEXTURE, state, map)) {
        const bool multiply = tavo::eval(state, &paras->map_mode) == 2;
        diffuse = multiply ? miColor{diffuse.r * mapped.r, diffuse.g * mapped.g, diffuse.b * mapped.b, 1.0f} : mapped;
      }
    }
    const float roughness = std::clamp(tavo::eval(state, &paras->roughness), 0.0f, 1.0f);
    miColor light{0, 0, 0, 1};
    tavo_host_direct_light(&light, state);
    const float flat = 0.25f * roughness;  // light wrapped round the terminator by a rough surface
    out.r += base * diffuse.r * (light.r * (1.0f - flat) + flat);
    out.g += base * diffuse.g * (light.g * (1.0f - flat) + flat);
    out.b += base * diffuse.b * (light.b * (1.0f - flat) + flat);
  }
  // transmitted layer
  const float through = (1.0f - coat) * transparency;
  if (through > 0.0f) {
    miColor seen;
    if (refraction(seen, state, n, tavo::eval(state, &paras->ior))) {
      miColor tint = tavo::eval(state, &paras->refraction_color);
      const float falloff = tavo::eval(state, &paras->falloff_distance);
      if (falloff > 0.0f && state->inv_normal) {  // leaving the body: the whole path lay inside
        const miColor far = tavo::eval(state, &paras->falloff_color);
        const float keep = std::exp(-state->dist / falloff);
        tint = miColor{far.r + (tint.r - far.r) * keep, far.g + (tint.g - far.g) * keep,
                       far.b + (tint.b - far.b) * keep, 1.0f};
      }
      out.r += through * tint.r * seen.r;
      out.g += through * tint.g * seen.g;
      out.b += through * tint.b * seen.b;
    }
  }
  // coat
  if (coat > 0.0f) {
    miColor seen;
    if (reflection(seen, state, n, tavo::eval(state, &paras->glossiness))) {
      const miColor tint = tavo::eval(state, &paras->reflection_color);
      out.r += coat * tint.r * seen.r;
      out.g += coat * tint.g * seen.g;
      out.b += coat * tint.b * seen.b;
    }
  }
  state->normal = saved_normal;
  *result = out;
  return miTRUE;
}
