// The renderer's low-discrepancy points: whatever the pixel and dimension,
// the first 2^k samples of a pixel are a (0, k, 2)-net, one point in every
// box of 2^-k area whose sides are powers of two; the further pairs of a
// pixel's points cover the unit square on their own as well, and together
// with the pixel's position.
#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>
#include <vector>

#include "sampling.h"

namespace tavo::test {
namespace {

// The smallest t for which the n = 2^k points (a[s], b[s]) put 2^t in every
// box of 2^(t - k) area whose sides are powers of two.
int net_quality(const std::vector<float> &a, const std::vector<float> &b, int k) {
  const int n = 1 << k;
  for (int t = 0; t <= k; ++t) {
    bool net = true;
    for (int e = 0; e <= k - t && net; ++e) {
      const int columns = 1 << e, rows = (n >> t) / columns;
      std::vector<int> count(n >> t, 0);
      for (int s = 0; s < n; ++s) ++count[static_cast<int>(b[s] * rows) * columns + static_cast<int>(a[s] * columns)];
      net = std::all_of(count.begin(), count.end(), [&](int c) { return c == 1 << t; });
    }
    if (net) return t;
  }
  return k + 1;
}

TEST(Sampling, EachPixelsFirstPowerOfTwoSamplesAreNets) {
  for (const auto &[x, y, dimension] : {std::tuple{0, 0, 1u}, {37, 5, 0xdeadbeefu}, {1919, 1079, 7u}})
    for (const int k : {5, 6}) {
      SCOPED_TRACE(::testing::Message() << x << "," << y << " dimension " << dimension << ", 2^" << k << " samples");
      const int n = 1 << k;
      host::PixelSeed pixel(x, y);
      std::vector<float> coordinate[6];  // the point's two, then each further pair's
      for (int s = 0; s < n; ++s) {
        float p[3][2];
        host::sample_2d(host::SamplerKind::Sobol, pixel, s, dimension, p[0]);
        for (int pair = 1; pair <= host::kPixelPairs; ++pair) host::sample_2d_pair(pixel, s, dimension, pair, p[pair]);
        for (int c = 0; c < 6; ++c) coordinate[c].push_back(p[c / 2][c % 2]);
      }
      EXPECT_EQ(net_quality(coordinate[0], coordinate[1], k), 0);
      // each further dimension alone: one point in every interval of 2^-k
      for (int c = 2; c < 6; ++c) {
        std::vector<int> count(n, 0);
        for (const float v : coordinate[c]) ++count[static_cast<int>(v * n)];
        EXPECT_EQ(std::count(count.begin(), count.end(), 1), n) << "coordinate " << c;
      }
      // with the position: nets of t <= 2, where a pair shuffled apart from it gives t = 3 to 5
      for (int c = 2; c < 6; ++c) EXPECT_LE(net_quality(coordinate[0], coordinate[c], k), 2) << "coordinate " << c;
    }
}

}  // namespace
}  // namespace tavo::test
