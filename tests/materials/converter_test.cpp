// What every material converter shares: the ready record's life cycle and
// memory tag, the shader-level init, copy-out that does not depend on the
// state, the map pass-through pair and the map mode, the scene unit and the
// five length forms built on it.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "declarations.h"
#include "materials/converter_fixture.h"
#include "materials/tavo_Shd_Ceramic_spider.h"
#include "materials/tavo_Shd_Concrete_spider.h"
#include "materials/tavo_Shd_Glazing_spider.h"
#include "materials/tavo_Shd_Metal_spider.h"
#include "materials/tavo_Shd_SolidGlass_spider.h"
#include "materials/tavo_Shd_Water_spider.h"

namespace tavo::test {
namespace {

constexpr std::size_t kNone = SIZE_MAX;

struct Converter {
  const char *shader;
  std::size_t ready_size;
  std::size_t custom_map_on;  // parameter offset, kNone without the pair
  std::size_t custom_map;     // result offset
  std::size_t map_mode;       // result offset, kNone without map mode
  std::vector<Assignment> typical;  // parameters that exercise most of the init
};

const std::vector<Converter> &converters() {
  static const std::vector<Converter> all = {
      {"tavo_Shd_Ceramic_spider", sizeof(ceramic::Ready), offsetof(ceramic::Params, custom_map_on),
       offsetof(ceramic::Ready, custom_map), offsetof(ceramic::Ready, map_mode),
       {value("type", {"1"}), value("finish", {"1"}), value("bump_height_mm", {"2"}),
        value("color", {"0.2", "0.4", "0.8", "1"})}},
      {"tavo_Shd_Metal_spider", sizeof(metal::Ready), offsetof(metal::Params, custom_map_on),
       offsetof(metal::Ready, custom_map), offsetof(metal::Ready, map_mode),
       {value("type", {"3"}), value("patina", {"0.3"}), value("finish", {"2"}), value("pattern", {"2"}),
        value("feature_size", {"0.25"})}},
      {"tavo_Shd_SolidGlass_spider", sizeof(solid_glass::Ready), offsetof(solid_glass::Params, custom_map_on),
       offsetof(solid_glass::Ready, custom_map), kNone,
       {value("glass_color", {"6"}), value("custom_color", {"0.3", "0.5", "0.7", "1"}),
        value("front_reflectance", {"0.2"}), value("roughness", {"0.1"})}},
      {"tavo_Shd_Glazing_spider", sizeof(glazing::Ready), kNone, 0, kNone,
       {value("layer_count", {"2"}), value("glass_color", {"6"}), value("custom_color", {"0.3", "0.5", "0.7", "1"}),
        value("front_reflectance", {"0.08"})}},
  };
  return all;
}

using Words = std::array<std::uint32_t, 64>;  // room for the largest ready record
static_assert(sizeof(metal::Ready) <= sizeof(Words));

std::vector<std::uint32_t> words_of(const host::CallResult &call, std::size_t size) {
  return {call.result.begin(), call.result.begin() + static_cast<std::ptrdiff_t>(size / 4)};
}

std::uint32_t word_at(const host::CallResult &call, std::size_t offset) { return call.result[offset / 4]; }

using ConverterFrame = ConverterTest;

// Every converter the declarations file lists (each result is its ready record;
// the mirror has none and keeps nothing).
std::vector<host::ShaderDeclaration> declared_converters() {
  std::vector<host::ShaderDeclaration> out;
  for (auto &d : host::read_declarations(TAVO_DECLARATIONS)) {
    if (d.name.rfind("tavo_Shd_", 0) == 0 && d.name != "tavo_Shd_Mirror_spider") out.push_back(std::move(d));
  }
  return out;
}

const host::Field *field(const host::Type &record, const std::string &name) {
  for (const host::Field &f : record.fields) {
    if (f.name == name) return &f;
  }
  return nullptr;
}

TEST_F(ConverterFrame, TheReadyRecordLivesFromInitToExitUnderTheSourceFileName) {
  const auto all = declared_converters();
  ASSERT_EQ(all.size(), 14u);
  for (const host::ShaderDeclaration &d : all) {
    SCOPED_TRACE(d.name);
    renderer().reset();
    renderer().load_library(TAVO_LIBRARY, TAVO_DECLARATIONS);
    const miTag tag = renderer().create_instance(d.name, {});
    {
      host::ShadingState init;
      renderer().init_instance(tag, init.state);
    }
    EXPECT_EQ(renderer().held_bytes(tag), d.result.size());
    EXPECT_NE(renderer().instance(tag)->user_pointer, nullptr);
    host::ShadingState done;
    renderer().exit_instance(tag, done.state);
    renderer().exit_shaders(done.state);
    EXPECT_EQ(renderer().held_bytes(), 0u);
    const auto releases = renderer().releases();
    ASSERT_EQ(releases.size(), 1u);
    EXPECT_EQ(releases[0].file, d.name);
    EXPECT_TRUE(renderer().messages().empty());
  }
}

// Parameters read at init change nothing once the instance is ready: every
// parameter but the map pair is overwritten between two calls, and only the
// map (switched on) differs. The glass converters refresh fields per call and
// have tests of their own.
TEST_F(ConverterFrame, ParametersChangedAfterInitChangeOnlyTheMap) {
  for (const host::ShaderDeclaration &d : declared_converters()) {
    if (d.name == "tavo_Shd_SolidGlass_spider" || d.name == "tavo_Shd_Glazing_spider") continue;
    SCOPED_TRACE(d.name);
    const host::Field *map = field(d.result, "custom_map");
    std::vector<Assignment> assignments;
    if (map) assignments.push_back(value("custom_map", {"17"}));
    LiveInstance live(d.name, assignments);
    const Words before = live.call<Words>();
    for (const host::Field &f : d.parameters.fields) {
      if (f.name == "custom_map") continue;
      for (std::size_t at = 0; at < f.type.size(); at += 4) live.set<std::uint32_t>(f.offset + at, 0x3F000001u);
      if (f.name == "custom_map_on") live.set<miBoolean>(f.offset, miTRUE);
    }
    Words after = live.call<Words>(miRAY_SHADOW);
    if (map) {
      EXPECT_EQ(before[map->offset / 4], 0u);
      EXPECT_EQ(after[map->offset / 4], 17u);
      after[map->offset / 4] = 0;
    }
    const std::size_t words = d.result.size() / 4;
    EXPECT_TRUE(std::equal(before.begin(), before.begin() + words, after.begin()));
  }
}

TEST_F(ConverterFrame, TheShaderLevelInitAndExitOnlyAnswerTheProtocol) {
  for (const Converter &c : converters()) {
    SCOPED_TRACE(c.shader);
    const host::Function *fn = renderer().function(c.shader);
    ASSERT_NE(fn, nullptr);
    ASSERT_NE(fn->init, nullptr);
    ASSERT_NE(fn->exit, nullptr);
    host::ShadingState state;
    miBoolean request = miFALSE;
    fn->init(&state.state, nullptr, &request);
    EXPECT_EQ(request, miTRUE);
    fn->exit(&state.state, nullptr);
    EXPECT_EQ(renderer().held_bytes(), 0u);
    EXPECT_TRUE(renderer().releases().empty());
  }
}

// The eye and shadow calls see different states; only glazing's reflectance
// depends on the ray.
TEST_F(ConverterFrame, CallsWithDifferentStatesAgreeExceptInPerCallFields) {
  for (const Converter &c : converters()) {
    SCOPED_TRACE(c.shader);
    const miTag tag = renderer().create_instance(c.shader, c.typical);
    const auto calls = renderer().run(tag, {miRAY_EYE, miRAY_REFLECT, miRAY_SHADOW});
    EXPECT_EQ(renderer().held_bytes(), 0u);
    EXPECT_EQ(words_of(calls[0], c.ready_size), words_of(calls[1], c.ready_size));
    auto eye = words_of(calls[0], c.ready_size);
    auto shadow = words_of(calls[2], c.ready_size);
    if (std::string(c.shader) == "tavo_Shd_Glazing_spider") {
      const std::size_t first = offsetof(glazing::Ready, reflectance_color) / 4;
      for (std::size_t k = first; k < first + 4; ++k) {
        if (k < first + 3) {
          EXPECT_NE(eye[k], shadow[k]);  // r, g, b; both alphas are 0
        }
        eye[k] = shadow[k] = 0;
      }
    }
    EXPECT_EQ(eye, shadow);
  }
}

struct PassThroughCase {
  std::vector<std::string> on;  // empty: the declared default
  std::vector<std::string> map;
  miTag expected;
};

TEST_F(ConverterFrame, TheMapPassesThroughOnlyWhileItsSwitchIsOn) {
  const PassThroughCase cases[] = {
      {{"false"}, {"42"}, 0}, {{"true"}, {"42"}, 42}, {{"5"}, {"42"}, 42},
      {{"true"}, {}, 0},      {{}, {"42"}, 0},         {{"-1"}, {"4000000000"}, 4000000000u},
  };
  int with_map = 0;
  for (const host::ShaderDeclaration &d : declared_converters()) {
    const host::Field *map = field(d.result, "custom_map");
    if (!map || !d.parameter("custom_map_on")) continue;
    ++with_map;
    for (const PassThroughCase &p : cases) {
      SCOPED_TRACE(d.name + " on=" + (p.on.empty() ? "default" : p.on[0]));
      std::vector<Assignment> assignments;
      if (!p.on.empty()) assignments.push_back(value("custom_map_on", p.on));
      if (!p.map.empty()) assignments.push_back(value("custom_map", p.map));
      const miTag tag = renderer().create_instance(d.name, assignments);
      EXPECT_EQ(word_at(renderer().run(tag, {miRAY_EYE})[0], map->offset), p.expected);
    }
  }
  EXPECT_EQ(with_map, 10);
}

TEST_F(ConverterFrame, TheMapSwitchIsReadOnEveryCall) {
  for (const Converter &c : converters()) {
    if (c.custom_map_on == kNone) continue;
    SCOPED_TRACE(c.shader);
    std::vector<Assignment> assignments = c.typical;
    assignments.push_back(value("custom_map", {"17"}));
    {
      LiveInstance live(c.shader, assignments);
      live.set<miBoolean>(c.custom_map_on, miTRUE);
      const auto on = live.call<Words>();
      live.set<miBoolean>(c.custom_map_on, miFALSE);
      const auto off = live.call<Words>();
      live.set<miBoolean>(c.custom_map_on, miTRUE);
      const auto again = live.call<Words>();
      EXPECT_EQ(on[c.custom_map / 4], 17u);
      EXPECT_EQ(off[c.custom_map / 4], 0u);
      EXPECT_EQ(again[c.custom_map / 4], 17u);
    }
    EXPECT_EQ(renderer().held_bytes(), 0u);
  }
}

TEST_F(ConverterFrame, MapModeIsTwoWhenSwitchedOnElseOneNeverZero) {
  const std::pair<std::vector<std::string>, miInteger> cases[] = {
      {{"false"}, 1}, {{"true"}, 2}, {{"7"}, 2}, {{"-3"}, 2}, {{}, 1}};
  for (const host::ShaderDeclaration &d : declared_converters()) {
    const host::Field *mode = field(d.result, "map_mode");
    if (!mode) continue;
    for (const auto &[on, expected] : cases) {
      SCOPED_TRACE(d.name + " map_mode_on=" + (on.empty() ? "default" : on[0]));
      std::vector<Assignment> assignments;
      if (!on.empty()) assignments.push_back(value("map_mode_on", on));
      const miTag tag = renderer().create_instance(d.name, assignments);
      EXPECT_EQ(static_cast<miInteger>(word_at(renderer().run(tag, {miRAY_EYE})[0], mode->offset)), expected);
    }
  }
}

// ---- scene unit and the five length forms -------------------------------------

struct UnitCase {
  SceneChoice unit_scale;  // nullopt: no scene record at all
  int scene_flag;
  float u;                 // scene units per metre expected from it
};

class SceneUnit : public ConverterTest, public ::testing::WithParamInterface<UnitCase> {};

// Each form once, through a converter that uses it, in the exact float form
// that makes results agree to the bit.
TEST_P(SceneUnit, TheFiveLengthFormsUseTheUnitFactor) {
  const UnitCase c = GetParam();
  use_scene(c.unit_scale, c.scene_flag, 1234);
  const ceramic::Ready ceramic =
      run<ceramic::Ready>("tavo_Shd_Ceramic_spider", {value("type", {"1"}), value("bump_height_mm", {"2.5"})});
  EXPECT_EQ(ceramic.texture_scale, 39.37008f / c.u);             // inches per scene unit: k / u
  EXPECT_EQ(ceramic.bump_height, 2.5f / 1000.0f * c.u);          // millimetres
  EXPECT_EQ(ceramic.bump_vector_x, ceramic.bump_height * 3.0f);
  EXPECT_EQ(ceramic.scene_value, c.unit_scale ? 1234 : 0);       // 0 without a record to copy from
  const concrete::Ready concrete = run<concrete::Ready>("tavo_Shd_Concrete_spider", {value("feature_size", {"0.3"})});
  EXPECT_EQ(concrete.length_14in, c.u * 0.3556f);                // metres
  const bool flag_off = !c.unit_scale || c.scene_flag == 0;      // no record: the flag counts as 0
  EXPECT_EQ(concrete.feature_size, flag_off ? 0.3f * (1.0f / (c.u * 0.508f)) : 0.3f);
  const water::Ready water = run<water::Ready>("tavo_Shd_Water_spider", {value("water_type", {"2"})});
  EXPECT_EQ(water.falloff_distance, 120.0f / 39.37008f * c.u);   // inches as a value
  EXPECT_EQ(water.wave_length_min, 1.5f / 39.37008f * c.u);
}

INSTANTIATE_TEST_SUITE_P(Units, SceneUnit,
                         ::testing::Values(UnitCase{std::nullopt, 1, 1.0f}, UnitCase{0.0f, 0, 1.0f},
                                           UnitCase{-0.0f, 0, 1.0f}, UnitCase{-2.0f, 0, 1.0f},
                                           UnitCase{1.0f, 0, 1.0f}, UnitCase{0.0254f, 0, 1.0f / 0.0254f},
                                           UnitCase{0.001f, 0, 1.0f / 0.001f}, UnitCase{0.0254f, 1, 1.0f / 0.0254f},
                                           UnitCase{1.0f, -1, 1.0f},
                                           // where k * unit_scale or L / unit_scale would round differently
                                           UnitCase{1.7f, 0, 1.0f / 1.7f}, UnitCase{0.17f, 0, 1.0f / 0.17f}));

// One scene unit per inch gives the lengths' inches back.
TEST_F(ConverterFrame, AnInchUnitGivesTheInchesBack) {
  use_scene(0.0254f);
  const ceramic::Ready ceramic = run<ceramic::Ready>("tavo_Shd_Ceramic_spider", {});
  EXPECT_NEAR(ceramic.texture_scale, 1.0f, 1e-6f);
  EXPECT_NEAR(ceramic.pattern_scale_u, 0.3f, 1e-6f);
  const water::Ready water = run<water::Ready>("tavo_Shd_Water_spider", {value("water_type", {"4"})});
  EXPECT_NEAR(water.falloff_distance, 144.0f, 1e-4f);
}

}  // namespace
}  // namespace tavo::test
