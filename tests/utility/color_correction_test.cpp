// Colour correction: the chain of inversion, HSV scaling, gamma, gain, bias
// and highlight boost, each step skipped at its neutral value, and the
// parameters that `precompute` freezes for the instance.

#include <cmath>
#include <limits>

#include "host_fixture.h"

namespace tavo::test {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

Assignment scalar(const char *path, float v) { return value(path, {word(v)}); }
std::vector<Assignment> hsv(float h, float s, float v) { return {scalar("hue", h), scalar("saturation", s), scalar("value", v)}; }
std::vector<Assignment> boost(float multiplier, float threshold, float exponent) {
  return {scalar("highlight", 1), scalar("highlight_multiplier", multiplier), scalar("highlight_threshold", threshold),
          scalar("highlight_exponent", exponent)};
}

class ColorCorrection : public HostTest {
 protected:
  static miColor correct(miColor input, std::vector<Assignment> assignments) {
    assignments.push_back(value("input", words(input)));
    return eval<miColor>("tavo_Utility_ColorCorrection", assignments);
  }
};

TEST_F(ColorCorrection, NeutralParametersReturnTheInputBitForBit) {
  const miColor inputs[] = {{-0.5f, 3.0f, 1e-30f, 0.7f}, {kNaN, kInf, -kInf, -0.0f}};
  const std::vector<Assignment> neutral_sets[] = {
      {},  // the declared defaults
      {scalar("gamma", 1), scalar("gain", 0.5f), scalar("bias", 0.5f), scalar("hue", 0), scalar("saturation", 0),
       scalar("value", 0), value("invert", {"off"})},
      {value("precompute", {"on"})},
      // the boost is off at highlight 0, and does nothing with a multiplier of 1 or less
      {scalar("highlight", 0), scalar("highlight_multiplier", 4), scalar("highlight_threshold", -10)},
      boost(1, -10, 1),
      boost(0.5f, -10, 1),
  };
  for (const miColor &in : inputs)
    for (std::size_t k = 0; k < std::size(neutral_sets); ++k)
      EXPECT_EQ(exact(correct(in, neutral_sets[k])), exact(in)) << "set " << k;
}

TEST_F(ColorCorrection, EachStepOnItsOwnAndTheStepsInTheirOrder) {
  const float k1 = 0.9f;  // k = 1 - gain
  struct Case {
    const char *what;
    miColor in;
    std::vector<Assignment> a;
    miColor want;
    float tolerance;  // 0: bit for bit
  } cases[] = {
      {"invert, alpha too", {0.25f, 0.5f, 0.75f, 1}, {value("invert", {"on"})}, {0.75f, 0.5f, 0.25f, 0}, 0},
      {"saturation -1 gives grey at the maximum", {0.2f, 0.4f, 0.6f, 0.3f}, hsv(0, -1, 0), {0.6f, 0.6f, 0.6f, 0.3f}, 0},
      // H = 7/12, h = 7/12 x 1.2 x 6 = 4.2, S = 2/3 x 0.8, V = 0.6: sector 4
      {"hue and saturation do not cancel", {0.2f, 0.4f, 0.6f, 1}, hsv(0.2f, -0.2f, 0), {0.344f, 0.28f, 0.6f, 1}, 1e-6f},
      // the hue of each minimum channel's sector survives the round trip
      {"value +1, green the minimum", {0.6f, 0.2f, 0.4f, 1}, hsv(0, 0, 1), {1.2f, 0.4f, 0.8f, 1}, 1e-6f},
      {"value +1, blue the minimum", {0.4f, 0.6f, 0.2f, 1}, hsv(0, 0, 1), {0.8f, 1.2f, 0.4f, 1}, 1e-6f},
      {"hue factor 2: green (1/3) turns blue", {0, 1, 0, 0.5f}, hsv(1, 0, 0), {0, 0, 1, 0.5f}, 0},
      {"hue in sector 6, which is sector 0", {0, 1, 0, 0.5f}, hsv(2.25f, 0, 0), {1, 0.5f, 0, 0.5f}, 1e-6f},
      // beyond the sectors the hue goes round the circle: -1/3 is 2/3 (blue), 4/3 is 1/3 (green)
      {"hue factor -1 wraps", {0, 1, 0, 0.5f}, hsv(-2, 0, 0), {0, 0, 1, 0.5f}, 0},
      {"hue factor 4 wraps", {0, 1, 0, 0.5f}, hsv(3, 0, 0), {0, 1, 0, 0.5f}, 0},
      {"a hue that is no number is red", {0.2f, 0.4f, 0.6f, 1}, hsv(kNaN, 0, 0), {0.6f, 0.2f, 0.2f, 1}, 1e-6f},
      {"gamma 2", {0.25f, 0.0625f, 0.5625f, 0.25f}, {scalar("gamma", 2)}, {0.5f, 0.25f, 0.75f, 0.5f}, 0},
      {"gamma 0 is 0.001: the power 1000", {1.001f, 0.999f, 1, 0.5f}, {scalar("gamma", 0)},
       {float(std::pow(double(1.001f), 1000.0)), float(std::pow(double(0.999f), 1000.0)), 1, 0}, 3e-4f},
      // Perlin's gain: 0.25 and 0.75 lie one halving from the fixed point 0.5, giving k/2 and 1 - k/2
      {"gain 0.1", {0.5f, 0.25f, 0.75f, 0.25f}, {scalar("gain", 0.1f)}, {0.5f, k1 * 0.5f, 1 - k1 * 0.5f, k1 * 0.5f}, 0},
      {"gain: the ends, and 0.125 two halvings out", {0, 1, 0.125f, 0.5f}, {scalar("gain", 0.25f)}, {0, 1, 0.28125f, 0.5f}, 1e-6f},
      // above 1 counts as 0.999: 1 - 0.75^(ln 0.002 / ln 0.5) / 2; below 0 (no logarithm) as 0
      {"gain outside 0 to 1", {5, 0.999f, -0.3f, 0}, {scalar("gain", 0.25f)}, {0.962086f, 0.962086f, 0, 0}, 1e-6f},
      {"gain 0 is a flat 0.5", {-2, 0, 0.25f, 0.5f}, {scalar("gain", 0)}, {0.5f, 0.5f, 0.5f, 0.5f}, 0},
      {"bias maps 0.5 to itself", {0.5f, 1, 0, 0.5f}, {scalar("bias", 0.8f)}, {0.8f, 1, 0, 0.8f}, 1e-6f},
      {"bias 0.25 is the power 2", {0.75f, 0.25f, 0.5f, 1}, {scalar("bias", 0.25f)}, {0.5625f, 0.0625f, 0.25f, 1}, 1e-6f},
      // invert, then value x2, then gamma 2, then gain 0.2 at 0.25 (k / 2 = 0.4)
      {"in order", {0.96875f, 0.96875f, 0.96875f, 0.9375f},
       {value("invert", {"on"}), scalar("value", 1), scalar("gamma", 2), scalar("gain", 0.2f)}, {0.4f, 0.4f, 0.4f, 0.4f}, 1e-7f},
      // the highlight boost: a ramp from the threshold up to a luminance of 1, alpha untouched
      {"below the threshold", {0.2f, 0.2f, 0.2f, 0.4f}, boost(2, 0.5f, 1), {0.2f, 0.2f, 0.2f, 0.4f}, 0},
      {"half way up the ramp", {0.75f, 0.75f, 0.75f, 0.4f}, boost(2, 0.5f, 1), {1.125f, 1.125f, 1.125f, 0.4f}, 1e-6f},
      {"exponent 2", {0.75f, 0.75f, 0.75f, 0.4f}, boost(2, 0.5f, 2), {0.9375f, 0.9375f, 0.9375f, 0.4f}, 1e-6f},
      // luminance 0.3 r + 0.59 g + 0.11 b = 0.712: t = 0.424
      {"a colour part way up", {0.9f, 0.6f, 0.8f, 0.4f}, boost(3, 0.5f, 1), {1.6632f, 1.1088f, 1.4784f, 0.4f}, 1e-5f},
      // a threshold of 1 or more has no ramp: a step at the threshold
      {"threshold 1, above: the full boost", {1.5f, 1, 0.5f, 0.25f}, boost(3, 1, 1), {4.5f, 3, 1.5f, 0.25f}, 0},
  };
  for (const Case &c : cases) {
    const miColor got = correct(c.in, c.a);
    if (c.tolerance == 0) {
      EXPECT_EQ(exact(got), exact(c.want)) << c.what;
    } else {
      expect_near(got, c.want, c.tolerance, c.what);
    }
  }
}

// A parameter connected to a test source whose result changes between two calls.
TEST_F(ColorCorrection, PrecomputeFreezesTheAdjustmentsAtInitButNeverTheHighlightBoost) {
  renderer().load_library(TAVO_TEST_SHADERS, TAVO_TEST_DECLARATIONS);
  struct Case {
    const char *precompute, *connected;
    float at_init, later;
    std::vector<Assignment> more;
    miColor in, first, second;
  } cases[] = {
      {"on", "gamma", 2, 4, {}, {0.0625f, 0.00390625f, 1, 4}, {0.25f, 0.0625f, 1, 2}, {0.25f, 0.0625f, 1, 2}},
      {"off", "gamma", 2, 4, {}, {0.0625f, 0.00390625f, 1, 4}, {0.25f, 0.0625f, 1, 2}, {0.5f, 0.25f, 1, std::sqrt(2.0f)}},
      {"on", "highlight_multiplier", 2, 3, boost(2, 0.5f, 1), {2, 2, 2, 1}, {4, 4, 4, 1}, {6, 6, 6, 1}},
  };
  for (const Case &c : cases) {
    const miTag source = renderer().create_instance("test_source", {scalar("s", c.at_init)});
    std::vector<Assignment> a = c.more;
    a.insert(a.end(), {value("input", words(c.in)), value("precompute", {c.precompute}), link(c.connected, source, "s")});
    const miTag cc = instance("tavo_Utility_ColorCorrection", a);
    expect_near(call<miColor>(cc), c.first, 0, c.connected);
    set(source, renderer().instance(source)->shader->decl.parameter("s")->offset, c.later);
    expect_near(call<miColor>(cc), c.second, 1e-6f, c.connected);  // a sample of its own: no result kept
  }
}

}  // namespace
}  // namespace tavo::test
