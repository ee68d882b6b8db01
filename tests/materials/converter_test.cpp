// What every material converter shares: the ready record's life cycle, results
// fixed once ready, the map pass-through and mode, the scene unit's length forms.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "materials/converter_fixture.h"
#include "materials/tavo_Shd_Ceramic_spider.h"
#include "materials/tavo_Shd_Concrete_spider.h"
#include "materials/tavo_Shd_Metal_spider.h"
#include "materials/tavo_Shd_SSS_spider.h"
#include "materials/tavo_Shd_SolidGlass_spider.h"
#include "materials/tavo_Shd_Stone_spider.h"
#include "materials/tavo_Shd_Water_spider.h"

namespace tavo::test {
namespace {

using Words = std::array<std::uint32_t, 64>;  // room for the largest ready record
static_assert(sizeof(metal::Ready) <= sizeof(Words));

using ConverterFrame = ConverterTest;

// A shader-level init only requests instance inits and keeps nothing, for every shader that has one. A converter's
// ready record is the size of its Ready (checked against the declarations in layout_test.cpp), kept across calls (the
// tests below call an instance twice or more) and freed at exit (the end-of-test check).
TEST_F(ConverterFrame, ShaderInitsOnlyRequestInstanceInitsAndKeepNothing) {
  ASSERT_EQ(declared_converters().size(), 15u);
  int with_init = 0;
  for (const host::ShaderDeclaration &d : declarations()) {
    SCOPED_TRACE(d.name);
    const host::Function *fn = renderer().function(d.name);
    EXPECT_EQ(fn->init == nullptr, fn->exit == nullptr);
    if (!fn->init) continue;
    ++with_init;
    host::ShadingState s;
    miBoolean request = miFALSE;
    fn->init(&s.state, nullptr, &request);
    fn->exit(&s.state, nullptr);
    EXPECT_EQ(request, miTRUE);
    EXPECT_EQ(renderer().held_bytes(), 0u);
    EXPECT_TRUE(renderer().releases().empty());
  }
  EXPECT_EQ(with_init, 29);
  EXPECT_TRUE(renderer().messages().empty());
}

// Parameters read at init change nothing once the instance is ready: every
// parameter but the map pair is overwritten between two calls with different
// states, and only the map (switched on) differs; fields nothing writes stay
// 0. The glass converters refresh fields per call and have tests of their own.
TEST_F(ConverterFrame, ParametersChangedAfterInitChangeOnlyTheMap) {
  for (const host::ShaderDeclaration &d : declared_converters()) {
    if (d.name == "tavo_Shd_SolidGlass_spider" || d.name == "tavo_Shd_Glazing_spider" || d.name == "tavo_Shd_Mirror_spider")
      continue;
    SCOPED_TRACE(d.name);
    const host::Field *map = field(d.result, "custom_map");
    std::vector<Assignment> assignments;
    if (map) assignments.push_back(value("custom_map", {"17"}));
    const miTag live = instance(d.name, assignments);
    const Words before = call<Words>(live);
    for (const host::Field &f : d.parameters.fields) {
      if (f.name == "custom_map") continue;
      for (std::size_t at = 0; at < f.type.size(); at += 4) set<std::uint32_t>(live, f.offset + at, 0x3F000001u);
      if (f.name == "custom_map_on") set<miBoolean>(live, f.offset, miTRUE);
    }
    Words after = call<Words>(live, miRAY_SHADOW);
    if (map) {
      EXPECT_EQ(before[map->offset / 4], 0u);
      EXPECT_EQ(after[map->offset / 4], 17u);
      after[map->offset / 4] = 0;
    }
    const std::size_t words = d.result.size() / 4;
    EXPECT_TRUE(std::equal(before.begin(), before.begin() + words, after.begin()));
    for (const host::Field &f : d.result.fields) {
      if (f.name.rfind("reserved", 0) == 0) {
        EXPECT_EQ(before[f.offset / 4], 0u) << f.name;
      }
    }
  }
}

struct PassThroughCase {
  std::vector<std::string> on;  // empty: the declared default
  std::vector<std::string> map;
  miTag expected;
  std::vector<std::string> mode_on;  // map_mode_on, where there is a map mode
  miInteger mode;                    // 2 when switched on, else 1, never 0
};

// The map passes only while its switch is on (read per call: see the test
// above); the map mode is read at init.
TEST_F(ConverterFrame, TheMapPassesThroughOnlyWhileItsSwitchIsOnAndTheModeIsOneOrTwo) {
  const PassThroughCase cases[] = {
      {{"false"}, {"42"}, 0, {"true"}, 2},
      {{"true"}, {"42"}, 42, {"false"}, 1},
      {{"5"}, {"42"}, 42, {"7"}, 2},
      {{"true"}, {}, 0, {"-3"}, 2},
      {{}, {"42"}, 0, {}, 1},
      {{"-1"}, {"4000000000"}, 4000000000u, {"0"}, 1},
  };
  int with_map = 0;
  for (const host::ShaderDeclaration &d : declared_converters()) {
    const host::Field *mode = field(d.result, "map_mode");
    const host::Field *map = field(d.result, "custom_map");
    if (!map || !d.parameter("custom_map_on")) continue;
    ++with_map;
    for (const PassThroughCase &p : cases) {
      SCOPED_TRACE(d.name + " on=" + (p.on.empty() ? "default" : p.on[0]));
      std::vector<Assignment> assignments;
      if (!p.on.empty()) assignments.push_back(value("custom_map_on", p.on));
      if (!p.map.empty()) assignments.push_back(value("custom_map", p.map));
      if (mode && !p.mode_on.empty()) assignments.push_back(value("map_mode_on", p.mode_on));
      const miTag tag = renderer().create_instance(d.name, assignments);
      const host::CallResult call = renderer().run(tag, {miRAY_EYE})[0];
      EXPECT_EQ(call.result[map->offset / 4], p.expected);
      if (mode) {
        EXPECT_EQ(static_cast<miInteger>(call.result[mode->offset / 4]), p.mode);
      }
    }
  }
  EXPECT_EQ(with_map, 11);
}

// Each form through converters that use it, in the exact float form that makes results agree to the bit; where the
// scene flag switches a length, both ways.
TEST_F(ConverterFrame, TheFiveLengthFormsUseTheSceneUnit) {
  const struct {
    SceneChoice unit_scale;  // nullopt: no scene record at all
    int scene_flag;
    float u;  // scene units per metre expected from it
  } units[] = {{std::nullopt, 1, 1.0f}, {0.0f, 0, 1.0f}, {-2.0f, 0, 1.0f}, {0.0254f, 0, 1.0f / 0.0254f},
               {0.0254f, 1, 1.0f / 0.0254f}, {1.0f, -1, 1.0f},
               // where k * unit_scale or L / unit_scale would round differently
               {1.7f, 0, 1.0f / 1.7f}, {0.17f, 0, 1.0f / 0.17f}};
  for (const auto &c : units) {
    SCOPED_TRACE(testing::Message() << "unit " << c.unit_scale.value_or(-99) << " flag " << c.scene_flag);
    use_scene(c.unit_scale, c.scene_flag, 1234);
    const bool flag_off = !c.unit_scale || c.scene_flag == 0;  // no record: the flag counts as 0
    const auto ceramic =
        eval<ceramic::Ready>("tavo_Shd_Ceramic_spider", {value("type", {"1"}), value("bump_height_mm", {"2.5"})});
    EXPECT_EQ(ceramic.texture_scale, 39.37008f / c.u);     // inches per scene unit: k / u
    EXPECT_EQ(ceramic.bump_height, 2.5f / 1000.0f * c.u);  // millimetres
    for (const float v : {ceramic.bump_vector_x, ceramic.bump_vector_y, ceramic.bump_vector_z})
      EXPECT_EQ(v, ceramic.bump_height * 3.0f);
    EXPECT_EQ(ceramic.scene_value, c.unit_scale ? 1234 : 0);  // 0 without a record to copy from
    const auto sss =
        eval<sss::Ready>("tavo_Shd_SSS_spider", {value("length_2_mm", {"-2.5"}), value("length_4_mm", {"7"})});
    EXPECT_EQ(sss.scene_value, c.unit_scale ? 1234 : 0);
    EXPECT_EQ(sss.length_2, -2.5f / 1000.0f * c.u);  // distinct lengths, so that a swapped field shows
    EXPECT_EQ(sss.length_4, 7.0f / 1000.0f * c.u);
    const auto concrete = eval<concrete::Ready>("tavo_Shd_Concrete_spider", {value("feature_size", {"0.3"})});
    EXPECT_EQ(concrete.length_14in, c.u * 0.3556f);  // metres
    EXPECT_EQ(concrete.feature_size, flag_off ? 0.3f * (1.0f / (c.u * 0.508f)) : 0.3f);
    const auto stone = eval<stone::Ready>("tavo_Shd_Stone_spider", {value("feature_size", {"0.75"})});
    EXPECT_EQ(stone.feature_size_a, flag_off ? (1.0f / (c.u * 0.381f)) * 0.75f : 0.75f);
    EXPECT_EQ(stone.feature_size_b, flag_off ? (1.0f / (c.u * 2.54f)) * 0.75f : 0.75f);
    const auto metal = eval<metal::Ready>("tavo_Shd_Metal_spider", {value("feature_size", {"0.75"})});
    EXPECT_EQ(metal.feature_size_10, flag_off ? metal.feature_size * 10.0f : 0.75f);
    EXPECT_EQ(metal.length_half_in, c.u * 0.0127f);
    const auto glass = eval<solid_glass::Ready>("tavo_Shd_SolidGlass_spider", {value("falloff_distance", {"3.5"})});
    EXPECT_EQ(glass.falloff_distance, flag_off ? 3.5f : 2.0f * c.u);
    EXPECT_EQ(glass.pattern_scale_v, 11.811024f / c.u);
    const auto water =
        eval<water::Ready>("tavo_Shd_Water_spider", {value("water_type", {"2"}), value("wave_height", {"4"})});
    EXPECT_EQ(water.falloff_distance, 120.0f / 39.37008f * c.u);  // inches as a value
    EXPECT_EQ(water.wave_length_min, 1.5f / 39.37008f * c.u);
    EXPECT_EQ(water.wave_height, 4.0f / 1000.0f * c.u);  // the flag plays no part here
  }
}

}  // namespace
}  // namespace tavo::test
