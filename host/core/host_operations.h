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

namespace tavo::host {

// The light-map mesh record the renderer hands a light-map shader as its
// fourth argument in the mesh phase: an address, a count, an address, a count.
struct MeshRecord {
  void *vertex_data;
  miInteger vertex_count;
  void *triangles;
  miInteger triangle_count;
};

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
