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
// of the index. Each further one XORs one direction number per set bit of
// the index; with both the index and the result reversed, it is still one
// XOR per set bit, and tables of those XORs for each byte give it in four
// lookups. Dimensions 1 to 5 come from the primitive polynomials x + 1,
// x^2 + x + 1, x^3 + x + 1, x^3 + x^2 + 1 and x^4 + x + 1 with initial
// numbers 1; 1, 3; 1, 3, 1; 1, 1, 1; 1, 1, 3, 3 (Joe and Kuo's).
struct SobolTables {
  std::uint32_t byte[4][256];
  constexpr SobolTables(int degree, unsigned coefficients, const unsigned *initial) : byte{} {
    std::uint32_t direction[32] = {};
    for (int k = 0; k < 32; ++k) {
      if (k < degree) {
        direction[k] = initial[k] << (31 - k);
        continue;
      }
      std::uint32_t v = direction[k - degree] ^ (direction[k - degree] >> degree);
      for (int j = 1; j < degree; ++j)
        if ((coefficients >> (degree - 1 - j)) & 1u) v ^= direction[k - j];
      direction[k] = v;
    }
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
  // The dimension of an index, both given bit-reversed.
  std::uint32_t operator()(std::uint32_t reversed_index) const {
    return byte[0][reversed_index & 0xff] ^ byte[1][(reversed_index >> 8) & 0xff] ^
           byte[2][(reversed_index >> 16) & 0xff] ^ byte[3][reversed_index >> 24];
  }
};
constexpr unsigned kInitial1[] = {1}, kInitial2[] = {1, 3}, kInitial3[] = {1, 3, 1}, kInitial4[] = {1, 1, 1},
                   kInitial5[] = {1, 1, 3, 3};
constexpr SobolTables kSobol1(1, 0, kInitial1), kSobol2(2, 1, kInitial2), kSobol3(3, 1, kInitial3),
    kSobol4(3, 2, kInitial4), kSobol5(4, 1, kInitial5);
// The Sobol dimensions of the further pairs of a pixel's points: 2k and 2k + 1 for pair k.
constexpr const SobolTables *kPairs[kPixelPairs + 1][2] = {{nullptr, nullptr}, {&kSobol2, &kSobol3}, {&kSobol4, &kSobol5}};

float unit(std::uint32_t bits) { return static_cast<float>(bits >> 8) * (1.0f / 16777216.0f); }

// The scrambles of a dimension of the pixel: hash32({x, y, dimension})
// shuffles the index; hash32({that, 1}) and ({that, 2}), which share their
// first word, scramble the coordinates.
const PixelSeed::Scrambles &scrambles(PixelSeed &pixel, std::uint32_t dimension) {
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
  return s;
}

// Two scrambled coordinates, given reversed, reversed back at once (the halves trade places).
void unreverse(std::uint32_t first, std::uint32_t second, float out[2]) {
  const std::uint64_t reversed = reverse_bits(std::uint64_t{first} << 32 | second);
  out[0] = unit(static_cast<std::uint32_t>(reversed));
  out[1] = unit(static_cast<std::uint32_t>(reversed >> 32));
}

}  // namespace

void sample_2d(SamplerKind kind, PixelSeed &pixel, int index, std::uint32_t dimension, float out[2]) {
  if (kind == SamplerKind::Independent) {
    const int d = static_cast<int>(dimension & 0x7fffffff);
    out[0] = hash01({pixel.x, pixel.y, index, d, 0});
    out[1] = hash01({pixel.x, pixel.y, index, d, 1});
    return;
  }
  const PixelSeed::Scrambles &s = scrambles(pixel, dimension);
  // the pixel's own order of the points: a nested uniform shuffle of the
  // index (kept reversed), then each coordinate scrambled
  const std::uint32_t shuffled = laine_karras(reverse_bits(static_cast<std::uint32_t>(index)), s.shuffle);
  // the first dimension of the shuffled index is the index reversed: that is, not reversed here
  unreverse(laine_karras(reverse_bits(shuffled), s.first), laine_karras(kSobol1(shuffled), s.second), out);
}

void sample_2d_pair(PixelSeed &pixel, int index, std::uint32_t dimension, int pair, float out[2]) {
  const PixelSeed::Scrambles &s = scrambles(pixel, dimension);
  const std::uint32_t shuffled = laine_karras(reverse_bits(static_cast<std::uint32_t>(index)), s.shuffle);
  // the same shuffle as the dimension's own pair; each coordinate scrambled by
  // a further word of its hash (hash32({seed, 2k + 1}) and ({seed, 2k + 2}))
  const std::uint32_t from_shuffle = hash_mix(kHashStart, s.shuffle);
  const SobolTables &a = *kPairs[pair][0], &b = *kPairs[pair][1];
  const auto word = static_cast<std::uint32_t>(2 * pair);
  unreverse(laine_karras(a(shuffled), hash_mix(from_shuffle, word + 1)),
            laine_karras(b(shuffled), hash_mix(from_shuffle, word + 2)), out);
}

}  // namespace tavo::host
