// The hue/saturation/value work, through the ceramic's tint and deep colours,
// which scale saturation and value without clamping.
#include <gtest/gtest.h>

#include <cmath>

#include "materials/converter_fixture.h"
#include "materials/tavo_Shd_Ceramic_spider.h"

namespace tavo::test {
namespace {

using ceramic::Ready;

constexpr const char *kShader = "tavo_Shd_Ceramic_spider";

using Ceramic = ConverterTest;

// Worked out by hand: largest and smallest channel, the hue's difference d and
// offset k, its sextant i and which of value, p and q each channel takes there.
struct ColourCase {
  miColor color;
  float max, min, d, k;
  int i;
  const char *order;  // three of 'V', 'p', 'q' for r, g, b
};

miColor expected_colour(const ColourCase &c, float saturation_factor, float value_factor) {
  float h = 0.0f;
  float s = 0.0f;
  if (c.max != c.min) {
    const float spread = c.max - c.min;
    h = (c.k - c.d / spread) / 6.0f;
    s = spread / c.max;
  }
  const float sat = s * saturation_factor;
  const float val = c.max * value_factor;
  const float x = h * 6.0f;
  EXPECT_EQ(std::floor(x), static_cast<float>(c.i)) << "hand-derived sextant";
  float f = x - static_cast<float>(c.i);
  if (c.i % 2 == 0) f = 1.0f - f;
  const float p = (1.0f - sat) * val;
  const float q = (1.0f - f * sat) * val;
  const auto pick = [&](char which) { return which == 'V' ? val : which == 'p' ? p : q; };
  return {pick(c.order[0]), pick(c.order[1]), pick(c.order[2]), c.color.a};
}

TEST_F(Ceramic, TintAndDeepColoursScaleSaturationAndValue) {
  const ColourCase cases[] = {
      // pure red: hue 1, sextant 6
      {{1.0f, 0.0f, 0.0f, 1.0f}, 1.0f, 0.0f, 0.0f - 1.0f, 5.0f, 6, "Vqp"},
      // black: no hue, no saturation
      {{0.0f, 0.0f, 0.0f, 0.0f}, 0.0f, 0.0f, 0.0f, 0.0f, 0, "Vqp"},
      // red smallest (k 3)
      {{0.2f, 0.4f, 0.8f, 0.5f}, 0.8f, 0.2f, 0.4f - 0.8f, 3.0f, 3, "pqV"},
      {{0.2f, 0.8f, 0.5f, 1.0f}, 0.8f, 0.2f, 0.8f - 0.5f, 3.0f, 2, "pVq"},
      // green smallest (k 5)
      {{0.9f, 0.3f, 0.6f, 0.25f}, 0.9f, 0.3f, 0.6f - 0.9f, 5.0f, 5, "Vpq"},
      {{0.5f, 0.2f, 0.8f, 1.0f}, 0.8f, 0.2f, 0.8f - 0.5f, 5.0f, 4, "qpV"},
      // blue smallest (k 1)
      {{0.3f, 0.7f, 0.1f, 1.0f}, 0.7f, 0.1f, 0.3f - 0.7f, 1.0f, 1, "qVp"},
      {{0.8f, 0.6f, 0.2f, 0.0f}, 0.8f, 0.2f, 0.8f - 0.6f, 1.0f, 0, "Vqp"},
  };
  for (const ColourCase &c : cases) {
    SCOPED_TRACE(testing::Message() << "colour " << c.color.r << " " << c.color.g << " " << c.color.b);
    const Ready r = run<Ready>(kShader, {value("color", words(c.color))});
    const miColor tint = expected_colour(c, 0.85f, 0.95f);
    const miColor deep = expected_colour(c, 1.4f, 0.94f);
    EXPECT_COLOR_EQ(r.tint_color, tint.r, tint.g, tint.b, tint.a);
    EXPECT_COLOR_EQ(r.deep_color, deep.r, deep.g, deep.b, deep.a);
  }
  // red as documented: the unclamped saturation 1.4 gives negative channels
  const Ready red = run<Ready>(kShader, {value("color", {"1", "0", "0", "1"})});
  EXPECT_NEAR(red.tint_color.g, 0.1425f, 1e-6f);
  EXPECT_NEAR(red.deep_color.g, -0.376f, 1e-6f);
}

}  // namespace
}  // namespace tavo::test
