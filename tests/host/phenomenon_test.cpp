// Phenomena: a declared network of shaders instanced by a scene, its
// interface parameters reaching the shaders inside, and the errors a wrong
// network gets, naming both the scene and the declarations.
#include <cstring>

#include "scene_fixture.h"
#include "fixtures/testshader_results.h"

namespace tavo::test {
namespace {

// A pass-through phenomenon over the tests' source shader, and one that feeds
// an array reader from its interface and from a shader of its own.
constexpr const char *kNetworks = R"(
declare phenomenon
    struct { scalar "s", color "c", integer "i" } "wrapped" (
        scalar "amount" default 0.75,
        color "tint",
        integer "count" default 3
    )
    shader "inner" "test_source" ( "s" = interface "amount", "c" = interface "tint", "i" = interface "count" )
    root = "inner"
    version 1
end declare

declare phenomenon
    struct { scalar "sum", integer "count", integer "ids", color "tint_sum", scalar "tail" } "summed" (
        array scalar "values",
        array struct "items" { integer "id" default 1, color "tint" default 0.5 0.5 0.5 0.5 },
        scalar "tail"
    )
    shader "src" "test_source" ( "i" 100 )
    shader "reader" "test_arrays" (
        "bias" = "src.i",
        "values" = interface "values",
        "items" = interface "items",
        "tail" = interface "tail"
    )
    root = "reader"
    version 1
end declare

declare phenomenon
    struct { scalar "s", color "c", integer "i" } "twice" ( scalar "amount" )
    shader "first" "wrapped" ( "amount" = interface "amount", "count" 9 )
    root = "first"
    version 1
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

  std::string error_of(const std::string &body) {
    try {
      scene(body);
    } catch (const host::Error &e) {
      return e.what();
    }
    return "no error";
  }

  template <typename Result>
  static Result result_of(const std::string &name) {
    const auto calls = renderer().run(tag(name), {miRAY_EYE});
    Result r;
    std::memcpy(&r, calls.at(0).result.data(), sizeof r);
    return r;
  }

  std::string networks_;
};

TEST_F(Phenomena, InterfaceParametersReachTheShadersInside) {
  scene(R"(shader "given" "wrapped" ( "amount" 0.5, "tint" 0.1 0.2 0.3 0.4, "count" 11 )
           shader "defaults" "wrapped" ( ))");
  const auto given = result_of<SourceResult>("given");
  EXPECT_EQ(given.s, 0.5f);
  expect_near(given.c, {0.1f, 0.2f, 0.3f, 0.4f}, 0.0f, "given tint");
  EXPECT_EQ(given.i, 11);
  // the phenomenon's defaults, and zero where it declares none: never the inner shader's own
  const auto defaults = result_of<SourceResult>("defaults");
  EXPECT_EQ(defaults.s, 0.75f);
  expect_near(defaults.c, {0, 0, 0, 0}, 0.0f, "tint without a default");
  EXPECT_EQ(defaults.i, 3);
}

TEST_F(Phenomena, ConnectionsPassThroughTheInterface) {
  scene(R"(shader "outside" "test_source" ( "s" 2, "c" 1 0.5 0.25 1, "i" 4 )
           shader "p" "wrapped" ( "amount" = "outside.s", "tint" = "outside.c" ))");
  const auto r = result_of<SourceResult>("p");
  EXPECT_EQ(r.s, 2.0f);
  expect_near(r.c, {1, 0.5f, 0.25f, 1}, 0.0f, "connected tint");
  EXPECT_EQ(r.i, 3);
}

TEST_F(Phenomena, ArraysAndStructsArriveElementByElement) {
  scene(R"(shader "outside" "test_source" ( "c" 0.25 0.25 0.25 0.25 )
           shader "p" "summed" (
               "values" [ 1, 2, 4, 8 ],
               "items" [ { "id" 3 }, { "id" 5, "tint" = "outside.c" } ],
               "tail" 6
           ))");
  const auto r = result_of<ArrayResult>("p");
  EXPECT_EQ(r.sum, 15.0f);
  EXPECT_EQ(r.count, 4 + 100);  // the bias comes from the phenomenon's own source shader
  EXPECT_EQ(r.ids, 35);
  expect_near(r.tint, {0.75f, 0.75f, 0.75f, 0.75f}, 1e-6f, "default tint plus the connected one");
  EXPECT_EQ(r.tail, 6.0f);
}

TEST_F(Phenomena, TheInstanceIsItsRootAndTheOtherShadersAreNamedInsideIt) {
  const host::LoadedScene loaded = scene(R"(shader "p" "summed" ( "values" [ 1 ] ))");
  const miTag src = tag("p:src");
  ASSERT_NE(src, 0u);
  EXPECT_EQ(tag("p:reader"), 0u);  // the root goes by the instance's name
  EXPECT_EQ(loaded.instances, (std::vector<miTag>{src, tag("p")}));
  EXPECT_EQ(renderer().instance(tag("p"))->shader->decl.name, "test_arrays");
  EXPECT_EQ(result_of<SourceResult>("p:src").i, 100);
}

TEST_F(Phenomena, PhenomenaNestAndMaterialsTakeThem) {
  const host::LoadedScene loaded = scene(R"(shader "nested" "twice" ( "amount" 0.125 )
           material "m" "wrapped" ( "count" 2 ) end material)");
  const auto r = result_of<SourceResult>("nested");
  EXPECT_EQ(r.s, 0.125f);
  EXPECT_EQ(r.i, 9);
  EXPECT_EQ(tag("nested:first"), 0u);  // a root within a root: both go by the instance's name
  EXPECT_EQ(loaded.instances.size(), 2u);
  const host::Material *m = renderer().material(tag("m"));
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(renderer().instance(m->shader)->shader->decl.name, "test_source");
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
  EXPECT_EQ(error_of("$include \"" + decls + "\"\nshader \"a\" \"uses_unknown\" ( )"),
            "scene.mi:5: shader \"a\" (uses_unknown): " + decls +
                ":3: phenomenon \"uses_unknown\" uses shader \"not_declared_anywhere\", which is not declared "
                "(is its declarations file included?)");
  EXPECT_EQ(error_of("$include \"" + decls + "\"\nshader \"b\" \"mistyped\" ( \"c\" 1 )"),
            "scene.mi:5: shader \"b\" (mistyped): " + decls +
                ":8: \"c\" is color but the interface parameter \"c\" is scalar");
  EXPECT_EQ(error_of("shader \"c\" \"wrapped\" ( \"tint\" 1 2 )"),
            "scene.mi:4: \"tint\": expected a colour: r,g,b or r,g,b,a");
}

}  // namespace
}  // namespace tavo::test
