// Refracted and transparent rays: the levels they count, the depths that stop
// them, what the material they reach sees, and the layered material's use of them.
#include "scene_fixture.h"

namespace tavo::test {
namespace {

// Floors at y = 0 and y = -2, shaded by a material that reports its ray as (type, levels, distance).
const std::string kFloors = std::string("link \"") + TAVO_TEST_SHADERS + "\"\n$include \"" + TAVO_TEST_DECLARATIONS +
                            R"("
    shader "report" "test_ray" ( )
    material "seen" = "report" end material
    object "near" plane origin -5 0 5 u 10 0 0 v 0 0 -10 material "seen" end object
    object "far" plane origin -5 -2 5 u 10 0 0 v 0 0 -10 material "seen" end object
  )";

class Refraction : public SceneTest {};

TEST_F(Refraction, RaysCountAsRefractionsAndGoOnFromThePoint) {
  load(kFloors);
  host::ShadingState s;
  s.state.point = {0.5f, 0, 0.5f};  // on the near floor
  s.state.dir = {0.6f, -0.8f, 0};
  s.state.reflection_level = 1;
  miColor seen{};
  miVector down{0, -1, 0};
  ASSERT_TRUE(mi_trace_refraction(&seen, &s.state, &down));
  expect_near(seen, {miRAY_REFRACT, 1, 1, 2}, 1e-6f, "the far floor straight below");
  miInteger mode = -1;
  ASSERT_TRUE(mi_query(miQ_ENVIRONMENT_MODE, s.state.child, 0, &mode));
  EXPECT_EQ(mode, 1);  // below a refraction

  s.state.refraction_level = 1;
  ASSERT_TRUE(mi_trace_transparent(&seen, &s.state));
  expect_near(seen, {miRAY_TRANSPARENT, 1, 2, 2.5f}, 1e-6f, "the far floor along the incoming ray");
  expect_near(s.state.child->point, {2, -2, 0.5f}, 1e-5f, "straight on");
  EXPECT_EQ(s.state.refraction_level, 1);
}

TEST_F(Refraction, RaysPastTheDepthsAreRefusedAndTheLayeredMaterialShowsNothingThrough) {
  load(kFloors + R"(
    shader "glass" "tavo_host_layered" ( "transparency" 1, "ior" 1 )
    material "pane" = "glass" end material
    object "window" plane origin -5 1 5 u 10 0 0 v 0 0 -10 material "pane" end object
  )");
  host::ShadingState s;
  s.state.point = {0.5f, 0, 0.5f};
  miVector down{0, -1, 0}, above{0, 5, 0};
  const auto refused = [&](const char *what) {
    miColor seen{1, 1, 1, 1}, through{1, 1, 1, 1};
    EXPECT_FALSE(mi_trace_refraction(&seen, &s.state, &down)) << what;
    EXPECT_FALSE(mi_trace_transparent(&through, &s.state)) << what;
    expect_near(seen, {0, 0, 0, 0}, 0, what);
    expect_near(through, {0, 0, 0, 0}, 0, what);
  };
  s.options = {miTRUE, 2, 2, 3};
  s.state.refraction_level = 2;
  refused("at the refraction depth");
  s.state.refraction_level = 1, s.state.reflection_level = 2;
  refused("at the total depth");
  s.options.trace = miFALSE;
  refused("tracing off");

  s.options = {miTRUE, 2, 2, 4};
  s.state.reflection_level = s.state.refraction_level = 0;
  miColor out{};
  ASSERT_TRUE(mi_trace_eye(&out, &s.state, &above, &down));  // an eye ray through the pane
  expect_near(out, {miRAY_REFRACT, 0, 1, 1}, 1e-6f, "the near floor through the pane");
  s.options.refraction_depth = 0;
  refused("refraction depth 0");
  ASSERT_TRUE(mi_trace_eye(&out, &s.state, &above, &down));
  expect_near(out, {0, 0, 0, 1}, 0, "nothing through the pane");
}

}  // namespace
}  // namespace tavo::test
