// What every material converter shares: the ready record's life cycle and
// memory tag, the shader-level init, copy-out that does not depend on the
// state, the map pass-through pair and the map mode.
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "materials/converter_fixture.h"
#include "materials/tavo_Shd_Ceramic_spider.h"
#include "materials/tavo_Shd_Glazing_spider.h"
#include "materials/tavo_Shd_Metal_spider.h"
#include "materials/tavo_Shd_SolidGlass_spider.h"

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

TEST_F(ConverterFrame, TheReadyRecordLivesFromInitToExitUnderTheSourceFileName) {
  for (const Converter &c : converters()) {
    SCOPED_TRACE(c.shader);
    renderer().reset();
    renderer().load_library(TAVO_LIBRARY, TAVO_DECLARATIONS);
    const miTag tag = renderer().create_instance(c.shader, c.typical);
    {
      host::ShadingState init;
      renderer().init_instance(tag, init.state);
    }
    EXPECT_EQ(renderer().held_bytes(tag), c.ready_size);
    EXPECT_NE(renderer().instance(tag)->user_pointer, nullptr);
    host::ShadingState done;
    renderer().exit_instance(tag, done.state);
    renderer().exit_shaders(done.state);
    EXPECT_EQ(renderer().held_bytes(), 0u);
    const auto releases = renderer().releases();
    ASSERT_EQ(releases.size(), 1u);
    EXPECT_EQ(releases[0].file, c.shader);
    EXPECT_TRUE(renderer().messages().empty());
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
  for (const Converter &c : converters()) {
    if (c.custom_map_on == kNone) continue;
    for (const PassThroughCase &p : cases) {
      SCOPED_TRACE(std::string(c.shader) + " on=" + (p.on.empty() ? "default" : p.on[0]));
      std::vector<Assignment> assignments = c.typical;
      if (!p.on.empty()) assignments.push_back(value("custom_map_on", p.on));
      if (!p.map.empty()) assignments.push_back(value("custom_map", p.map));
      const miTag tag = renderer().create_instance(c.shader, assignments);
      const auto calls = renderer().run(tag, {miRAY_EYE});
      EXPECT_EQ(word_at(calls[0], c.custom_map), p.expected);
    }
  }
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
  for (const Converter &c : converters()) {
    if (c.map_mode == kNone) continue;
    for (const auto &[on, expected] : cases) {
      SCOPED_TRACE(std::string(c.shader) + " map_mode_on=" + (on.empty() ? "default" : on[0]));
      std::vector<Assignment> assignments = c.typical;
      if (!on.empty()) assignments.push_back(value("map_mode_on", on));
      const miTag tag = renderer().create_instance(c.shader, assignments);
      const auto calls = renderer().run(tag, {miRAY_EYE});
      EXPECT_EQ(static_cast<miInteger>(word_at(calls[0], c.map_mode)), expected);
    }
  }
}

}  // namespace
}  // namespace tavo::test
