#include "sampling.h"

#include "host_operations.h"

namespace tavo::host {

namespace {

inline std::uint32_t reverse_bits(std::uint32_t x) {
  x = __builtin_bswap32(x);
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

// The second dimension XORs one direction number per set bit of the index;
// tables of those XORs for each byte of the index give it in four lookups.
struct SobolTables {
  std::uint32_t byte[4][256];
  constexpr SobolTables() : byte{} {
    std::uint32_t direction[32] = {};
    std::uint32_t v = 1u << 31;
    for (int bit = 0; bit < 32; ++bit, v ^= v >> 1) direction[bit] = v;
    for (int b = 0; b < 4; ++b)
      for (int value = 0; value < 256; ++value)
        for (int bit = 0; bit < 8; ++bit)
          if (value & (1 << bit)) byte[b][value] ^= direction[8 * b + bit];
  }
};
constexpr SobolTables kSobol;

std::uint32_t sobol_1(std::uint32_t index) {
  return kSobol.byte[0][index & 0xff] ^ kSobol.byte[1][(index >> 8) & 0xff] ^ kSobol.byte[2][(index >> 16) & 0xff] ^
         kSobol.byte[3][index >> 24];
}

float unit(std::uint32_t bits) { return static_cast<float>(bits >> 8) * (1.0f / 16777216.0f); }

}  // namespace

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
