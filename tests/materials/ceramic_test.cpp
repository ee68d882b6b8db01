// The hue/saturation/value work, through the ceramic's tint and deep colours,
// which scale saturation and value without clamping.
#include <gtest/gtest.h>

#include "materials/converter_fixture.h"
#include "materials/tavo_Shd_Ceramic_spider.h"

namespace tavo::test {
namespace {

using Ceramic = ConverterTest;

// The tint scales saturation by 0.85 and value by 0.95, the deep colour by 1.4 and 0.94. Each colour's hue lies in
// another sextant (by its smallest channel and the order of the other two), where value, p and q land on other
// channels; red's deep colour shows the unclamped saturation: p = (1 - 1.4) x 0.94.
TEST_F(Ceramic, TintAndDeepColoursScaleSaturationAndValue) {
  const struct {
    miColor color;
    const char *tint, *deep;
  } cases[] = {
      {{1, 0, 0, 1}, "0.949999988 0.142499968 0.142499968 1", "0.939999998 -0.375999987 -0.375999987 1"},  // sextant 6
      {{0, 0, 0, 0}, "0 0 0 0", "0 0 0 0"},  // no hue, no saturation
      {{0.2f, 0.4f, 0.8f, 0.5f}, "0.27549997 0.437000036 0.75999999 0.5", "-0.0375999659 0.225600153 0.752000034 0.5"},
      {{0.2f, 0.8f, 0.5f, 1}, "0.27549997 0.75999999 0.517749965 1", "-0.0375999659 0.752000034 0.357200027 1"},
      {{0.9f, 0.3f, 0.6f, 0.25f}, "0.854999959 0.370499998 0.612749994 0.25", "0.845999956 0.0564000458 0.451200008 0.25"},
      {{0.5f, 0.2f, 0.8f, 1}, "0.517749965 0.27549997 0.75999999 1", "0.357200027 -0.0375999659 0.752000034 1"},
      {{0.3f, 0.7f, 0.1f, 1}, "0.341999948 0.664999962 0.180500001 1", "0.131599948 0.657999992 -0.131599948 1"},
      {{0.8f, 0.6f, 0.2f, 0}, "0.75999999 0.598500013 0.27549997 0", "0.752000034 0.488800049 -0.0375999659 0"},
  };
  for (const auto &c : cases) {
    const auto r = eval<ceramic::Ready>("tavo_Shd_Ceramic_spider", {value("color", words(c.color))});
    EXPECT_EQ(exact(r.tint_color), c.tint) << exact(c.color);
    EXPECT_EQ(exact(r.deep_color), c.deep) << exact(c.color);
  }
}

}  // namespace
}  // namespace tavo::test
