// Phenomena: a declared network of shaders instanced by a scene, its interface parameters reaching the shaders
// inside, and the errors a wrong network gets. Phenomena as materials show in the gallery render.
#include <cstring>

#include "scene_fixture.h"
#include "fixtures/testshader_results.h"

namespace tavo::test {
namespace {

// A pass-through phenomenon, one that feeds an array reader from its interface and a shader of its own, and a nest.
constexpr const char *kNetworks = R"(
declare phenomenon
    struct { scalar "s", color "c", integer "i" } "wrapped" ( scalar "amount" default 0.75, color "tint", integer "count" default 3 )
    shader "inner" "test_source" ( "s" = interface "amount", "c" = interface "tint", "i" = interface "count" )
    root = "inner" version 1
end declare
declare phenomenon
    struct { scalar "sum", integer "count", integer "ids", color "tint_sum", scalar "tail" } "summed" (
        array scalar "values", array struct "items" { integer "id" default 1, color "tint" default 0.5 0.5 0.5 0.5 },
        scalar "tail" )
    shader "src" "test_source" ( "i" 100 )
    shader "reader" "test_arrays" (
        "bias" = "src.i", "values" = interface "values", "items" = interface "items", "tail" = interface "tail" )
    root = "reader" version 1
end declare
declare phenomenon
    struct { scalar "s", color "c", integer "i" } "twice" ( scalar "amount" )
    shader "first" "wrapped" ( "amount" = interface "amount", "count" 9 )
    root = "first" version 1
end declare
)";

class Phenomena : public SceneTest {
 protected:
  void SetUp() override {
    SceneTest::SetUp();
    networks_ = write_file("networks.mi", kNetworks);
  }

  // A scene that has the test shaders and the networks above, then `body`.
  host::LoadedScene scene(const std::string &body) {
    return load(std::string("link \"") + TAVO_TEST_SHADERS + "\"\n$include \"" + TAVO_TEST_DECLARATIONS +
                "\"\n$include \"" + networks_ + "\"\n" + body);
  }

  std::string wrong(const std::string &body) { return error_of([&] { scene(body); }); }

  std::string networks_;
};

TEST_F(Phenomena, InterfaceParametersValuesConnectionsAndArraysReachTheShadersInside) {
  const host::LoadedScene loaded = scene(R"(
      shader "given" "wrapped" ( "amount" 0.5, "tint" 0.1 0.2 0.3 0.4, "count" 11 )
      shader "defaults" "wrapped" ( )
      shader "outside" "test_source" ( "s" 2, "c" 1 0.5 0.25 1, "i" 4 )
      shader "p" "wrapped" ( "amount" = "outside.s", "tint" = "outside.c" )
      shader "sum" "summed" ( "values" [ 1, 2, 4, 8 ], "items" [ { "id" 3 }, { "id" 5, "tint" = "outside.c" } ],
                              "tail" = "outside.s" )
      shader "nested" "twice" ( "amount" 0.125 ))");
  const struct {
    const char *name;
    float s;
    miColor c;
    int i;
  } sources[] = {
      {"given", 0.5f, {0.1f, 0.2f, 0.3f, 0.4f}, 11},
      {"defaults", 0.75f, {0, 0, 0, 0}, 3},  // the phenomenon's defaults, zero where it has none: never the inner shader's
      {"p", 2, {1, 0.5f, 0.25f, 1}, 3},      // connected through the interface
      {"nested", 0.125f, {0, 0, 0, 0}, 9},
  };
  for (const auto &want : sources) {
    const auto got = result_of<SourceResult>(tag(want.name));
    EXPECT_TRUE(got.s == want.s && got.i == want.i) << want.name << ": " << got.s << " " << got.i;
    expect_near(got.c, want.c, 0, want.name);
  }
  // arrays and structs arrive element by element; the bias comes from the phenomenon's own source shader,
  // the tail from a field of a struct result
  const auto sum = result_of<ArrayResult>(tag("sum"));
  EXPECT_TRUE(sum.sum == 15.0f && sum.count == 4 + 100 && sum.ids == 35 && sum.tail == 2.0f);
  expect_near(sum.tint, {1.5f, 1, 0.75f, 1.5f}, 1e-6f, "default tint plus the connected one");

  // The instance is its root, the other shaders are named inside it; a root within a root goes by the instance's name.
  EXPECT_TRUE(tag("sum:reader") == 0u && tag("nested:first") == 0u);
  EXPECT_EQ(result_of<SourceResult>(tag("sum:src")).i, 100);
  EXPECT_EQ(renderer().instance(tag("sum"))->shader->decl.name, "test_arrays");
  EXPECT_EQ(loaded.instances, (std::vector<miTag>{tag("given"), tag("defaults"), tag("outside"), tag("p"), tag("sum:src"),
                                                  tag("sum"), tag("nested")}));
}

TEST_F(Phenomena, AWrongNetworkNamesTheSceneAndTheDeclaration) {
  const std::string decls = write_file("late.mi", R"(declare phenomenon
    color "uses_unknown" ( color "c" )
    shader "x" "not_declared_anywhere" ( "color" = interface "c" )
    root = "x"
end declare
declare phenomenon
    color "mistyped" ( scalar "c" )
    shader "x" "test_source" ( "c" = interface "c" )
    root = "x"
end declare
)");
  EXPECT_EQ(wrong("$include \"" + decls + "\"\nshader \"a\" \"uses_unknown\" ( )"),
            "scene.mi:5: shader \"a\" (uses_unknown): " + decls +
                ":3: phenomenon \"uses_unknown\" uses shader \"not_declared_anywhere\", which is not declared "
                "(is its declarations file included?)");
  EXPECT_EQ(wrong("$include \"" + decls + "\"\nshader \"b\" \"mistyped\" ( \"c\" 1 )"),
            "scene.mi:5: shader \"b\" (mistyped): " + decls +
                ":8: \"c\" is color but the interface parameter \"c\" is scalar");
  EXPECT_EQ(wrong("shader \"c\" \"wrapped\" ( \"tint\" 1 2 )"),
            "scene.mi:4: \"tint\": expected a colour: r,g,b or r,g,b,a");
}

}  // namespace
}  // namespace tavo::test
