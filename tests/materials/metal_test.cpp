// The metal's aging of type 3: the patina blends the entries of a twelve-step
// ramp around t * 11, and an eleven-value spline shapes its fade.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

#include "materials/converter_fixture.h"
#include "materials/tavo_Shd_Metal_spider.h"

namespace tavo::test {
namespace {

using metal::Ready;

constexpr const char *kShader = "tavo_Shd_Metal_spider";

using Metal = ConverterTest;

float b(int byte) { return static_cast<float>(byte) / 255.0f; }

float spline_at(float t) {
  miScalar control[11] = {0.0f, 0.82f, 0.92f, 0.96f, 0.98f, 1.0f, 1.0f, 1.0f, 1.0f, 1.0f, 1.0f};
  return mi_spline(t, 11, control);
}

struct PatinaCase {
  float t;
  float ramp_r, ramp_g, ramp_b;  // the ramp colour at t, worked out by hand
};

TEST_F(Metal, TypeThreeAgesThroughTheRampAndTheSpline) {
  const PatinaCase cases[] = {
      {0.0f, 0.737f, 0.314f, 0.184f},
      {1.0f, b(160), b(188), b(147)},  // the last entry exactly
      // x = 5.5: halfway between entries 5 and 6
      {0.5f, 0.5f * b(70) + 0.5f * b(95), 0.5f * b(44) + 0.5f * b(73), 0.5f * b(9) + 0.5f * b(29)},
      // x = 2.75
      {0.25f, (1.0f - 0.75f) * b(114) + 0.75f * b(99), (1.0f - 0.75f) * b(20) + 0.75f * b(25),
       (1.0f - 0.75f) * b(18) + 0.75f * b(0)},
      // x = 0.6875, from the constant first entry
      {0.0625f, (1.0f - 0.6875f) * 0.737f + 0.6875f * b(116), (1.0f - 0.6875f) * 0.314f + 0.6875f * b(19),
       (1.0f - 0.6875f) * 0.184f + 0.6875f * b(2)},
      // outside [0, 1] only the ramp lookup is clamped
      {1.5f, b(160), b(188), b(147)}, {-0.25f, 0.737f, 0.314f, 0.184f},
  };
  for (const PatinaCase &c : cases) {
    SCOPED_TRACE(testing::Message() << "patina " << c.t);
    const Ready r = run<Ready>(kShader, {value("type", {"3"}), value("patina", {word(c.t)}), value("finish", {"0"})});
    EXPECT_EQ(r.patina_on, c.t != 0.0f ? 1 : 0);
    EXPECT_EQ(r.patina_bias, (1.0f - c.t) * 2.0f - 1.0f);
    const float s = std::min(spline_at(c.t), 1.0f);
    EXPECT_EQ(r.patina_fade, 1.0f - s);
    EXPECT_EQ(r.patina_fade_2, 1.0f - s);
    EXPECT_COLOR_EQ(r.patina_color, (0.737f - c.ramp_r) * (1.0f - c.t) + c.ramp_r,
                    (0.314f - c.ramp_g) * (1.0f - c.t) + c.ramp_g, (0.184f - c.ramp_b) * (1.0f - c.t) + c.ramp_b, 0.0f);
    EXPECT_EQ(r.patina_square, c.t * c.t);
    EXPECT_EQ(r.patina_weight, 1.0f);
    EXPECT_EQ(r.patina_gloss, 0.9f);
  }
  // the eleven control values shape the fade: at the knots t = k / 10 it is 1 minus the value itself
  const std::pair<float, float> knots[] = {{0.1f, 1.0f - 0.82f}, {0.3f, 1.0f - 0.96f}, {0.9f, 0.0f}};
  for (const auto &[t, fade] : knots) {
    EXPECT_EQ(run<Ready>(kShader, {value("type", {"3"}), value("patina", {word(t)})}).patina_fade, fade) << t;
  }
  // just past the last rise the spline overshoots 1: the fade is held at 0
  ASSERT_GT(spline_at(0.55f), 1.0f);
  EXPECT_EQ(run<Ready>(kShader, {value("type", {"3"}), value("patina", {"0.55"})}).patina_fade, 0.0f);
}

}  // namespace
}  // namespace tavo::test
