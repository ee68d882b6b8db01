// The plastic and vinyl converter: its nine-cell preset table, the four values
// only the second type sets, and no dependence on the scene.
#include <gtest/gtest.h>

#include <string>

#include "layout_registry.h"
#include "materials/converter_fixture.h"
#include "materials/tavo_Shd_PlasticVinyl_spider.h"

namespace tavo::test {
namespace {

using plastic_vinyl::Params;
using plastic_vinyl::Ready;

TAVO_LAYOUT("tavo_Shd_PlasticVinyl_spider", Parameters, Params, TAVO_FIELD(Params, type), TAVO_FIELD(Params, finish),
            TAVO_FIELD(Params, custom_map_on), TAVO_FIELD(Params, custom_map), TAVO_FIELD(Params, map_mode_on));
TAVO_LAYOUT("tavo_Shd_PlasticVinyl_spider", Result, Ready, TAVO_FIELD(Ready, roughness),
            TAVO_FIELD(Ready, reflectivity), TAVO_FIELD(Ready, glossiness), TAVO_FIELD(Ready, preset_a),
            TAVO_FIELD(Ready, reflection_curve), TAVO_FIELD(Ready, preset_b), TAVO_FIELD(Ready, preset_c),
            TAVO_FIELD(Ready, preset_switch), TAVO_FIELD(Ready, preset_d), TAVO_FIELD(Ready, custom_map),
            TAVO_FIELD(Ready, map_mode));

constexpr const char *kShader = "tavo_Shd_PlasticVinyl_spider";

using PlasticVinyl = ConverterTest;

struct PresetCase {
  const char *type;
  const char *finish;
  float roughness, reflectivity, glossiness, preset_a, reflection_curve, preset_b, preset_c;
  miInteger preset_switch;
  float preset_d;
};

TEST_F(PlasticVinyl, TypeAndFinishSelectACell) {
  const PresetCase cases[] = {
      {"0", "0", 0.0f, 0.6f, 0.8f, 0.1f, 3.0f, 0, 0, 0, 0},
      {"1", "0", 0.0f, 0.6f, 0.8f, 0.15f, 1.5f, 0.975f, 0.975f, 0, 0.0f},
      {"1", "2", 0.3f, 0.65f, 0.2f, 0.15f, 1.5f, 0.875f, 0.2f, 1, 0.4f},
      {"2", "1", 0.1f, 0.65f, 0.465f, 0.1f, 2.5f, 0, 0, 0, 0},
      // outside the table: nothing, not even the second type's values
      {"3", "0", 0, 0, 0, 0, 0, 0, 0, 0, 0},
      {"-1", "1", 0, 0, 0, 0, 0, 0, 0, 0, 0},
      {"1", "3", 0, 0, 0, 0, 0, 0, 0, 0, 0},
      {"1", "-1", 0, 0, 0, 0, 0, 0, 0, 0, 0},
  };
  for (const PresetCase &c : cases) {
    SCOPED_TRACE(std::string("type ") + c.type + " finish " + c.finish);
    for (const char *map_mode_on : {"false", "true"}) {
      const Ready r = run<Ready>(kShader, {value("type", {c.type}), value("finish", {c.finish}),
                                           value("map_mode_on", {map_mode_on})});
      EXPECT_EQ(r.roughness, c.roughness);
      EXPECT_EQ(r.reflectivity, c.reflectivity);
      EXPECT_EQ(r.glossiness, c.glossiness);
      EXPECT_EQ(r.preset_a, c.preset_a);
      EXPECT_EQ(r.reflection_curve, c.reflection_curve);
      EXPECT_EQ(r.preset_b, c.preset_b);
      EXPECT_EQ(r.preset_c, c.preset_c);
      EXPECT_EQ(r.preset_switch, c.preset_switch);
      EXPECT_EQ(r.preset_d, c.preset_d);
      // the map mode is set whatever the table did
      EXPECT_EQ(r.map_mode, std::string(map_mode_on) == "true" ? 2 : 1);
    }
  }
}

TEST_F(PlasticVinyl, TheSceneChangesNothing) {
  const std::vector<Assignment> assignments = {value("type", {"1"}), value("finish", {"1"})};
  use_scene(std::nullopt);
  const Ready none = run<Ready>(kShader, assignments);
  for (const float unit_scale : {0.0254f, 0.001f, 0.0f}) {
    for (const int flag : {0, 1}) {
      use_scene(unit_scale, flag);
      const Ready r = run<Ready>(kShader, assignments);
      EXPECT_EQ(std::memcmp(&none, &r, sizeof r), 0) << unit_scale << " flag " << flag;
    }
  }
}

}  // namespace
}  // namespace tavo::test
