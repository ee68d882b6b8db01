// The host's mi_spline: an interpolating Catmull-Rom spline through evenly spaced control values over [0, 1].
#include <gtest/gtest.h>

#include <limits>
#include <vector>

#include "frame/renderer.h"

namespace tavo::test {
namespace {

float spline(float t, std::vector<float> control) {
  return mi_spline(t, static_cast<int>(control.size()), control.empty() ? nullptr : control.data());
}

// Through its knots, lines reproduced, central-difference slopes, and the parameter clamped.
TEST(Spline, PassesThroughItsKnotsReproducesLinesAndClampsTheParameter) {
  for (const auto &control : std::vector<std::vector<float>>{{0.0f, 0.82f, 0.92f, 0.96f, 0.98f, 1.0f, 1.0f, 1.0f, 1.0f},
                                                              {3.0f, -1.0f},
                                                              {0.1f, -0.7f, 3.3f, 0.0f, 5.5f, -2.0f, 1e-8f, 7.0f, 0.3f}})
    for (std::size_t k = 0; k < control.size(); ++k)
      EXPECT_EQ(spline(static_cast<float>(k) / static_cast<float>(control.size() - 1), control), control[k]) << k;
  for (const float t : {0.1f, 0.37f, 0.9f}) EXPECT_NEAR(spline(t, {0.0f, 0.25f, 0.5f, 0.75f, 1.0f}), t, 1e-6f) << t;
  // between 0 and 1 with end slopes 1 and 0.5, at f = 0.5; the slope at the middle knot overshoots
  EXPECT_NEAR(spline(0.25f, {0.0f, 1.0f, 1.0f}), 0.5f + 0.125f * 1.0f - 0.125f * 0.5f, 1e-6f);
  EXPECT_GT(spline(0.75f, {0.0f, 1.0f, 1.0f}), 1.0f);
  const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
  for (const auto &[t, expected] : {std::pair{-0.5f, 0.2f}, {-inf, 0.2f}, {nan, 0.2f}, {1.0001f, 0.4f}, {inf, 0.4f}})
    EXPECT_EQ(spline(t, {0.2f, 0.9f, 0.4f}), expected) << t;
  float one = 0.625f;  // one value, none, or no list
  EXPECT_TRUE(mi_spline(0.3f, 1, &one) == 0.625f && mi_spline(-3.0f, 1, &one) == 0.625f);
  EXPECT_TRUE(mi_spline(0.3f, 0, &one) == 0.0f && mi_spline(0.3f, -4, &one) == 0.0f && mi_spline(0.3f, 3, nullptr) == 0.0f);
}

}  // namespace
}  // namespace tavo::test
