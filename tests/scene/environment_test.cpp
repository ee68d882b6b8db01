// Environment switch: a plain background colour for what the camera sees
// directly, the named environment shader for every other lookup.
#include "host/scene_fixture.h"
#include "layout_registry.h"
#include "scene/tavo_environment.h"

namespace tavo::test {
namespace {

using environment::Params;
TAVO_LAYOUT("tavo_environment", Parameters, Params, TAVO_FIELD(Params, environment_shader),
            TAVO_FIELD(Params, use_background_color), TAVO_FIELD(Params, background_color));

const miColor kBackground{0.1f, 0.2f, 0.3f, 0.4f};
const miColor kSky{0.5f, 0.6f, 0.7f, 1.0f};

class Environment : public SceneTest {
 protected:
  void SetUp() override {
    SceneTest::SetUp();
    load(R"(
      shader "sky" "tavo_host_constant" ( "color" 0.5 0.6 0.7 1 )
      # fails, but writes its colour: there is no texture to look up
      shader "failing" "tavo_host_texture" ( "color" 0.9 0.8 0.7 0.6 )
    )");
  }

  static miTag make(const char *shader, const char *use_background) {
    std::vector<Assignment> a = {value("use_background_color", {use_background}),
                                 value("background_color", {"0.1", "0.2", "0.3", "0.4"})};
    if (*shader) a.push_back(value("environment_shader", {std::to_string(tag(shader))}));
    return renderer().create_instance("tavo_environment", a);
  }

  struct Called {
    miBoolean returned;
    miColor color;
  };

  static Called call(miTag env, int ray, int reflection_level = 0) {
    host::ShadingState s(ray);
    s.state.reflection_level = reflection_level;
    Called out{miFALSE, {-1, -1, -1, -1}};
    out.returned = renderer().call(env, &out.color, s.state);
    return out;
  }
};

TEST_F(Environment, OnlyEyeRaysTheCameraSeesGetTheBackground) {
  struct Case {
    const char *what;
    const char *use_background;
    int ray;
    int reflection_level;
    bool background;
  } cases[] = {
      {"an eye ray", "1", miRAY_EYE, 0, true},
      {"a reflection ray", "1", miRAY_REFLECT, 0, false},
      {"a refraction ray", "1", miRAY_REFRACT, 0, false},
      {"a transparency ray: the query says camera, the ray type does not", "1", miRAY_TRANSPARENT, 0, false},
      {"an eye ray below a reflection: the query says lighting", "1", miRAY_EYE, 1, false},
      {"a shadow ray", "1", miRAY_SHADOW, 0, false},
      {"an eye ray with the option at 2", "2", miRAY_EYE, 0, false},
      {"an eye ray with the option off", "0", miRAY_EYE, 0, false},
      {"an eye ray with the option at -1", "-1", miRAY_EYE, 0, false},
  };
  for (const Case &c : cases) {
    SCOPED_TRACE(c.what);
    const Called got = call(make("sky", c.use_background), c.ray, c.reflection_level);
    EXPECT_TRUE(got.returned);
    expect_near(got.color, c.background ? kBackground : kSky, 0, "colour");
  }
}

TEST_F(Environment, WithoutAnEnvironmentShaderTransparentBlackAndFalse) {
  const Called off = call(make("", "0"), miRAY_EYE);
  EXPECT_FALSE(off.returned);
  expect_near(off.color, {0, 0, 0, 0}, 0, "no shader");
  const Called reflected = call(make("", "1"), miRAY_REFLECT);
  EXPECT_FALSE(reflected.returned);
  expect_near(reflected.color, {0, 0, 0, 0}, 0, "no shader, off the background path");
  // the background needs no shader
  const Called background = call(make("", "1"), miRAY_EYE);
  EXPECT_TRUE(background.returned);
  expect_near(background.color, kBackground, 0, "background");
}

TEST_F(Environment, TheEnvironmentShadersAnswerIsHandedOn) {
  const Called got = call(make("failing", "0"), miRAY_EYE);
  EXPECT_FALSE(got.returned);
  expect_near(got.color, {0.9f, 0.8f, 0.7f, 0.6f}, 0, "what it wrote");
}

TEST_F(Environment, AsTheCamerasEnvironmentInAScene) {
  // A mirror ball under the switch: the camera sees the background colour
  // around the ball, and the sky in the ball.
  load(R"(
    shader "blue_sky" "tavo_host_constant" ( "color" 0.5 0.6 0.7 1 )
    shader "switch" "tavo_environment" (
      "environment_shader" "blue_sky", "use_background_color" 1, "background_color" 0.1 0.2 0.3 0.4 )
    material "mirror" "tavo_host_material" ( "color" 0 0 0, "reflect" 1 ) end material
    object "ball" sphere centre 0 0 0 radius 1 material "mirror" end object
    camera "c" position 0 0 10 direction 0 0 -1 environment = "switch" end camera
  )");
  host::ShadingState s;
  miColor out{};
  miVector origin{0, 0, 10}, past{0, 1, 0}, at{0, 0, -1};
  ASSERT_TRUE(mi_trace_eye(&out, &s.state, &origin, &past));
  expect_near(out, kBackground, 0, "beside the ball");
  ASSERT_TRUE(mi_trace_eye(&out, &s.state, &origin, &at));
  expect_near(out, kSky, 0, "the sky in the mirror");
  EXPECT_EQ(renderer().held_bytes(), 0u);
}

}  // namespace
}  // namespace tavo::test
