// Unit scaling between metres and scene units.
#include <gtest/gtest.h>

#include <string>

#include <cmath>
#include <limits>
#include <optional>

#include "host_fixture.h"
#include "platform.h"
#include "layout_registry.h"
#include "scene/unit_scaling.h"

namespace tavo::test {
namespace {

using unit_scaling::InstanceData;
using unit_scaling::Params;
TAVO_LAYOUT("tavo_scale_meters_to_internal", Parameters, Params, TAVO_FIELD(Params, value));
TAVO_LAYOUT("tavo_scale_internal_to_meters", Parameters, Params, TAVO_FIELD(Params, value));
TAVO_LAYOUT("tavo_scale_meters_to_internal_inverse", Parameters, Params, TAVO_FIELD(Params, value));

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();

class UnitScaling : public HostTest {
 protected:
  float scale(const char *shader, float v) {
    const float result = eval<float>(shader, {value("value", {host_word(v)})});
    EXPECT_EQ(renderer().held_bytes(), 0u) << shader;
    return result;
  }
  static std::string host_word(float v) {
    char text[32];
    std::snprintf(text, sizeof text, "%.9g", static_cast<double>(v));
    return text;
  }
};

struct Case {
  const char *shader;
  float unit_scale;  // NaN stands for "no scene record"
  float value;
  float expected;
};

// Expected values are written as the float arithmetic the shaders must do.
TEST_F(UnitScaling, ConvertsWithTheSceneUnit) {
  const float inch = 0.0254f;
  const Case cases[] = {
      {"tavo_scale_meters_to_internal", inch, 1.0f, (1.0f / inch) * 1.0f},
      {"tavo_scale_meters_to_internal", inch, 2.5f, (1.0f / inch) * 2.5f},
      {"tavo_scale_internal_to_meters", inch, 39.37008f, inch * 39.37008f},
      {"tavo_scale_meters_to_internal_inverse", inch, 1.0f, 1.0f / ((1.0f / inch) * 1.0f)},
      {"tavo_scale_meters_to_internal", 0.001f, 3.0f, (1.0f / 0.001f) * 3.0f},
      {"tavo_scale_internal_to_meters", 100.0f, -2.0f, -200.0f},
      {"tavo_scale_meters_to_internal_inverse", 0.5f, 4.0f, 1.0f / (2.0f * 4.0f)},
  };
  for (const Case &c : cases) {
    renderer().set_scene(scene_with_unit_scale(c.unit_scale));
    EXPECT_EQ(scale(c.shader, c.value), c.expected) << c.shader << " unit_scale " << c.unit_scale;
  }
  renderer().set_scene(scene_with_unit_scale(inch));
  EXPECT_NEAR(scale("tavo_scale_meters_to_internal", 1.0f), 39.3700787f, 1e-5f);
}

TEST_F(UnitScaling, AnUnusableSceneUnitMakesEveryConversionTheIdentity) {
  for (const std::optional<float> unit_scale : {std::optional<float>{}, std::optional{0.0f}, std::optional{-0.0f},
                                                std::optional{-1.0f}, std::optional{-kInf}, std::optional{kNaN}}) {
    if (unit_scale) renderer().set_scene(scene_with_unit_scale(*unit_scale));
    else renderer().clear_scene();
    const float shown = unit_scale.value_or(1.0f);
    EXPECT_EQ(scale("tavo_scale_meters_to_internal", 2.5f), 2.5f) << shown;
    EXPECT_EQ(scale("tavo_scale_internal_to_meters", 2.5f), 2.5f) << shown;
    EXPECT_EQ(scale("tavo_scale_meters_to_internal_inverse", 4.0f), 0.25f) << shown;
  }
}

TEST_F(UnitScaling, InverseNeverDividesByZero) {
  renderer().set_scene(scene_with_unit_scale(0.0254f));
  EXPECT_EQ(scale("tavo_scale_meters_to_internal_inverse", 0.0f), 1.0f);
  EXPECT_EQ(scale("tavo_scale_meters_to_internal_inverse", -0.0f), 1.0f);
  // a scale so large that 1 / unit_scale is 0: the factor is 0 and the answer 1
  renderer().set_scene(scene_with_unit_scale(kInf));
  EXPECT_EQ(scale("tavo_scale_meters_to_internal", 5.0f), 0.0f);
  EXPECT_EQ(scale("tavo_scale_meters_to_internal_inverse", 5.0f), 1.0f);
  // the product is formed first: it can overflow to infinity, giving 0
  renderer().set_scene(scene_with_unit_scale(1e-30f));
  EXPECT_EQ(scale("tavo_scale_meters_to_internal_inverse", 1e10f), 0.0f);
}

TEST_F(UnitScaling, ValueIsReadOnEveryCallFactorOnlyAtInit) {
  renderer().set_scene(scene_with_unit_scale(0.5f));
  const miTag tag = renderer().create_instance("tavo_scale_internal_to_meters", {value("value", {"3"})});
  host::ShadingState s;
  renderer().init_instance(tag, s.state);
  renderer().set_scene(scene_with_unit_scale(10.0f));  // too late for this instance
  float *value = reinterpret_cast<float *>(renderer().instance(tag)->parameters());
  float out = 0.0f;
  EXPECT_TRUE(renderer().call(tag, &out, s.state));
  EXPECT_EQ(out, 1.5f);
  *value = 7.0f;
  EXPECT_TRUE(renderer().call(tag, &out, s.state));
  EXPECT_EQ(out, 3.5f);
  renderer().exit_instance(tag, s.state);
  EXPECT_EQ(renderer().held_bytes(), 0u);
  EXPECT_EQ(renderer().instance(tag)->user_pointer, nullptr);  // full exit clears the slot
}

TEST_F(UnitScaling, ValueMayComeFromAnotherShader) {
  renderer().set_scene(scene_with_unit_scale(0.25f));
  const miTag metres = renderer().create_instance("tavo_scale_internal_to_meters", {value("value", {"8"})});
  const miTag back = renderer().create_instance("tavo_scale_meters_to_internal", {link("value", metres)});
  const auto calls = renderer().run(back, {miRAY_EYE, miRAY_SHADOW});
  ASSERT_EQ(calls.size(), 2u);
  for (const auto &call : calls) {
    float out;
    std::memcpy(&out, call.result.data(), sizeof out);
    EXPECT_EQ(out, 8.0f);
    EXPECT_TRUE(call.returned);
  }
  EXPECT_EQ(renderer().held_bytes(), 0u);
}

TEST_F(UnitScaling, ShaderLevelInitOnlyRequestsInstanceInits) {
  std::string why;
  void *lib = host::platform::load_module(TAVO_LIBRARY, why);
  ASSERT_NE(lib, nullptr) << why;
  using Init = void (*)(miState *, void *, miBoolean *);
  using Exit = void (*)(miState *, void *);
  for (const char *name :
       {"tavo_scale_meters_to_internal", "tavo_scale_internal_to_meters", "tavo_scale_meters_to_internal_inverse"}) {
    const auto init = reinterpret_cast<Init>(host::platform::find_symbol(lib, (std::string(name) + "_init").c_str()));
    const auto exit = reinterpret_cast<Exit>(host::platform::find_symbol(lib, (std::string(name) + "_exit").c_str()));
    ASSERT_NE(init, nullptr);
    ASSERT_NE(exit, nullptr);
    miBoolean request = miFALSE;
    host::ShadingState s;
    init(&s.state, nullptr, &request);
    EXPECT_EQ(request, miTRUE);
    exit(&s.state, nullptr);
    EXPECT_EQ(renderer().held_bytes(), 0u);
    EXPECT_TRUE(renderer().releases().empty());
  }
}

}  // namespace
}  // namespace tavo::test
