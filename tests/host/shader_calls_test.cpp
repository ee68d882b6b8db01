// Shaders calling shaders through the host: connections that follow the state, materials, and results too wide.
// Traces and their depths show in the example renders (tests/render) and decal_test.cpp, shader-state values in
// glossy_sampler_test.cpp, an instance first called while shading (initialised once, or its record would be left
// held) in bump_lookup_test.cpp; the extra argument of mi_call_shader_x in tex_lookup_test.cpp and
// lightmap_switcher_test.cpp.
#include "scene_fixture.h"

namespace tavo::test {
namespace {

class ShaderCalls : public SceneTest {};

TEST_F(ShaderCalls, ConnectionsFollowTheStateTheMaterialIsShadedAt) {
  load(R"(
    shader "uv" "tavo_host_coord" ( "space" 0 )
    shader "squares" "tavo_host_checker" ( "coord" = "uv", "color_a" 1 1 1, "color_b" 0 0 0, "frequency" 2 )
    material "floor" "tavo_host_material" ( "color" = "squares" ) end material
  )");
  host::ShadingState s;
  miColor out{};
  const auto squares = [&](float u, float v) {
    s.tex_list[0] = {u, v, 0};
    EXPECT_TRUE(mi_call_shader(&out, miSHADER_TEXTURE, &s.state, tag("squares")));
    return out.r;
  };
  EXPECT_EQ(squares(0.1f, 0.1f), 1.0f);
  EXPECT_EQ(squares(0.6f, 0.1f), 0.0f);  // the next square along x
  // through a material: the connection reads the state the material is shaded at
  s.tex_list[0] = {0.6f, 0.6f, 0};
  ASSERT_TRUE(CallMaterial(&out, &s.state, tag("floor"), 0));
  EXPECT_EQ(out.r, 1.0f);
  EXPECT_EQ(s.state.material, 0u);  // named the material only while it ran
  s.state.texture_spaces = 0;       // nothing to read: the coordinate shader fails, the checker sees (0, 0)
  ASSERT_TRUE(CallMaterial(&out, &s.state, tag("floor"), 0));
  EXPECT_EQ(out.r, 1.0f);
  EXPECT_FALSE(CallMaterial(&out, &s.state, 12345, 0));  // no such material
  EXPECT_FALSE(mi_call_shader(&out, miSHADER_TEXTURE, &s.state, 4242));
  ASSERT_EQ(renderer().messages().size(), 1u);
  EXPECT_EQ(renderer().messages()[0].text, "mi_call_shader: tag 4242 is neither a shader nor a material");
}

TEST_F(ShaderCalls, AResultWiderThanTheColourIsRefused) {
  renderer().load_library(TAVO_TEST_SHADERS, TAVO_TEST_DECLARATIONS);
  const miTag wide = renderer().create_instance("test_source", {});  // a 24-byte struct
  host::ShadingState s;
  miColor out{0.5f, 0.5f, 0.5f, 0.5f};
  EXPECT_FALSE(mi_call_shader(&out, miSHADER_TEXTURE, &s.state, wide));
  EXPECT_EQ(out.r, 0.5f);  // untouched
  ASSERT_EQ(renderer().messages().size(), 1u);
  EXPECT_EQ(renderer().messages()[0].text,
            "mi_call_shader: test_source returns 24 bytes, more than the colour it is called for");
}

}  // namespace
}  // namespace tavo::test
