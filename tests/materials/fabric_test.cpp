// The fabric converter: the type and finish tables, each leaving its fields
// at 0 for an unlisted value, and the two millimetre sizes in scene units.
#include <gtest/gtest.h>

#include <string>

#include "layout_registry.h"
#include "materials/converter_fixture.h"
#include "materials/tavo_Shd_Fabric_spider.h"

namespace tavo::test {
namespace {

using fabric::Params;
using fabric::Ready;

TAVO_LAYOUT("tavo_Shd_Fabric_spider", Parameters, Params, TAVO_FIELD(Params, type), TAVO_FIELD(Params, finish),
            TAVO_FIELD(Params, size_1_mm), TAVO_FIELD(Params, size_2_mm));
TAVO_LAYOUT("tavo_Shd_Fabric_spider", Result, Ready, TAVO_FIELD(Ready, finish_a), TAVO_FIELD(Ready, finish_b),
            TAVO_FIELD(Ready, finish_c), TAVO_FIELD(Ready, finish_d), TAVO_FIELD(Ready, type_a),
            TAVO_FIELD(Ready, type_b), TAVO_FIELD(Ready, size_1), TAVO_FIELD(Ready, size_2));

constexpr const char *kShader = "tavo_Shd_Fabric_spider";

using Fabric = ConverterTest;

struct TableCase {
  const char *type;
  const char *finish;
  float finish_a, finish_b, finish_c, finish_d, type_a, type_b;
};

TEST_F(Fabric, TypeAndFinishSetTheirFieldsIndependently) {
  const TableCase cases[] = {
      {"0", "0", 0.6f, 0.2f, 0.2f, 1.0f, 0.35f, 0.5f},
      {"1", "1", 0.2f, 0.45f, 0.05f, 0.9f, 0.8f, 0.25f},
      // an unlisted value leaves only its own table's fields at 0
      {"2", "1", 0.2f, 0.45f, 0.05f, 0.9f, 0.0f, 0.0f},
      {"1", "-1", 0.0f, 0.0f, 0.0f, 0.0f, 0.8f, 0.25f},
      {"-2147483648", "2147483647", 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f},
  };
  for (const TableCase &c : cases) {
    SCOPED_TRACE(std::string("type ") + c.type + " finish " + c.finish);
    const Ready r = run<Ready>(kShader, {value("type", {c.type}), value("finish", {c.finish})});
    EXPECT_EQ(r.finish_a, c.finish_a);
    EXPECT_EQ(r.finish_b, c.finish_b);
    EXPECT_EQ(r.finish_c, c.finish_c);
    EXPECT_EQ(r.finish_d, c.finish_d);
    EXPECT_EQ(r.type_a, c.type_a);
    EXPECT_EQ(r.type_b, c.type_b);
  }
}

TEST_F(Fabric, SizesAreMillimetresInSceneUnits) {
  use_scene(0.0254f);
  const Ready r = run<Ready>(kShader, {value("size_1_mm", {"5"}), value("size_2_mm", {"-0.3"})});
  EXPECT_EQ(r.size_1, 5.0f / 1000.0f * (1.0f / 0.0254f));
  EXPECT_EQ(r.size_2, -0.3f / 1000.0f * (1.0f / 0.0254f));
  use_scene(0.001f);
  EXPECT_NEAR(run<Ready>(kShader, {value("size_1_mm", {"5"})}).size_1, 5.0f, 1e-6f);
}

}  // namespace
}  // namespace tavo::test
