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
// from (hash32({x, y}): the words of a longer hash that begins with them),
// and the scrambles of the dimensions its samples asked for, which depend on
// the pixel and the dimension only, so that its later samples need not hash
// them again. A sampler's seed belongs to one thread.
struct PixelSeed {
  int x, y;
  std::uint32_t hash;
  struct Scrambles {
    std::uint32_t dimension, shuffle, first, second;
  };
  std::uint64_t known;  // bit k: scrambles[k] holds this pixel's scrambles of its dimension
  Scrambles scrambles[64];

  explicit PixelSeed(int px = -1, int py = -1) { at(px, py); }
  PixelSeed(const PixelSeed &) = delete;
  PixelSeed &operator=(const PixelSeed &) = delete;
  void at(int px, int py) {
    x = px, y = py, known = 0;
    hash = hash_mix(hash_mix(kHashStart, static_cast<std::uint32_t>(px)), static_cast<std::uint32_t>(py));
  }
};

// The 2D point of sample `index` in dimension `dimension` of pixel (x, y), in [0, 1)^2.
void sample_2d(SamplerKind kind, PixelSeed &pixel, int index, std::uint32_t dimension, float out[2]);
// Low-discrepancy only: further pairs of coordinates of sample_2d's points
// of `dimension` (pair k in 1..kPixelPairs: Sobol dimensions 2k and 2k + 1 of
// the same shuffled index), so that choices made with them are stratified
// jointly with that point, not only each on its own.
inline constexpr int kPixelPairs = 2;
void sample_2d_pair(PixelSeed &pixel, int index, std::uint32_t dimension, int pair, float out[2]);
inline void sample_2d(SamplerKind kind, int x, int y, int index, std::uint32_t dimension, float out[2]) {
  PixelSeed pixel(x, y);
  sample_2d(kind, pixel, index, dimension, out);
}

}  // namespace tavo::host
