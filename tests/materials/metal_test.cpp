// The metal converter: the type table, the finish tables, the two patinas
// (ramp and spline for type 3, fixed for type 5), the pattern kinds, the
// unit-scaled lengths and the flag-dependent feature size.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <string>

#include "layout_registry.h"
#include "materials/converter_fixture.h"
#include "materials/tavo_Shd_Metal_spider.h"

namespace tavo::test {
namespace {

using metal::Params;
using metal::Ready;

TAVO_LAYOUT("tavo_Shd_Metal_spider", Parameters, Params, TAVO_FIELD(Params, type), TAVO_FIELD(Params, user_color),
            TAVO_FIELD(Params, patina), TAVO_FIELD(Params, finish), TAVO_FIELD(Params, pattern),
            TAVO_FIELD(Params, custom_map_on), TAVO_FIELD(Params, custom_map), TAVO_FIELD(Params, map_mode_on),
            TAVO_FIELD(Params, feature_size));
TAVO_LAYOUT("tavo_Shd_Metal_spider", Result, Ready, TAVO_FIELD(Ready, metal_a), TAVO_FIELD(Ready, metal_b),
            TAVO_FIELD(Ready, patina_bias), TAVO_FIELD(Ready, metal_c), TAVO_FIELD(Ready, finish_gloss),
            TAVO_FIELD(Ready, fixed_mode), TAVO_FIELD(Ready, metal_d), TAVO_FIELD(Ready, metal_e),
            TAVO_FIELD(Ready, finish_detail), TAVO_FIELD(Ready, reserved_1), TAVO_FIELD(Ready, reserved_2),
            TAVO_FIELD(Ready, mode_1), TAVO_FIELD(Ready, pattern_kind), TAVO_FIELD(Ready, mode_2),
            TAVO_FIELD(Ready, mode_3), TAVO_FIELD(Ready, metal_f), TAVO_FIELD(Ready, metal_color),
            TAVO_FIELD(Ready, patina_color), TAVO_FIELD(Ready, tint_color), TAVO_FIELD(Ready, metal_g),
            TAVO_FIELD(Ready, second_color), TAVO_FIELD(Ready, finish_amount_1), TAVO_FIELD(Ready, reserved_3),
            TAVO_FIELD(Ready, reserved_4), TAVO_FIELD(Ready, reserved_5), TAVO_FIELD(Ready, reserved_6),
            TAVO_FIELD(Ready, finish_amount_2), TAVO_FIELD(Ready, custom_map), TAVO_FIELD(Ready, map_mode),
            TAVO_FIELD(Ready, texture_scale_1), TAVO_FIELD(Ready, fine_scale_1), TAVO_FIELD(Ready, fine_scale_2),
            TAVO_FIELD(Ready, texture_scale_2), TAVO_FIELD(Ready, texture_scale_3),
            TAVO_FIELD(Ready, texture_scale_4), TAVO_FIELD(Ready, texture_scale_5), TAVO_FIELD(Ready, mid_scale_1),
            TAVO_FIELD(Ready, mid_scale_2), TAVO_FIELD(Ready, length_5in), TAVO_FIELD(Ready, length_half_in),
            TAVO_FIELD(Ready, patina_on), TAVO_FIELD(Ready, patina_fade), TAVO_FIELD(Ready, patina_gloss),
            TAVO_FIELD(Ready, patina_weight), TAVO_FIELD(Ready, patina_fade_2), TAVO_FIELD(Ready, patina_square),
            TAVO_FIELD(Ready, feature_size), TAVO_FIELD(Ready, feature_size_10));

constexpr const char *kShader = "tavo_Shd_Metal_spider";

using Metal = ConverterTest;

std::string text(int n) { return std::to_string(n); }

// ---- type and finish tables ---------------------------------------------------

// A finish outside 0 to 3 leaves each type's own row; the shared defaults stay.
TEST_F(Metal, AFinishOutsideTheTableLeavesTheTypeRow) {
  for (const char *finish : {"4", "-1"}) {
    SCOPED_TRACE(std::string("finish ") + finish);
    const Ready zero = run<Ready>(kShader, {value("type", {"0"}), value("finish", {finish})});
    EXPECT_COLOR_EQ(zero.metal_color, 0.957f, 0.957f, 0.957f, 0.0f);
    EXPECT_COLOR_EQ(zero.second_color, 0.25f, 0.25f, 0.25f, 0.0f);
    EXPECT_EQ(zero.mode_3, 1);
    EXPECT_EQ(zero.finish_detail, 0.1f);
    EXPECT_EQ(zero.fixed_mode, 1);
    const Ready five = run<Ready>(kShader, {value("type", {"5"}), value("finish", {finish})});
    EXPECT_EQ(five.metal_g, 1.075f);
    EXPECT_EQ(five.finish_gloss, 0.25f);
    EXPECT_EQ(five.mode_1, 3);
  }
}

TEST_F(Metal, TypeOneTakesTheUserColourAndIgnoresTheFinish) {
  for (const char *finish : {"2", "3"}) {
    SCOPED_TRACE(std::string("finish ") + finish);
    const Ready r = run<Ready>(kShader, {value("type", {"1"}), value("finish", {finish}),
                                         value("user_color", {"0.1", "0.2", "0.3", "0.4"})});
    EXPECT_COLOR_EQ(r.metal_color, 0.1f, 0.2f, 0.3f, 0.4f);
    EXPECT_EQ(r.finish_gloss, 0.3f);
    EXPECT_EQ(r.mode_1, 4);
    EXPECT_EQ(r.finish_detail, 0.1f);
    EXPECT_EQ(r.finish_amount_1, 0.0f);
  }
}

TEST_F(Metal, AnUnlistedTypeWritesOnlyTheSharedFields) {
  for (const char *type : {"8", "-1"}) {
    SCOPED_TRACE(std::string("type ") + type);
    const Ready r = run<Ready>(kShader, {value("type", {type}), value("finish", {"3"}), value("pattern", {"4"}),
                                         value("patina", {"0.5"}), value("feature_size", {"1"})});
    Ready expected{};
    expected.finish_detail = 0.1f;
    expected.metal_g = 1.0f;
    expected.fixed_mode = 1;
    expected.pattern_kind = 1;
    expected.mode_1 = 1;
    expected.map_mode = 1;
    expected.texture_scale_1 = expected.texture_scale_2 = expected.texture_scale_3 = expected.texture_scale_4 =
        expected.texture_scale_5 = 39.37008f;
    expected.fine_scale_1 = expected.fine_scale_2 = 3.937008f;
    expected.mid_scale_1 = expected.mid_scale_2 = 9.84252f;
    expected.length_5in = 0.127f;
    expected.length_half_in = 0.0127f;
    expected.feature_size = 1.0f * (1.0f / (1.0f * 0.508f));
    expected.feature_size_10 = expected.feature_size * 10.0f;
    EXPECT_EQ(std::memcmp(&r, &expected, sizeof r), 0);
  }
}

struct FinishCase {
  int type, finish;
  float metal_b, metal_c, finish_gloss, patina_gloss, finish_detail, metal_f;
  miInteger mode_1, mode_2;
  float amount_1;
};

// A finish entry overwrites some of the type's fields and keeps the others;
// finish 3 also sets metal_b, the modes and the amounts for every type.
TEST_F(Metal, TheFinishOverwritesOrKeepsTheTypeRow) {
  const FinishCase cases[] = {
      {0, 2, 0.2f, 0.8f, 0.225f, 0.0f, 0.065f, 3.0f, 0, 0, 0},  // finish detail
      {3, 1, 0.0f, 1.0f, 0.6f, 0.6f, 0.1f, 1.0f, 3, 0, 0},
      {3, 2, 0.0f, 0.8f, 0.225f, 0.225f, 0.065f, 1.0f, 3, 0, 0},  // metal_c overwritten
      {3, 3, 0.4f, 0.9f, 0.275f, 0.275f, 0.1f, 3.0f, 2, 2, 0.6f},
      {4, 3, 0.4f, 1.0f, 0.275f, 0.0f, 0.1f, 3.0f, 2, 2, 0.6f},   // metal_c and metal_f kept
      {6, 1, 0.0f, 0.8f, 0.6f, 0.0f, 0.1f, 1.0f, 3, 0, 0},
      {5, 4, 0.0f, 0.7f, 0.25f, 0.175f, 0.1f, 1.0f, 3, 0, 0},     // the patina's gloss survives
      {7, 0, 0.0f, 0.85f, 0.225f, 0.0f, 0.1f, 3.0f, 2, 2, 0.6f},  // type 7 ignores the finish
  };
  for (const FinishCase &c : cases) {
    SCOPED_TRACE("type " + text(c.type) + " finish " + text(c.finish));
    const Ready r = run<Ready>(kShader, {value("type", {text(c.type)}), value("finish", {text(c.finish)})});
    EXPECT_EQ(r.metal_b, c.metal_b);
    EXPECT_EQ(r.metal_c, c.metal_c);
    EXPECT_EQ(r.finish_gloss, c.finish_gloss);
    EXPECT_EQ(r.patina_gloss, c.patina_gloss);
    EXPECT_EQ(r.finish_detail, c.finish_detail);
    EXPECT_EQ(r.metal_f, c.metal_f);
    EXPECT_EQ(r.mode_1, c.mode_1);
    EXPECT_EQ(r.mode_2, c.mode_2);
    EXPECT_EQ(r.finish_amount_1, c.amount_1);
  }
  EXPECT_COLOR_EQ(run<Ready>(kShader, {value("type", {"0"}), value("finish", {"3"})}).metal_color, 0.808f, 0.824f,
                  0.839f, 0.0f);
  EXPECT_COLOR_EQ(run<Ready>(kShader, {value("type", {"6"}), value("finish", {"3"})}).metal_color, 0.745f, 0.737f,
                  0.729f, 0.0f);
}

// ---- patina -------------------------------------------------------------------

float b(int byte) { return static_cast<float>(byte) / 255.0f; }

constexpr miScalar kControl[11] = {0.0f, 0.82f, 0.92f, 0.96f, 0.98f, 1.0f, 1.0f, 1.0f, 1.0f, 1.0f, 1.0f};

float spline_at(float t) {
  miScalar control[11];
  std::copy(std::begin(kControl), std::end(kControl), control);
  return mi_spline(t, 11, control);
}

struct PatinaCase {
  float t;
  float ramp_r, ramp_g, ramp_b;  // the ramp colour at t, worked out by hand
  float square;
};

TEST_F(Metal, TypeThreeAgesThroughTheRampAndTheSpline) {
  const PatinaCase cases[] = {
      {0.0f, 0.737f, 0.314f, 0.184f, 0.0f},
      {1.0f, b(160), b(188), b(147), 1.0f},
      // x = 5.5: halfway between entries 5 and 6
      {0.5f, (1.0f - 0.5f) * b(70) + 0.5f * b(95), (1.0f - 0.5f) * b(44) + 0.5f * b(73),
       (1.0f - 0.5f) * b(9) + 0.5f * b(29), 0.25f},
      // x = 2.75
      {0.25f, (1.0f - 0.75f) * b(114) + 0.75f * b(99), (1.0f - 0.75f) * b(20) + 0.75f * b(25),
       (1.0f - 0.75f) * b(18) + 0.75f * b(0), 0.0625f},
      // x = 0.6875, from the constant first entry
      {0.0625f, (1.0f - 0.6875f) * 0.737f + 0.6875f * b(116), (1.0f - 0.6875f) * 0.314f + 0.6875f * b(19),
       (1.0f - 0.6875f) * 0.184f + 0.6875f * b(2), 0.00390625f},
      // outside [0, 1] only the ramp lookup is clamped
      {1.5f, b(160), b(188), b(147), 2.25f},
      {-0.25f, 0.737f, 0.314f, 0.184f, 0.0625f},
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
                    (0.314f - c.ramp_g) * (1.0f - c.t) + c.ramp_g, (0.184f - c.ramp_b) * (1.0f - c.t) + c.ramp_b,
                    0.0f);
    EXPECT_EQ(r.patina_square, c.square);
    EXPECT_EQ(r.patina_weight, 1.0f);
    EXPECT_EQ(r.patina_gloss, 0.9f);
  }
}

TEST_F(Metal, ThePatinaFadeIsShapedByTheElevenControlValues) {
  // at the knots t = k / 10 the fade is 1 minus the control value itself
  const std::pair<float, float> knots[] = {{0.0f, 1.0f}, {0.1f, 1.0f - 0.82f}, {0.2f, 1.0f - 0.92f},
                                           {0.3f, 1.0f - 0.96f}, {0.4f, 1.0f - 0.98f}, {0.5f, 0.0f}, {0.9f, 0.0f}};
  for (const auto &[t, fade] : knots) {
    const Ready r = run<Ready>(kShader, {value("type", {"3"}), value("patina", {word(t)})});
    EXPECT_EQ(r.patina_fade, fade) << "patina " << t;
  }
  // just past the last rise the spline overshoots 1: the fade is held at 0
  ASSERT_GT(spline_at(0.55f), 1.0f);
  EXPECT_EQ(run<Ready>(kShader, {value("type", {"3"}), value("patina", {"0.55"})}).patina_fade, 0.0f);
}

TEST_F(Metal, TypeFiveDarkensToAFixedPatina) {
  for (const float t : {0.0f, 0.4f}) {
    SCOPED_TRACE(testing::Message() << "patina " << t);
    const Ready r = run<Ready>(kShader, {value("type", {"5"}), value("patina", {word(t)}), value("finish", {"7"})});
    EXPECT_EQ(r.patina_on, t != 0.0f ? 1 : 0);
    EXPECT_COLOR_EQ(r.patina_color, 0.075f, 0.043f, 0.027f, 0.0f);
    EXPECT_EQ(r.patina_bias, (1.0f - t) * 2.0f - 1.0f);
    EXPECT_EQ(r.patina_fade, 0.5f);
    EXPECT_EQ(r.patina_gloss, 0.175f);
    EXPECT_EQ(r.patina_weight, 0.0f);
    EXPECT_EQ(r.patina_fade_2, 0.2f);
    EXPECT_EQ(r.patina_square, 0.0f);
  }
}

TEST_F(Metal, OtherTypesHaveNoPatina) {
  for (const int type : {2, 7}) {
    SCOPED_TRACE("type " + text(type));
    const Ready r = run<Ready>(kShader, {value("type", {text(type)}), value("patina", {"0.7"})});
    EXPECT_EQ(r.patina_on, 0);
    EXPECT_EQ(r.patina_bias, 0.0f);
    EXPECT_EQ(r.patina_fade, 0.0f);
    EXPECT_EQ(r.patina_weight, 0.0f);
    EXPECT_EQ(r.patina_square, 0.0f);
    EXPECT_COLOR_EQ(r.patina_color, 0.0f, 0.0f, 0.0f, 0.0f);
  }
}

// ---- pattern, units, feature size ---------------------------------------------

TEST_F(Metal, ThePatternSetsItsKindAndPatternFourAlsoTheFirstMode) {
  struct Case {
    int pattern, type;
    miInteger kind, mode_1;
  };
  const Case cases[] = {
      {0, 3, 0, 3}, {3, 3, 4, 3}, {4, 3, 1, 1}, {4, 1, 1, 1}, {5, 3, 0, 3}, {-1, 3, 0, 3},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE("pattern " + text(c.pattern) + " type " + text(c.type));
    const Ready r = run<Ready>(kShader, {value("type", {text(c.type)}), value("pattern", {text(c.pattern)})});
    EXPECT_EQ(r.pattern_kind, c.kind);
    EXPECT_EQ(r.mode_1, c.mode_1);
  }
}

// feature_size_10 is ten times the scaled size, or the parameter itself when
// the scene flag is set.
TEST_F(Metal, TheSceneFlagKeepsBothFeatureSizesAsGiven) {
  const float u = 1.0f / 0.0254f;
  use_scene(0.0254f);
  const Ready r = run<Ready>(kShader, {value("type", {"2"}), value("feature_size", {"0.75"})});
  EXPECT_EQ(r.feature_size, 0.75f * (1.0f / (u * 0.508f)));
  EXPECT_EQ(r.feature_size_10, r.feature_size * 10.0f);
  EXPECT_EQ(r.fine_scale_2, 3.937008f / u);
  EXPECT_EQ(r.mid_scale_1, 9.84252f / u);
  EXPECT_NEAR(r.length_5in, 5.0f, 1e-5f);
  EXPECT_NEAR(r.length_half_in, 0.5f, 1e-6f);
  use_scene(0.0254f, 1);
  const Ready flagged = run<Ready>(kShader, {value("type", {"2"}), value("feature_size", {"0.75"})});
  EXPECT_EQ(flagged.feature_size, 0.75f);
  EXPECT_EQ(flagged.feature_size_10, 0.75f);
}

TEST_F(Metal, FieldsNoStepWritesStayZero) {
  const Ready r = run<Ready>(kShader, {value("type", {"5"}), value("patina", {"1"}), value("finish", {"3"}),
                                       value("pattern", {"2"}), value("map_mode_on", {"true"})});
  EXPECT_EQ(r.reserved_1, 0);
  EXPECT_EQ(r.reserved_2, 0);
  EXPECT_EQ(r.reserved_3, 0);
  EXPECT_EQ(r.reserved_4, 0);
  EXPECT_EQ(r.reserved_5, 0);
  EXPECT_EQ(r.reserved_6, 0);
  EXPECT_EQ(r.metal_color.a, 0.0f);
  EXPECT_EQ(r.patina_color.a, 0.0f);
  EXPECT_COLOR_EQ(r.tint_color, 0.0f, 0.0f, 0.0f, 0.0f);
  EXPECT_EQ(r.second_color.a, 0.0f);
  EXPECT_EQ(r.map_mode, 2);
}

}  // namespace
}  // namespace tavo::test
