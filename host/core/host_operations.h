// What this renderer offers its own helper shaders beyond the renderer
// interface: the light arriving at a shading point, and the hash behind
// every random choice, so that an image does not depend on which thread
// renders it. A helper shader needs this header and the library's frame only.
#pragma once

#include <initializer_list>

#include "frame/renderer.h"

// The light arriving at the state's point (the scene's lights, shadowed).
// False, with black, where the state is traced in no scene.
extern "C" miBoolean tavo_host_direct_light(miColor *light, miState *state);

// The scene's light samples for the state's point, each handed to `take`:
// the unit direction towards the light, its cosine with the state's normal,
// the shadowed value (radiance over samples x density: BRDF x cosine x value
// estimates the light reflected) and samples x density for weighing the
// sample against the material's own choices (0: a light of one direction).
typedef void (*tavo_host_light_fn)(void *data, const miVector *direction, float cosine, const miColor *value,
                                   float density);
extern "C" miBoolean tavo_host_light_samples(miState *state, tavo_host_light_fn take, void *data);

// A material called for a shadow ray (ray type miRAY_SHADOW) says with this
// what it lets through; one that does not is opaque.
extern "C" miBoolean tavo_host_transmit(miState *state, const miColor *through);

// A 2D point in [0, 1)^2 for the state's sample, the same for the same
// state, kind and index: low-discrepancy over the samples of a pixel.
extern "C" miBoolean tavo_host_random(miState *state, int kind, int index, float out[2]);

// The solid-angle density with which the material chose the next ray it
// traces, so that a light the ray finds is weighed against the light's own
// sampling (multiple importance sampling). 0 for a ray of one direction.
extern "C" void tavo_host_ray_density(miState *state, float density);

namespace tavo::host {

// The light-map mesh record the renderer hands a light-map shader as its
// fourth argument in the mesh phase: an address, a count, an address, a count.
struct MeshRecord {
  void *vertex_data;
  miInteger vertex_count;
  void *triangles;
  miInteger triangle_count;
};

// One light sample as tavo_host_light_samples hands it out, kept by a material.
struct LightSampleRecord {
  miVector direction;
  float cosine;
  miColor value;
  float density;
};

// The multiple-importance weight of an estimate made with density `own`
// against one made with density `other` (the power heuristic).
inline float mis_weight(float own, float other) {
  const float a = own * own, b = other * other;
  return a + b > 0.0f ? a / (a + b) : 1.0f;
}

// A number in [0, 1) that is a hash of the given integers (a pixel, a
// sample, an index, ...).
inline float hash01(std::initializer_list<int> values) {
  unsigned h = 2166136261u;
  for (const int v : values) h = (h ^ static_cast<unsigned>(v)) * 16777619u;
  h ^= h >> 15;
  h *= 0x2c1b3c6dU;
  h ^= h >> 12;
  return static_cast<float>(h & 0xffffff) / 16777216.0f;
}

}  // namespace tavo::host
