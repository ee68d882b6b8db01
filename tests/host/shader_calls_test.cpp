// Shaders calling shaders through the host: connections that follow the state, materials, refraction and transparent
// traces with their depths, and shader-state values. Eye and reflection traces and the environment show in the
// example renders (tests/render); the extra argument of mi_call_shader_x in tex_lookup_test.cpp (texture remaps)
// and lightmap_switcher_test.cpp.
#include <bit>

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

TEST_F(ShaderCalls, InstancesFirstCalledWhileShadingAreInitialisedOnceAndWideResultsRefused) {
  renderer().load_library(TAVO_TEST_SHADERS, TAVO_TEST_DECLARATIONS);
  const miTag counter = renderer().create_instance("test_exit_plain", {value("value", {"9"})});
  host::ShadingState s;
  miColor out{};
  for (int k = 0; k < 3; ++k) {
    ASSERT_TRUE(mi_call_shader(&out, miSHADER_TEXTURE, &s.state, counter));
    EXPECT_EQ(std::bit_cast<miInteger>(out.r), 9);
  }
  EXPECT_EQ(renderer().held_bytes(counter), sizeof(miInteger));  // one record
  renderer().exit_all(s.state);
  EXPECT_EQ(renderer().held_bytes(), 0u);

  const miTag wide = renderer().create_instance("test_source", {});  // a 24-byte struct
  out = {0.5f, 0.5f, 0.5f, 0.5f};
  EXPECT_FALSE(mi_call_shader(&out, miSHADER_TEXTURE, &s.state, wide));
  EXPECT_EQ(out.r, 0.5f);  // untouched
  ASSERT_EQ(renderer().messages().size(), 1u);
  EXPECT_EQ(renderer().messages()[0].text,
            "mi_call_shader: test_source returns 24 bytes, more than the colour it is called for");
}

TEST_F(ShaderCalls, ShaderStateValuesLiveAsLongAsTheyAsk) {
  host::ShadingState s;
  const double pair[2] = {1.5, -2.5};
  ASSERT_TRUE(mi_shaderstate_set(&s.state, "pair", const_cast<double *>(pair), sizeof pair, miSHADERSTATE_LIFETIME_SAMPLE));
  int size = 0;
  const auto *got = static_cast<const double *>(mi_shaderstate_get(&s.state, "pair", &size));
  ASSERT_NE(got, nullptr);
  EXPECT_TRUE(size == 16 && got[1] == -2.5 && got != pair);  // a copy

  // the child of a trace shares the sample's values
  miVector origin{0, 0, 0}, up{0, 1, 0};
  mi_trace_probe(&s.state, &up, &origin);
  EXPECT_EQ(mi_shaderstate_get(s.state.child, "pair", &size), got);

  int one = 1;
  ASSERT_TRUE(mi_shaderstate_set(&s.state, "tile", &one, 4, miSHADERSTATE_LIFETIME_TILE));
  ASSERT_TRUE(mi_shaderstate_set(s.state.child, "child", &one, 4, miSHADERSTATE_LIFETIME_STATE));
  ASSERT_TRUE(mi_shaderstate_set(&s.state, "top", &one, 4, miSHADERSTATE_LIFETIME_STATE));
  const auto kept = [&] {
    std::string names;
    for (const char *name : {"pair", "tile", "child", "top"})
      if (mi_shaderstate_get(&s.state, name, &size)) names += std::string(name) + " ";
    return names;
  };
  s.sample.end_state(1);  // the child is done
  EXPECT_EQ(kept(), "pair tile top ");
  s.sample.end_sample();
  EXPECT_EQ(kept(), "tile ");
  s.sample.end_tile();
  EXPECT_EQ(s.sample.value_count(), 0u);
}

// Floors at y = 0 and y = -2, shaded by a material that reports its ray as (type, levels, distance).
const std::string kFloors = std::string("link \"") + TAVO_TEST_SHADERS + "\"\n$include \"" + TAVO_TEST_DECLARATIONS +
                            R"("
    shader "report" "test_ray" ( )
    material "seen" = "report" end material
    object "near" plane origin -5 0 5 u 10 0 0 v 0 0 -10 material "seen" end object
    object "far" plane origin -5 -2 5 u 10 0 0 v 0 0 -10 material "seen" end object
  )";

TEST_F(ShaderCalls, RefractedAndTransparentRaysCountTheirLevelsAndStopAtTheDepths) {
  load(kFloors);
  host::ShadingState s;
  s.state.point = {0.5f, 0, 0.5f};  // on the near floor
  s.state.dir = {0.6f, -0.8f, 0};
  s.state.reflection_level = 1;
  miColor seen{};
  miVector down{0, -1, 0};
  ASSERT_TRUE(mi_trace_refraction(&seen, &s.state, &down));
  expect_near(seen, {miRAY_REFRACT, 1, 1, 2}, 1e-6f, "the far floor straight below");
  s.state.refraction_level = 1;
  ASSERT_TRUE(mi_trace_transparent(&seen, &s.state));
  expect_near(seen, {miRAY_TRANSPARENT, 1, 2, 2.5f}, 1e-6f, "the far floor along the incoming ray");
  expect_near(s.state.child->point, {2, -2, 0.5f}, 1e-5f, "straight on");

  const auto refused = [&](const char *what) {
    miColor through{1, 1, 1, 1}, out{1, 1, 1, 1};
    EXPECT_FALSE(mi_trace_refraction(&out, &s.state, &down)) << what;
    EXPECT_FALSE(mi_trace_transparent(&through, &s.state)) << what;
    expect_near(out, through, 0, what);
    expect_near(out, {0, 0, 0, 0}, 0, what);
  };
  s.options = {miTRUE, 2, 2, 3};
  s.state.refraction_level = 2;
  refused("at the refraction depth");
  s.state.refraction_level = 1, s.state.reflection_level = 2;
  refused("at the total depth");
  s.options.trace = miFALSE, s.state.reflection_level = 0;
  refused("tracing off");
}

}  // namespace
}  // namespace tavo::test
