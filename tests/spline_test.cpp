// The host's mi_spline: an interpolating Catmull-Rom spline through evenly
// spaced control values over [0, 1].
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "frame/renderer.h"

namespace tavo::test {
namespace {

float spline(float t, std::vector<float> control) {
  return mi_spline(t, static_cast<int>(control.size()), control.data());
}

const std::vector<std::vector<float>> kControlSets = {
    {0.0f, 0.82f, 0.92f, 0.96f, 0.98f, 1.0f, 1.0f, 1.0f, 1.0f, 1.0f, 1.0f},
    {3.0f, -1.0f},
    {0.5f, 0.25f, 2.0f},
    {1.0f, 4.0f, 9.0f, 16.0f, 25.0f, 36.0f, 49.0f},
    {0.1f, -0.7f, 3.3f, 0.0f, 5.5f, -2.0f, 1e-8f, 7.0f, 0.3f, 0.9f, 0.2f, 0.4f, 0.6f},
};

TEST(Spline, ReturnsTheControlValuesAtTheKnots) {
  for (const auto &control : kControlSets) {
    const int n = static_cast<int>(control.size());
    for (int k = 0; k < n; ++k) {
      const float t = static_cast<float>(k) / static_cast<float>(n - 1);
      EXPECT_EQ(spline(t, control), control[k]) << "n " << n << " knot " << k;
    }
  }
}

TEST(Spline, ReproducesLinearDataAndStaysMonotoneOnMonotoneData) {
  const std::vector<float> linear = {0.0f, 0.25f, 0.5f, 0.75f, 1.0f};
  const std::vector<float> squares = {0.0f, 1.0f, 4.0f, 9.0f, 16.0f, 25.0f};
  float previous_linear = -1.0f;
  float previous_square = -1.0f;
  for (int s = 0; s <= 400; ++s) {
    const float t = static_cast<float>(s) / 400.0f;
    const float l = spline(t, linear);
    EXPECT_NEAR(l, t, 1e-6f) << "t " << t;
    EXPECT_GE(l, previous_linear) << "t " << t;
    previous_linear = l;
    const float q = spline(t, squares);
    EXPECT_GE(q, previous_square) << "t " << t;
    previous_square = q;
  }
  // between two knots the value lies between them for this smooth data
  const float mid = spline(0.5f, {0.0f, 1.0f, 4.0f, 9.0f, 16.0f});
  EXPECT_GT(mid, 1.0f);
  EXPECT_LT(mid, 9.0f);
  EXPECT_NEAR(spline(0.3f, {2.0f, -1.0f}), 2.0f + 0.3f * -3.0f, 1e-6f);
}

TEST(Spline, CentralDifferencesGiveTheSegmentItsShape) {
  // 0, 1, 1: the slope 0.5 at the middle knot carries the curve above 1 after it
  EXPECT_GT(spline(0.75f, {0.0f, 1.0f, 1.0f}), 1.0f);
  // a symmetric bump is symmetric
  EXPECT_FLOAT_EQ(spline(0.3f, {0.0f, 1.0f, 0.0f}), spline(0.7f, {0.0f, 1.0f, 0.0f}));
  // Hermite segment between 0 and 1 with end slopes 1 and 0.5 at f = 0.5
  EXPECT_NEAR(spline(0.25f, {0.0f, 1.0f, 1.0f}), 0.5f + 0.125f * 1.0f - 0.125f * 0.5f, 1e-6f);
}

TEST(Spline, ClampsTheParameterAndHandlesShortLists) {
  const std::vector<float> control = {0.2f, 0.9f, 0.4f};
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float inf = std::numeric_limits<float>::infinity();
  const struct {
    float t, expected;
  } cases[] = {{-0.5f, 0.2f}, {-inf, 0.2f}, {nan, 0.2f}, {1.0001f, 0.4f}, {7.0f, 0.4f}, {inf, 0.4f}};
  for (const auto &c : cases) EXPECT_EQ(spline(c.t, control), c.expected) << "t " << c.t;

  float one = 0.625f;
  EXPECT_EQ(mi_spline(0.3f, 1, &one), 0.625f);
  EXPECT_EQ(mi_spline(-3.0f, 1, &one), 0.625f);
  EXPECT_EQ(mi_spline(0.3f, 0, &one), 0.0f);
  EXPECT_EQ(mi_spline(0.3f, -4, &one), 0.0f);
  EXPECT_EQ(mi_spline(0.3f, 3, nullptr), 0.0f);
}

}  // namespace
}  // namespace tavo::test
