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

// One more word into a running 32-bit hash.
inline std::uint32_t hash_mix(std::uint32_t h, std::uint32_t v) {
  h ^= v + 0x7f4a7c15u + (h << 6) + (h >> 2);
  h ^= h >> 16;
  h *= 0x7feb352du;
  h ^= h >> 15;
  h *= 0x846ca68bu;
  h ^= h >> 16;
  return h;
}

inline constexpr std::uint32_t kHashStart = 0x9e3779b9u;

// A 32-bit hash of the integers given.
inline std::uint32_t hash32(std::initializer_list<std::uint32_t> values) {
  std::uint32_t h = kHashStart;
  for (const std::uint32_t v : values) h = hash_mix(h, v);
  return h;
}

// A pixel, with the hash of its place that every point of the pixel goes on
// from (hash32({x, y}): the words of a longer hash that begins with them).
struct PixelSeed {
  int x = -1, y = -1;
  std::uint32_t hash = hash32({static_cast<std::uint32_t>(-1), static_cast<std::uint32_t>(-1)});
  PixelSeed() = default;
  PixelSeed(int px, int py)
      : x(px), y(py), hash(hash_mix(hash_mix(kHashStart, static_cast<std::uint32_t>(px)), static_cast<std::uint32_t>(py))) {}
};

// The 2D point of sample `index` in dimension `dimension` of pixel (x, y), in [0, 1)^2.
void sample_2d(SamplerKind kind, const PixelSeed &pixel, int index, std::uint32_t dimension, float out[2]);
inline void sample_2d(SamplerKind kind, int x, int y, int index, std::uint32_t dimension, float out[2]) {
  sample_2d(kind, PixelSeed(x, y), index, dimension, out);
}

}  // namespace tavo::host
