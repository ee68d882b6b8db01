// The mirror converter: no init, no exit, no record; every call passes the
// map through on its own.
#include <gtest/gtest.h>

#include <string>

#include "layout_registry.h"
#include "materials/converter_fixture.h"
#include "materials/tavo_Shd_Mirror_spider.h"

namespace tavo::test {
namespace {

using mirror::Params;
using mirror::Result;

TAVO_LAYOUT("tavo_Shd_Mirror_spider", Parameters, Params, TAVO_FIELD(Params, custom_map_on),
            TAVO_FIELD(Params, custom_map));
TAVO_LAYOUT("tavo_Shd_Mirror_spider", Result, Result, TAVO_FIELD(Result, custom_map));

constexpr const char *kShader = "tavo_Shd_Mirror_spider";

using Mirror = ConverterTest;

TEST_F(Mirror, HasNeitherInitNorExitAndKeepsNothing) {
  const host::Function *fn = renderer().function(kShader);
  ASSERT_NE(fn, nullptr);
  EXPECT_NE(fn->main, nullptr);
  EXPECT_EQ(fn->init, nullptr);
  EXPECT_EQ(fn->exit, nullptr);
  ASSERT_NE(fn->version, nullptr);
  EXPECT_EQ(fn->version(), 1);

  const miTag tag = renderer().create_instance(kShader, {value("custom_map_on", {"true"}), value("custom_map", {"5"})});
  const auto calls = renderer().run(tag, {miRAY_EYE});
  EXPECT_EQ(calls[0].returned, miTRUE);
  EXPECT_EQ(calls[0].result[0], 5u);
  EXPECT_EQ(renderer().instance(tag)->user_pointer, nullptr);
  EXPECT_EQ(renderer().held_bytes(), 0u);
  EXPECT_TRUE(renderer().releases().empty());
}

struct PassThroughCase {
  std::vector<std::string> on;  // empty: the declared default
  std::vector<std::string> map;
  miTag expected;
};

TEST_F(Mirror, TheMapPassesThroughOnlyWhileItsSwitchIsOn) {
  const PassThroughCase cases[] = {
      {{"false"}, {"42"}, 0}, {{"true"}, {"42"}, 42},  {{"3"}, {"42"}, 42},
      {{"-1"}, {"4000000000"}, 4000000000u},          {{"true"}, {}, 0},
      {{}, {"42"}, 0},        {{"true"}, {"0"}, 0},
  };
  for (const PassThroughCase &c : cases) {
    SCOPED_TRACE("on=" + (c.on.empty() ? std::string("default") : c.on[0]));
    std::vector<Assignment> assignments;
    if (!c.on.empty()) assignments.push_back(value("custom_map_on", c.on));
    if (!c.map.empty()) assignments.push_back(value("custom_map", c.map));
    const auto results = run<Result>(kShader, assignments, {miRAY_EYE, miRAY_SHADOW});
    EXPECT_EQ(results[0].custom_map, c.expected);
    EXPECT_EQ(results[1].custom_map, c.expected);
  }
}

TEST_F(Mirror, BothParametersAreReadOnEveryCall) {
  LiveInstance live(kShader, {value("custom_map", {"17"})});
  EXPECT_EQ(live.call<Result>().custom_map, 0u);
  live.set<miBoolean>(offsetof(Params, custom_map_on), miTRUE);
  EXPECT_EQ(live.call<Result>().custom_map, 17u);
  live.set<miTag>(offsetof(Params, custom_map), 23u);
  EXPECT_EQ(live.call<Result>().custom_map, 23u);
  live.set<miBoolean>(offsetof(Params, custom_map_on), miFALSE);
  EXPECT_EQ(live.call<Result>().custom_map, 0u);
}

// A map connected to another shader's result is evaluated through the
// renderer when the switch is on.
TEST_F(Mirror, AConnectedMapIsEvaluatedThroughTheRenderer) {
  const miTag source = renderer().create_instance(kShader, {value("custom_map_on", {"true"}),
                                                            value("custom_map", {"64"})});
  for (const auto &[on, expected] : {std::pair{"true", 64u}, std::pair{"false", 0u}}) {
    SCOPED_TRACE(on);
    const miTag tag = renderer().create_instance(kShader, {value("custom_map_on", {on}),
                                                           link("custom_map", source, "custom_map")});
    const auto calls = renderer().run(tag, {miRAY_EYE});
    EXPECT_EQ(calls[0].result[0], expected);
  }
}

}  // namespace
}  // namespace tavo::test
