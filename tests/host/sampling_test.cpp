// The renderer's low-discrepancy points: whatever the pixel and dimension,
// the first 2^k samples of a pixel are a (0, k, 2)-net, one point in every
// box of 2^-k area whose sides are powers of two.
#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>
#include <vector>

#include "sampling.h"

namespace tavo::test {
namespace {

TEST(Sampling, EachPixelsFirstPowerOfTwoSamplesFillEveryElementaryBoxOnce) {
  for (const auto [x, y, dimension] : {std::tuple{0, 0, 1u}, {37, 5, 0xdeadbeefu}, {1919, 1079, 7u}})
    for (const int k : {4, 6}) {
      const int n = 1 << k;
      std::vector<float> points(2 * n);
      for (int s = 0; s < n; ++s) host::sample_2d(host::SamplerKind::Sobol, x, y, s, dimension, &points[2 * s]);
      for (int a = 0; a <= k; ++a) {
        const int columns = 1 << a, rows = n / columns;
        std::vector<int> count(n, 0);
        for (int s = 0; s < n; ++s)
          ++count[static_cast<int>(points[2 * s + 1] * rows) * columns + static_cast<int>(points[2 * s] * columns)];
        EXPECT_EQ(std::count(count.begin(), count.end(), 1), n) << x << "," << y << " boxes " << columns << "x" << rows;
      }
    }
}

}  // namespace
}  // namespace tavo::test
