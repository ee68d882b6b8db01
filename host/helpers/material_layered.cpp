// tavo_host_layered: the host's material shader for what the material
// converters hand out. A layered model: a clear coat whose reflectance
// follows the reflection curve (a mirror, or a glossy lobe lit by light
// samples and by one traced ray, combined by multiple importance sampling)
// over a base that splits between a transmitted layer (refraction, tinted,
// fading to a falloff colour with the distance travelled inside) and a
// diffuse layer lit by the scene's lights; optionally a mottled patina over
// it all. For shadow rays it tells the renderer what it lets through.
// docs/rendering.md describes it.
#include <algorithm>
#include <cmath>

#include "frame/frame.h"
#include "host_operations.h"

namespace {

struct LayeredParameters {
  miColor diffuse;
  miScalar reflectivity;        // weight of the coat
  miScalar glossiness;          // 1: a mirror; less: a wider glossy lobe
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
  miInteger patina_on;          // a mottled layer of patina over the coat
  miScalar patina_bias;         // -1: patina everywhere, 1: nowhere
  miScalar patina_fade;         // the softness of the patches' edges
  miColor patina_color;
  miScalar patina_gloss;
  miScalar patina_scale;        // the patches' size in scene units
};

constexpr float kPi = 3.14159265f;

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
miColor mix(miColor a, miColor b, float t) {
  return {a.r + (b.r - a.r) * t, a.g + (b.g - a.g) * t, a.b + (b.b - a.b) * t, 1.0f};
}

// The glossy lobe: a normalised Phong lobe round the mirror direction whose
// width follows the glossiness (half-width 0.5 (1 - glossiness) radians),
// reflecting all it receives: BRDF x cosine is the lobe's own density.
struct Lobe {
  miVector mirrored;
  float exponent;
  float density(miVector dir) const {
    const float c = dot(dir, mirrored);
    return c > 0.0f ? (exponent + 1.0f) / (2.0f * kPi) * std::pow(c, exponent) : 0.0f;
  }
  miVector sample(const float r[2]) const {
    const float cos_a = std::pow(std::max(r[0], 1e-7f), 1.0f / (exponent + 1.0f));
    const float sin_a = std::sqrt(std::max(0.0f, 1.0f - cos_a * cos_a)), phi = 2.0f * kPi * r[1];
    const miVector u = unit(cross(mirrored, std::abs(mirrored.x) < 0.9f ? miVector{1, 0, 0} : miVector{0, 1, 0}));
    const miVector v = cross(mirrored, u);
    return unit(add(scale(mirrored, cos_a), add(scale(u, sin_a * std::cos(phi)), scale(v, sin_a * std::sin(phi)))));
  }
};

Lobe lobe(miVector d, miVector n, float glossiness) {
  const float spread = std::max(0.5f * (1.0f - glossiness), 1e-3f);
  return {add(d, scale(n, -2.0f * dot(d, n))), std::min(2.0f / (spread * spread), 1e5f)};
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

// The tint of light passing the surface: the refraction colour, moving
// towards the falloff colour with the distance travelled inside the body
// when the ray leaves it.
miColor transmission_tint(miState *state, LayeredParameters *paras) {
  miColor tint = tavo::eval(state, &paras->refraction_color);
  const float falloff = tavo::eval(state, &paras->falloff_distance);
  if (falloff > 0.0f && state->inv_normal)  // leaving the body: the whole path lay inside
    tint = mix(tavo::eval(state, &paras->falloff_color), tint, std::exp(-state->dist / falloff));
  return tint;
}

// How much of the surface the patina covers at a point: patches from a
// smooth pseudo-noise in [-1, 1] above the bias, with soft edges.
float patina_cover(miState *state, LayeredParameters *paras) {
  if (!tavo::eval(state, &paras->patina_on)) return 0.0f;
  const float size = tavo::eval(state, &paras->patina_scale);
  const float k = 6.2831853f / (size > 0.0f ? size : 0.1f);
  const miVector p = scale(state->point, k);
  const float noise = 0.5f * (std::sin(p.x + 2.1f * std::sin(0.7f * p.z)) * std::cos(1.3f * p.y + 1.7f * std::sin(0.9f * p.x)) +
                              std::sin(1.1f * p.z + 1.9f * std::sin(0.8f * p.y)));
  const float bias = tavo::eval(state, &paras->patina_bias);
  const float edge = 0.1f + 0.4f * std::clamp(tavo::eval(state, &paras->patina_fade), 0.0f, 1.0f);
  const float t = std::clamp((noise - bias + edge) / (2.0f * edge), 0.0f, 1.0f);
  return t * t * (3.0f - 2.0f * t);
}

struct Gathered {
  static constexpr int kMax = 64;
  tavo::host::LightSampleRecord samples[kMax];
  int count = 0;
};

void gather(void *data, const miVector *direction, float cosine, const miColor *value, float density) {
  auto &g = *static_cast<Gathered *>(data);
  if (g.count < Gathered::kMax) g.samples[g.count++] = {*direction, cosine, *value, density};
}

}  // namespace

TAVO_EXPORT int tavo_host_layered_version(void) { return 1; }
TAVO_EXPORT miBoolean tavo_host_layered(miColor *result, miState *state, LayeredParameters *paras) {
  const auto layer_weights = [&](float &r0, float &reflectivity, float &transparency) {
    r0 = tavo::eval(state, &paras->reflectance_0);
    reflectivity = std::clamp(tavo::eval(state, &paras->reflectivity), 0.0f, 1.0f);
    transparency = std::clamp(tavo::eval(state, &paras->transparency), 0.0f, 1.0f);
  };
  float r0, reflectivity, transparency;
  if (state->type == miRAY_SHADOW) {
    layer_weights(r0, reflectivity, transparency);
    // a shadow ray passes what the transmitted layer passes, less what the coat reflects facing it
    *result = miColor{0, 0, 0, 1};
    if (transparency <= 0.0f) return miTRUE;
    const miColor tint = transmission_tint(state, paras), coat = tavo::eval(state, &paras->reflection_color);
    const auto pass = [&](float t, float c) { return transparency * t * std::clamp(1.0f - reflectivity * r0 * c, 0.0f, 1.0f); };
    *result = miColor{pass(tint.r, coat.r), pass(tint.g, coat.g), pass(tint.b, coat.b), 1.0f};
    tavo_host_transmit(state, result);
    return miTRUE;
  }
  const miVector saved_normal = state->normal;
  const miVector bump = tavo::eval(state, &paras->bump);
  const miScalar bump_scale = tavo::eval(state, &paras->bump_scale);
  miVector n = unit(add(state->normal, scale(bump, bump_scale)));
  if (!(dot(n, n) > 0.5f) || dot(n, state->dir) > 0.0f) n = saved_normal;  // a bump never turns it away
  state->normal = n;
  // the bumped normal holds for everything read from here on: what connected
  // shaders computed at the old one does not
  const bool bumped = n.x != saved_normal.x || n.y != saved_normal.y || n.z != saved_normal.z;
  if (bumped) mi_flush_cache(state);
  layer_weights(r0, reflectivity, transparency);

  const float cos_view = std::clamp(-dot(state->dir, n), 0.0f, 1.0f);
  const float r90 = tavo::eval(state, &paras->reflectance_90);
  const float curve = std::max(tavo::eval(state, &paras->curve), 0.0f);
  float coat = std::clamp(reflectivity * (r0 + (r90 - r0) * std::pow(1.0f - cos_view, curve)), 0.0f, 1.0f);
  miColor coat_tint = tavo::eval(state, &paras->reflection_color);
  float glossiness = tavo::eval(state, &paras->glossiness);
  miColor diffuse{0, 0, 0, 1};
  const auto base_colour = [&] {
    miColor c = tavo::eval(state, &paras->diffuse);
    if (const miTag map = tavo::eval(state, &paras->diffuse_map)) {
      miColor mapped{0, 0, 0, 1};
      if (mi_call_shader(&mapped, miSHADER_TEXTURE, state, map)) {
        const bool multiply = tavo::eval(state, &paras->map_mode) == 2;
        c = multiply ? miColor{c.r * mapped.r, c.g * mapped.g, c.b * mapped.b, 1.0f} : mapped;
      }
    }
    return c;
  };
  // patina: where it covers the surface, a dull dielectric of its colour replaces the coat
  const float cover = patina_cover(state, paras);
  float base = (1.0f - coat) * (1.0f - transparency);
  if (base > 0.0f) diffuse = base_colour();
  if (cover > 0.0f) {
    const float patina_coat = 0.04f + 0.96f * std::pow(1.0f - cos_view, 5.0f);
    diffuse = mix(diffuse, tavo::eval(state, &paras->patina_color), cover);
    coat_tint = mix(coat_tint, miColor{1, 1, 1, 1}, cover);
    glossiness += (tavo::eval(state, &paras->patina_gloss) * 0.5f - glossiness) * cover;
    coat += (patina_coat - coat) * cover;
    base = (1.0f - coat) * (1.0f - transparency);
  }
  const bool glossy = coat > 0.0f && glossiness < 1.0f;
  const Lobe shape = lobe(state->dir, n, glossiness);

  miColor out{0, 0, 0, 1};
  // direct light on the diffuse layer and the glossy coat, each light sample
  // weighed against the coat's own choice of direction
  if (base > 0.0f || glossy) {
    Gathered lights;
    tavo_host_light_samples(state, gather, &lights);
    const float roughness = std::clamp(tavo::eval(state, &paras->roughness), 0.0f, 1.0f);
    for (int k = 0; k < lights.count; ++k) {
      const tavo::host::LightSampleRecord &s = lights.samples[k];
      // a rough surface darkens less towards the terminator
      const float shade = base * std::pow(s.cosine, 1.0f - 0.5f * roughness) / kPi;
      float gloss = 0.0f;
      if (glossy) {
        const float p = shape.density(s.direction);
        gloss = s.density > 0.0f ? coat * p * tavo::host::mis_weight(s.density, p) : coat * p;
      }
      out.r += s.value.r * (shade * diffuse.r + gloss * coat_tint.r);
      out.g += s.value.g * (shade * diffuse.g + gloss * coat_tint.g);
      out.b += s.value.b * (shade * diffuse.b + gloss * coat_tint.b);
    }
  }
  // transmitted layer
  const float through = (1.0f - coat) * transparency;
  if (through > 0.0f) {
    miColor seen;
    if (refraction(seen, state, n, tavo::eval(state, &paras->ior))) {
      const miColor tint = transmission_tint(state, paras);
      out.r += through * tint.r * seen.r;
      out.g += through * tint.g * seen.g;
      out.b += through * tint.b * seen.b;
    }
  }
  // coat: a mirror ray, or one ray of the glossy lobe (lights it finds weighed against their own sampling)
  if (coat > 0.0f) {
    miVector dir = shape.mirrored;
    bool traced = true;
    if (glossy) {
      float r[2];
      tavo_host_random(state, 1, 0, r);
      dir = shape.sample(r);
      traced = dot(dir, n) > 0.0f;  // a direction under the surface reflects nothing
      if (traced) tavo_host_ray_density(state, shape.density(dir));
    }
    miColor seen;
    if (traced && mi_trace_reflection(&seen, state, &dir)) {
      out.r += coat * coat_tint.r * seen.r;
      out.g += coat * coat_tint.g * seen.g;
      out.b += coat * coat_tint.b * seen.b;
    }
  }
  state->normal = saved_normal;
  if (bumped) mi_flush_cache(state);
  *result = out;
  return miTRUE;
}
