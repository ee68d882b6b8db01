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

inline std::uint64_t reverse_bits(std::uint64_t x) {
  x = __builtin_bswap64(x);
  x = ((x & 0x0f0f0f0f0f0f0f0full) << 4) | ((x >> 4) & 0x0f0f0f0f0f0f0f0full);
  x = ((x & 0x3333333333333333ull) << 2) | ((x >> 2) & 0x3333333333333333ull);
  return ((x & 0x5555555555555555ull) << 1) | ((x >> 1) & 0x5555555555555555ull);
}

// Owen scrambling as a hash that only ever carries bits upwards (Laine and
// Karras; Burley, "Practical hash-based Owen scrambling", 2020). It works on
// bit-reversed values; the sampler below keeps its values reversed between
// scrambles instead of reversing them back and forth.
std::uint32_t laine_karras(std::uint32_t x, std::uint32_t seed) {
  x += seed;
  x ^= x * 0x6c50b47cu;
  x ^= x * 0xb82f1e52u;
  x ^= x * 0xc7afe638u;
  x ^= x * 0x8d22f6e6u;
  return x;
}

// The first Sobol dimension is the van der Corput sequence, the bit reversal
// of the index. The second XORs one direction number per set bit of the
// index; with both the index and the result reversed, it is still one XOR per
// set bit, and tables of those XORs for each byte give it in four lookups.
struct SobolTables {
  std::uint32_t byte[4][256];
  constexpr SobolTables() : byte{} {
    std::uint32_t direction[32] = {};
    std::uint32_t v = 1u << 31;
    for (int bit = 0; bit < 32; ++bit, v ^= v >> 1) direction[bit] = v;
    // bit k of the reversed index is bit 31 - k of the index; its direction number is then reversed
    std::uint32_t reversed[32] = {};
    for (int k = 0; k < 32; ++k) {
      std::uint32_t r = 0;
      for (int b = 0; b < 32; ++b)
        if (direction[31 - k] & (1u << b)) r |= 1u << (31 - b);
      reversed[k] = r;
    }
    for (int b = 0; b < 4; ++b)
      for (int value = 0; value < 256; ++value)
        for (int bit = 0; bit < 8; ++bit)
          if (value & (1 << bit)) byte[b][value] ^= reversed[8 * b + bit];
  }
};
constexpr SobolTables kSobol;

// The second Sobol dimension of an index, both given bit-reversed.
std::uint32_t sobol_1_reversed(std::uint32_t reversed_index) {
  return kSobol.byte[0][reversed_index & 0xff] ^ kSobol.byte[1][(reversed_index >> 8) & 0xff] ^
         kSobol.byte[2][(reversed_index >> 16) & 0xff] ^ kSobol.byte[3][reversed_index >> 24];
}

float unit(std::uint32_t bits) { return static_cast<float>(bits >> 8) * (1.0f / 16777216.0f); }

}  // namespace

void sample_2d(SamplerKind kind, PixelSeed &pixel, int index, std::uint32_t dimension, float out[2]) {
  if (kind == SamplerKind::Independent) {
    const int d = static_cast<int>(dimension & 0x7fffffff);
    out[0] = hash01({pixel.x, pixel.y, index, d, 0});
    out[1] = hash01({pixel.x, pixel.y, index, d, 1});
    return;
  }
  // hash32({x, y, dimension}) shuffles the index; hash32({that, 1}) and
  // ({that, 2}), which share their first word, scramble the coordinates
  const unsigned slot = dimension & 63u;
  PixelSeed::Scrambles &s = pixel.scrambles[slot];
  if (!(pixel.known >> slot & 1u) || s.dimension != dimension) {
    s.dimension = dimension;
    s.shuffle = hash_mix(pixel.hash, dimension);
    const std::uint32_t from_shuffle = hash_mix(kHashStart, s.shuffle);
    s.first = hash_mix(from_shuffle, 1);
    s.second = hash_mix(from_shuffle, 2);
    pixel.known |= std::uint64_t{1} << slot;
  }
  // the pixel's own order of the points: a nested uniform shuffle of the
  // index (kept reversed), then each coordinate scrambled
  const std::uint32_t shuffled = laine_karras(reverse_bits(static_cast<std::uint32_t>(index)), s.shuffle);
  // the first dimension of the shuffled index is the index reversed: that is, not reversed here
  const std::uint64_t both = std::uint64_t{laine_karras(reverse_bits(shuffled), s.first)} << 32 |
                             laine_karras(sobol_1_reversed(shuffled), s.second);
  // both coordinates reversed back at once: the halves trade places
  const std::uint64_t reversed = reverse_bits(both);
  out[0] = unit(static_cast<std::uint32_t>(reversed));
  out[1] = unit(static_cast<std::uint32_t>(reversed >> 32));
}

}  // namespace tavo::host
