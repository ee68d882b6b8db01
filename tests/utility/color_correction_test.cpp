// Colour correction: the chain of inversion, HSV scaling, gamma, gain, bias
// and highlight boost, each step skipped at its neutral value, and the
// parameters that `precompute` freezes for the instance.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>

#include "host_fixture.h"
#include "layout_registry.h"
#include "utility/tavo_Utility_ColorCorrection.h"

namespace tavo::test {
namespace {

using color_correction::Params;
TAVO_LAYOUT("tavo_Utility_ColorCorrection", Parameters, Params, TAVO_FIELD(Params, input), TAVO_FIELD(Params, gamma),
            TAVO_FIELD(Params, gain), TAVO_FIELD(Params, bias), TAVO_FIELD(Params, hue),
            TAVO_FIELD(Params, saturation), TAVO_FIELD(Params, value), TAVO_FIELD(Params, invert),
            TAVO_FIELD(Params, highlight), TAVO_FIELD(Params, highlight_multiplier),
            TAVO_FIELD(Params, highlight_threshold), TAVO_FIELD(Params, highlight_exponent),
            TAVO_FIELD(Params, precompute));

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

std::string word(float v) {
  if (std::isnan(v)) return "nan";
  if (std::isinf(v)) return v > 0 ? "inf" : "-inf";
  char text[32];
  std::snprintf(text, sizeof text, "%.9g", static_cast<double>(v));  // round-trips every float
  return text;
}

Assignment colour(const char *path, miColor c) { return value(path, {word(c.r), word(c.g), word(c.b), word(c.a)}); }
Assignment scalar(const char *path, float v) { return value(path, {word(v)}); }

std::array<std::uint32_t, 4> bits(const miColor &c) {
  std::array<std::uint32_t, 4> out;
  std::memcpy(out.data(), &c, sizeof c);
  return out;
}

void expect_near(const miColor &got, const miColor &want, float tolerance, const std::string &what) {
  EXPECT_NEAR(got.r, want.r, tolerance) << what;
  EXPECT_NEAR(got.g, want.g, tolerance) << what;
  EXPECT_NEAR(got.b, want.b, tolerance) << what;
  EXPECT_NEAR(got.a, want.a, tolerance) << what;
}

class ColorCorrection : public HostTest {
 protected:
  static miColor correct(miColor input, std::vector<Assignment> assignments) {
    assignments.push_back(colour("input", input));
    return eval<miColor>("tavo_Utility_ColorCorrection", assignments);
  }
};

TEST_F(ColorCorrection, NeutralParametersReturnTheInputBitForBit) {
  const miColor inputs[] = {{0.2f, 0.4f, 0.6f, 1.0f},
                            {-0.5f, 3.0f, 1e-30f, 0.7f},
                            {kNaN, kInf, -kInf, -0.0f}};
  const std::vector<Assignment> neutral_sets[] = {
      {},  // the declared defaults
      {scalar("gamma", 1), scalar("gain", 0.5f), scalar("bias", 0.5f), scalar("hue", 0), scalar("saturation", 0),
       scalar("value", 0), value("invert", {"off"})},
      {value("precompute", {"on"})},
      // the boost is off at highlight 0, and does nothing with a multiplier of 1 or less
      {scalar("highlight", 0), scalar("highlight_multiplier", 4), scalar("highlight_threshold", -10),
       scalar("highlight_exponent", 1)},
      {scalar("highlight", 1), scalar("highlight_multiplier", 1), scalar("highlight_threshold", -10),
       scalar("highlight_exponent", 1)},
      {scalar("highlight", 1), scalar("highlight_multiplier", 0.5f), scalar("highlight_threshold", -10),
       scalar("highlight_exponent", 1)},
  };
  for (const miColor &in : inputs)
    for (std::size_t k = 0; k < std::size(neutral_sets); ++k)
      EXPECT_EQ(bits(correct(in, neutral_sets[k])), bits(in)) << "set " << k << ", input " << word(in.r);
}

TEST_F(ColorCorrection, InvertTurnsEveryChannelAlphaIncluded) {
  EXPECT_EQ(bits(correct({0.25f, 0.5f, 0.75f, 1.0f}, {value("invert", {"on"})})),
            bits(miColor{0.75f, 0.5f, 0.25f, 0.0f}));
  expect_near(correct({0.2f, 0.4f, 0.6f, 1.0f}, {value("invert", {"1"})}), {0.8f, 0.6f, 0.4f, 0.0f}, 1e-7f,
              "(0.2, 0.4, 0.6, 1)");
  EXPECT_EQ(bits(correct({2.0f, -1.0f, 0.0f, 0.5f}, {value("invert", {"on"})})),
            bits(miColor{-1.0f, 2.0f, 1.0f, 0.5f}));
}

TEST_F(ColorCorrection, HsvScalingWorksInHueSaturationAndValue) {
  struct Case {
    const char *what;
    miColor in;
    float hue, saturation, value;
    miColor want;
    float tolerance;  // 0: bit for bit
  } cases[] = {
      {"saturation -1 gives grey at the maximum", {0.2f, 0.4f, 0.6f, 0.3f}, 0, -1, 0, {0.6f, 0.6f, 0.6f, 0.3f}, 0},
      {"value +1 doubles", {0.2f, 0.4f, 0.6f, 0.3f}, 0, 0, 1, {0.4f, 0.8f, 1.2f, 0.3f}, 1e-6f},
      {"value +1 on grey", {0.25f, 0.25f, 0.25f, 1}, 0, 0, 1, {0.5f, 0.5f, 0.5f, 1}, 0},
      // H = 7/12, h = 7/12 * 1.2 * 6 = 4.2, S = 2/3 * 0.8, V = 0.6: sector 4
      {"hue and saturation do not cancel", {0.2f, 0.4f, 0.6f, 1}, 0.2f, -0.2f, 0, {0.344f, 0.28f, 0.6f, 1}, 1e-6f},
      // green has H = 1/3: factor 2 gives h = 4, blue
      {"hue factor 2", {0, 1, 0, 0.5f}, 1, 0, 0, {0, 0, 1, 0.5f}, 0},
      // sector 6 is sector 0 again: h = 6.5 lies half way from red to yellow
      {"hue in sector 6", {0, 1, 0, 0.5f}, 2.25f, 0, 0, {1, 0.5f, 0, 0.5f}, 1e-6f},
      // beyond the sectors the hue goes round the circle: -1/3 is 2/3 (blue), 4/3 is 1/3 (green)
      {"hue factor -1 wraps", {0, 1, 0, 0.5f}, -2, 0, 0, {0, 0, 1, 0.5f}, 0},
      {"hue factor 4 wraps", {0, 1, 0, 0.5f}, 3, 0, 0, {0, 1, 0, 0.5f}, 0},
      // a hue that is no number is taken as red: (V, (1 - S) V, (1 - S) V)
      {"hue factor NaN", {0.2f, 0.4f, 0.6f, 1}, kNaN, 0, 0, {0.6f, 0.2f, 0.2f, 1}, 1e-6f},
  };
  for (const Case &c : cases) {
    const miColor got = correct(c.in, {scalar("hue", c.hue), scalar("saturation", c.saturation),
                                       scalar("value", c.value)});
    if (c.tolerance == 0) EXPECT_EQ(bits(got), bits(c.want)) << c.what;
    else expect_near(got, c.want, c.tolerance, c.what);
  }
}

TEST_F(ColorCorrection, GammaRaisesEveryChannelToOneOverGamma) {
  EXPECT_EQ(bits(correct({0.25f, 0.0625f, 0.5625f, 0.25f}, {scalar("gamma", 2)})),
            bits(miColor{0.5f, 0.25f, 0.75f, 0.5f}));
  EXPECT_EQ(bits(correct({0.5f, 0.25f, 0.75f, 1}, {scalar("gamma", 0.5f)})), bits(miColor{0.25f, 0.0625f, 0.5625f, 1}));
  // gamma 0 counts as 0.001: the power 1000
  const miColor got = correct({1.001f, 0.999f, 1, 0.5f}, {scalar("gamma", 0)});
  EXPECT_NEAR(got.r, std::pow(static_cast<double>(1.001f), 1000.0), 1e-4 * got.r);
  EXPECT_NEAR(got.g, std::pow(static_cast<double>(0.999f), 1000.0), 1e-4 * got.g);
  EXPECT_EQ(got.b, 1.0f);
  EXPECT_EQ(got.a, 0.0f);  // 0.5^1000 is below the smallest float
}

TEST_F(ColorCorrection, GainIsPerlinsContrastCurve) {
  // 0.25 and 0.75 lie one halving from 0.5, where the curve's exponent is
  // exactly 1: they map to k / 2 and 1 - k / 2 with k = 1 - gain.
  for (const float gain : {0.1f, 0.25f, 0.8f, 0.99f}) {
    const float k = 1.0f - gain;
    const miColor got = correct({0.5f, 0.25f, 0.75f, 0.25f}, {scalar("gain", gain)});
    EXPECT_EQ(bits(got), bits(miColor{0.5f, k * 0.5f, 1.0f - k * 0.5f, k * 0.5f})) << gain;
    // 0 and 1 are the curve's ends; 0.125 is two halvings out: k^2 / 2
    const miColor ends = correct({0, 1, 0.125f, 0.5f}, {scalar("gain", gain)});
    EXPECT_EQ(ends.r, 0.0f) << gain;
    EXPECT_EQ(ends.g, 1.0f) << gain;
    EXPECT_NEAR(ends.b, k * k * 0.5f, 1e-6f) << gain;
  }
  // 0.5 is a fixed point of every gain
  for (const float gain : {0.0f, 0.3f, 1.0f, -1.0f, 2.0f, 40.0f})
    EXPECT_EQ(correct({0.5f, 0.5f, 0.5f, 0.5f}, {scalar("gain", gain)}).g, 0.5f) << gain;
  // above 1 counts as 0.999; below 0 (no logarithm) counts as 0
  const miColor high = correct({5.0f, 0.999f, -0.3f, 0.0f}, {scalar("gain", 0.25f)});
  EXPECT_EQ(high.r, high.g);
  EXPECT_NEAR(high.g, 0.962086f, 1e-6f);  // 1 - 0.75^(ln 0.002 / ln 0.5) / 2
  EXPECT_EQ(high.b, 0.0f);
  EXPECT_EQ(high.a, 0.0f);
  const miColor flat = correct({-2.0f, 0.0f, 0.25f, 0.5f}, {scalar("gain", 0.0f)});  // k = 1: a flat 0.5
  EXPECT_EQ(bits(flat), bits(miColor{0.5f, 0.5f, 0.5f, 0.5f}));
}

TEST_F(ColorCorrection, BiasMapsHalfToBias) {
  for (const float bias : {0.1f, 0.25f, 0.8f, 0.9f}) {
    const miColor got = correct({0.5f, 1.0f, 0.0f, 0.5f}, {scalar("bias", bias)});
    EXPECT_NEAR(got.r, bias, 1e-6f) << bias;
    EXPECT_EQ(got.g, 1.0f) << bias;
    EXPECT_EQ(got.b, 0.0f) << bias;
    EXPECT_NEAR(got.a, bias, 1e-6f) << bias;  // alpha too
  }
  // bias 0.25 is the exponent 2
  expect_near(correct({0.75f, 0.25f, 0.5f, 1}, {scalar("bias", 0.25f)}), {0.5625f, 0.0625f, 0.25f, 1}, 1e-6f,
              "bias 0.25");
}

TEST_F(ColorCorrection, StepsRunInTheirOrder) {
  // invert, then value x2, then gamma 2, then gain 0.2 at 0.25 (k / 2 = 0.4)
  const miColor got = correct({0.96875f, 0.96875f, 0.96875f, 0.9375f},
                              {value("invert", {"on"}), scalar("value", 1), scalar("gamma", 2), scalar("gain", 0.2f)});
  const float k = 1.0f - 0.2f;
  EXPECT_EQ(bits(got), bits(miColor{k * 0.5f, k * 0.5f, k * 0.5f, k * 0.5f}));
}

TEST_F(ColorCorrection, HighlightBoostRampsAboveTheThreshold) {
  struct Case {
    const char *what;
    miColor in;
    float multiplier, threshold, exponent;
    miColor want;
    float tolerance;  // 0: bit for bit
  } cases[] = {
      {"below the threshold", {0.2f, 0.2f, 0.2f, 0.4f}, 2, 0.5f, 1, {0.2f, 0.2f, 0.2f, 0.4f}, 0},
      {"at the threshold", {0, 0, 0, 0.4f}, 2, 0, 1, {0, 0, 0, 0.4f}, 0},
      // lum 0.75: t = (0.25 / 0.5)^1 = 0.5, channel x 1.5
      {"half way up the ramp", {0.75f, 0.75f, 0.75f, 0.4f}, 2, 0.5f, 1, {1.125f, 1.125f, 1.125f, 0.4f}, 1e-6f},
      {"exponent 2", {0.75f, 0.75f, 0.75f, 0.4f}, 2, 0.5f, 2, {0.9375f, 0.9375f, 0.9375f, 0.4f}, 1e-6f},
      {"above the ramp", {2, 2, 2, 0.4f}, 2, 0.5f, 1, {4, 4, 4, 0.4f}, 0},
      {"above the ramp, a colour", {1.5f, 1, 0.5f, 0.25f}, 3, 0.5f, 1, {4.5f, 3, 1.5f, 0.25f}, 0},
      {"multiplier 1", {2, 2, 2, 0.4f}, 1, 0.5f, 1, {2, 2, 2, 0.4f}, 0},
      {"multiplier below 1", {2, 2, 2, 0.4f}, 0.5f, 0.5f, 1, {2, 2, 2, 0.4f}, 0},
      // a threshold of 1 or more has no ramp: a step at the threshold
      {"threshold 1, above", {2, 2, 2, 0.4f}, 2, 1, 1, {4, 4, 4, 0.4f}, 0},
      {"threshold 1, below", {0.75f, 0.75f, 0.75f, 0.4f}, 2, 1, 1, {0.75f, 0.75f, 0.75f, 0.4f}, 0},
      {"threshold 1.5, above", {2, 2, 2, 0.4f}, 2, 1.5f, 0.5f, {4, 4, 4, 0.4f}, 0},
      {"threshold 1.5, below", {1.25f, 1.25f, 1.25f, 0.4f}, 2, 1.5f, 0.5f, {1.25f, 1.25f, 1.25f, 0.4f}, 0},
  };
  for (const Case &c : cases) {
    const miColor got = correct(c.in, {scalar("highlight", 1), scalar("highlight_multiplier", c.multiplier),
                                       scalar("highlight_threshold", c.threshold),
                                       scalar("highlight_exponent", c.exponent)});
    if (c.tolerance == 0) EXPECT_EQ(bits(got), bits(c.want)) << c.what;
    else expect_near(got, c.want, c.tolerance, c.what);
  }
}

// Parameters connected to a source whose result changes between calls (its
// parameter is rewritten between them).
class Precompute : public ColorCorrection {
 protected:
  void SetUp() override {
    ColorCorrection::SetUp();
    renderer().load_library(TAVO_TEST_SHADERS, TAVO_TEST_DECLARATIONS);
  }

  static void set_source(miTag source, float s) {
    host::Instance *inst = renderer().instance(source);
    std::memcpy(inst->parameters() + inst->shader->decl.parameter("s")->offset, &s, sizeof s);
  }

  struct Calls {
    miColor first, second;
  };
  // gamma is 2 at init and for the first call, 4 for the second
  static Calls run(const char *precompute) {
    const miTag gamma = renderer().create_instance("test_source", {scalar("s", 2)});
    const miTag cc = renderer().create_instance(
        "tavo_Utility_ColorCorrection",
        {colour("input", {0.0625f, 0.00390625f, 1, 4}), link("gamma", gamma, "s"), value("precompute", {precompute})});
    host::ShadingState s;
    renderer().init_instance(cc, s.state);
    Calls calls{};
    EXPECT_TRUE(renderer().call(cc, &calls.first, s.state));
    set_source(gamma, 4);
    EXPECT_TRUE(renderer().call(cc, &calls.second, s.state));
    renderer().exit_all(s.state);
    EXPECT_EQ(renderer().held_bytes(), 0u);
    return calls;
  }
};

TEST_F(Precompute, OnFreezesTheAdjustmentsAtInit) {
  const Calls calls = run("on");
  EXPECT_EQ(bits(calls.first), bits(miColor{0.25f, 0.0625f, 1, 2}));
  EXPECT_EQ(bits(calls.second), bits(calls.first));
}

TEST_F(Precompute, OffFollowsTheConnectionOnEveryCall) {
  const Calls calls = run("off");
  EXPECT_EQ(bits(calls.first), bits(miColor{0.25f, 0.0625f, 1, 2}));
  expect_near(calls.second, {0.5f, 0.25f, 1, std::sqrt(2.0f)}, 1e-6f, "gamma 4");
}

TEST_F(Precompute, HighlightParametersAreAlwaysReadPerCall) {
  const miTag multiplier = renderer().create_instance("test_source", {scalar("s", 2)});
  const miTag cc = renderer().create_instance(
      "tavo_Utility_ColorCorrection",
      {colour("input", {2, 2, 2, 1}), value("precompute", {"on"}), scalar("highlight", 1),
       link("highlight_multiplier", multiplier, "s"), scalar("highlight_threshold", 0.5f),
       scalar("highlight_exponent", 1)});
  host::ShadingState s;
  renderer().init_instance(cc, s.state);
  miColor out{};
  ASSERT_TRUE(renderer().call(cc, &out, s.state));
  EXPECT_EQ(bits(out), bits(miColor{4, 4, 4, 1}));
  set_source(multiplier, 3);
  ASSERT_TRUE(renderer().call(cc, &out, s.state));
  EXPECT_EQ(bits(out), bits(miColor{6, 6, 6, 1}));
}

}  // namespace
}  // namespace tavo::test
