// The numbers behind the renderer's random choices. Each choice a sample
// makes (where in the pixel, which point of a light, which direction of a
// glossy lobe) is a "dimension" named by a key; the samples of one pixel
// take the points of one Owen-scrambled Sobol sequence in each dimension, so
// that they cover it evenly, while every pixel and dimension gets a
// scramble of its own. The numbers depend on the pixel, the sample and the
// key only, never on the thread or the order of the calls.
#pragma once

#include <cstdint>
#include <initializer_list>

namespace tavo::host {

enum class SamplerKind {
  Sobol,        // low-discrepancy: Owen-scrambled Sobol points per pixel and dimension
  Independent,  // a hash per pixel, sample and dimension (the renderer's first sampler, kept to measure against)
};

// A 32-bit hash of the integers given.
inline std::uint32_t hash32(std::initializer_list<std::uint32_t> values) {
  std::uint32_t h = 0x9e3779b9u;
  for (const std::uint32_t v : values) {
    h ^= v + 0x7f4a7c15u + (h << 6) + (h >> 2);
    h ^= h >> 16;
    h *= 0x7feb352du;
    h ^= h >> 15;
    h *= 0x846ca68bu;
    h ^= h >> 16;
  }
  return h;
}

// The 2D point of sample `index` in dimension `dimension` of pixel (x, y), in [0, 1)^2.
void sample_2d(SamplerKind kind, int x, int y, int index, std::uint32_t dimension, float out[2]);

}  // namespace tavo::host
