// The hardwood converter: the two choices, the finish table with the defaults
// it leaves in place, and the three board lengths in scene units.
#include <gtest/gtest.h>

#include <string>

#include "layout_registry.h"
#include "materials/converter_fixture.h"
#include "materials/tavo_Shd_Hardwood_spider.h"

namespace tavo::test {
namespace {

using hardwood::Params;
using hardwood::Ready;

TAVO_LAYOUT("tavo_Shd_Hardwood_spider", Parameters, Params, TAVO_FIELD(Params, choice_a), TAVO_FIELD(Params, finish),
            TAVO_FIELD(Params, choice_b), TAVO_FIELD(Params, custom_map_on), TAVO_FIELD(Params, custom_map),
            TAVO_FIELD(Params, map_mode_on));
TAVO_LAYOUT("tavo_Shd_Hardwood_spider", Result, Ready, TAVO_FIELD(Ready, choice_a_value),
            TAVO_FIELD(Ready, choice_b_value), TAVO_FIELD(Ready, finish_extra), TAVO_FIELD(Ready, finish_weight),
            TAVO_FIELD(Ready, finish_flag), TAVO_FIELD(Ready, finish_gloss), TAVO_FIELD(Ready, finish_c),
            TAVO_FIELD(Ready, finish_b), TAVO_FIELD(Ready, finish_curve), TAVO_FIELD(Ready, finish_switch),
            TAVO_FIELD(Ready, length_14in), TAVO_FIELD(Ready, length_6in), TAVO_FIELD(Ready, length_24in),
            TAVO_FIELD(Ready, custom_map), TAVO_FIELD(Ready, map_mode));

constexpr const char *kShader = "tavo_Shd_Hardwood_spider";

using Hardwood = ConverterTest;

struct FinishCase {
  const char *finish;
  float extra, weight;
  miInteger flag;
  float gloss, c, b, curve;
  miInteger finish_switch;
};

TEST_F(Hardwood, TheFinishSetsSevenFieldsAndLeavesTheDefaults) {
  const FinishCase cases[] = {
      {"0", 0.0f, 1.0f, 0, 0.7f, 0.1f, 0.7f, 2.0f, 1},
      {"2", 0.0f, 1.0f, 0, 0.375f, 0.1f, 0.625f, 2.5f, 0},
      {"3", 0.2f, 1.0f, 1, 0.275f, 0.125f, 0.6f, 3.0f, 0},
      // unlisted: the table's fields stay 0, the defaults stand
      {"4", 0.0f, 0.0f, 0, 0.0f, 0.0f, 0.0f, 0.0f, 1},
      {"-1", 0.0f, 0.0f, 0, 0.0f, 0.0f, 0.0f, 0.0f, 1},
  };
  for (const FinishCase &c : cases) {
    SCOPED_TRACE(std::string("finish ") + c.finish);
    const Ready r = run<Ready>(kShader, {value("finish", {c.finish})});
    EXPECT_EQ(r.finish_extra, c.extra);
    EXPECT_EQ(r.finish_weight, c.weight);
    EXPECT_EQ(r.finish_flag, c.flag);
    EXPECT_EQ(r.finish_gloss, c.gloss);
    EXPECT_EQ(r.finish_c, c.c);
    EXPECT_EQ(r.finish_b, c.b);
    EXPECT_EQ(r.finish_curve, c.curve);
    EXPECT_EQ(r.finish_switch, c.finish_switch);
  }
}

struct ChoiceCase {
  const char *choice;
  float a_value;  // as choice_a
  float b_value;  // as choice_b
};

TEST_F(Hardwood, EachChoiceSelectsItsValue) {
  const ChoiceCase cases[] = {
      {"0", 0.0f, 0.2f}, {"1", 0.5f, 0.0f}, {"2", 0.0f, 0.0f}, {"-1", 0.0f, 0.0f}, {"2147483647", 0.0f, 0.0f},
  };
  for (const ChoiceCase &c : cases) {
    SCOPED_TRACE(std::string("choice ") + c.choice);
    // each choice acts alone: the other one is left unlisted
    const Ready a = run<Ready>(kShader, {value("choice_a", {c.choice}), value("choice_b", {"5"})});
    EXPECT_EQ(a.choice_a_value, c.a_value);
    EXPECT_EQ(a.choice_b_value, 0.0f);
    const Ready b = run<Ready>(kShader, {value("choice_a", {"5"}), value("choice_b", {c.choice})});
    EXPECT_EQ(b.choice_a_value, 0.0f);
    EXPECT_EQ(b.choice_b_value, c.b_value);
  }
}

}  // namespace
}  // namespace tavo::test
