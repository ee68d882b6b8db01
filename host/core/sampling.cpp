#include "sampling.h"

#include "host_operations.h"

namespace tavo::host {

namespace {

std::uint32_t reverse_bits(std::uint32_t x) {
  x = (x << 16) | (x >> 16);
  x = ((x & 0x00ff00ffu) << 8) | ((x & 0xff00ff00u) >> 8);
  x = ((x & 0x0f0f0f0fu) << 4) | ((x & 0xf0f0f0f0u) >> 4);
  x = ((x & 0x33333333u) << 2) | ((x & 0xccccccccu) >> 2);
  return ((x & 0x55555555u) << 1) | ((x & 0xaaaaaaaau) >> 1);
}

// Owen scrambling as a hash that only ever carries bits upwards, applied to
// the bit-reversed value (Laine and Karras; Burley, "Practical hash-based
// Owen scrambling", 2020).
std::uint32_t owen_scramble(std::uint32_t x, std::uint32_t seed) {
  x = reverse_bits(x);
  x += seed;
  x ^= x * 0x6c50b47cu;
  x ^= x * 0xb82f1e52u;
  x ^= x * 0xc7afe638u;
  x ^= x * 0x8d22f6e6u;
  return reverse_bits(x);
}

// The first two Sobol dimensions: the van der Corput sequence and its partner.
std::uint32_t sobol_0(std::uint32_t index) { return reverse_bits(index); }
std::uint32_t sobol_1(std::uint32_t index) {
  std::uint32_t result = 0;
  for (std::uint32_t v = 1u << 31; index; index >>= 1, v ^= v >> 1)
    if (index & 1) result ^= v;
  return result;
}

float unit(std::uint32_t bits) { return static_cast<float>(bits >> 8) * (1.0f / 16777216.0f); }

}  // namespace

std::uint32_t hash32(std::initializer_list<std::uint32_t> values) {
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

void sample_2d(SamplerKind kind, int x, int y, int index, std::uint32_t dimension, float out[2]) {
  const auto px = static_cast<std::uint32_t>(x), py = static_cast<std::uint32_t>(y);
  if (kind == SamplerKind::Independent) {
    const int d = static_cast<int>(dimension & 0x7fffffff);
    out[0] = hash01({x, y, index, d, 0});
    out[1] = hash01({x, y, index, d, 1});
    return;
  }
  const std::uint32_t seed = hash32({px, py, dimension});
  // the pixel's own order of the points: a nested uniform shuffle of the index
  const std::uint32_t shuffled = owen_scramble(static_cast<std::uint32_t>(index), seed);
  out[0] = unit(owen_scramble(sobol_0(shuffled), hash32({seed, 1})));
  out[1] = unit(owen_scramble(sobol_1(shuffled), hash32({seed, 2})));
}

}  // namespace tavo::host
