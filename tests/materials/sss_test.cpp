// The subsurface scattering converter: four millimetre lengths in scene units
// and the host's pass-through value, copied unchanged.
#include <gtest/gtest.h>

#include <string>

#include "layout_registry.h"
#include "materials/converter_fixture.h"
#include "materials/tavo_Shd_SSS_spider.h"

namespace tavo::test {
namespace {

using sss::Params;
using sss::Ready;

TAVO_LAYOUT("tavo_Shd_SSS_spider", Parameters, Params, TAVO_FIELD(Params, length_1_mm),
            TAVO_FIELD(Params, length_2_mm), TAVO_FIELD(Params, length_3_mm), TAVO_FIELD(Params, length_4_mm));
TAVO_LAYOUT("tavo_Shd_SSS_spider", Result, Ready, TAVO_FIELD(Ready, length_1), TAVO_FIELD(Ready, length_2),
            TAVO_FIELD(Ready, length_3), TAVO_FIELD(Ready, length_4), TAVO_FIELD(Ready, scene_value));

constexpr const char *kShader = "tavo_Shd_SSS_spider";

using SSS = ConverterTest;

TEST_F(SSS, EachLengthIsItsMillimetresInSceneUnits) {
  // distinct per field, so a swapped field shows; sign and zero pass unchanged
  const float mm[4] = {5.0f, -2.5f, 0.0f, 1234.5f};
  const float u = 1.0f / 0.0254f;
  use_scene(0.0254f);
  const Ready r = run<Ready>(kShader, {value("length_1_mm", {word(mm[0])}), value("length_2_mm", {word(mm[1])}),
                                       value("length_3_mm", {word(mm[2])}), value("length_4_mm", {word(mm[3])})});
  EXPECT_EQ(r.length_1, mm[0] / 1000.0f * u);
  EXPECT_EQ(r.length_2, mm[1] / 1000.0f * u);
  EXPECT_EQ(r.length_3, mm[2] / 1000.0f * u);
  EXPECT_EQ(r.length_4, mm[3] / 1000.0f * u);
  // one scene unit per millimetre: the lengths come back as given
  use_scene(0.001f);
  const Ready same = run<Ready>(kShader, {value("length_1_mm", {"5"}), value("length_4_mm", {"1234.5"})});
  EXPECT_NEAR(same.length_1, 5.0f, 1e-5f);
  EXPECT_NEAR(same.length_4, 1234.5f, 1e-3f);
}

TEST_F(SSS, ScenePassThroughValueIsCopiedBitForBit) {
  for (const int passthrough : {0, 1, -1, 0x7fffffff, -2147483647 - 1, 0x3f800000, 0x7fc00001}) {
    use_scene(0.001f, 0, passthrough);
    EXPECT_EQ(run<Ready>(kShader, {}).scene_value, passthrough);
  }
  // no scene record: nothing to copy, 0
  use_scene(std::nullopt);
  EXPECT_EQ(run<Ready>(kShader, {}).scene_value, 0);
}

}  // namespace
}  // namespace tavo::test
