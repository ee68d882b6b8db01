// Environment switch: a plain background colour for what the camera sees
// directly, the named environment shader for every other lookup.
#include "host/scene_fixture.h"

namespace tavo::test {
namespace {

const miColor kBackground{0.1f, 0.2f, 0.3f, 0.4f};
const miColor kSky{0.5f, 0.6f, 0.7f, 1.0f};
const miColor kNothing{0, 0, 0, 0};

using Environment = SceneTest;

TEST_F(Environment, OnlyEyeRaysTheCameraSeesGetTheBackgroundOtherLookupsTheShader) {
  load(R"(
    shader "sky" "tavo_host_constant" ( "color" 0.5 0.6 0.7 1 )
    # fails, but writes its colour: there is no texture to look up
    shader "failing" "tavo_host_texture" ( "color" 0.9 0.8 0.7 0.6 )
  )");
  const std::tuple<const char *, const char *, const char *, int, int, miBoolean, miColor> cases[] = {
      {"an eye ray", "sky", "1", miRAY_EYE, 0, miTRUE, kBackground},
      {"a reflection ray", "sky", "1", miRAY_REFLECT, 0, miTRUE, kSky},
      {"a transparency ray: the query says camera, the ray type does not", "sky", "1", miRAY_TRANSPARENT, 0, miTRUE, kSky},
      {"an eye ray below a reflection: the query says lighting", "sky", "1", miRAY_EYE, 1, miTRUE, kSky},
      {"the option at 2", "sky", "2", miRAY_EYE, 0, miTRUE, kSky},
      {"the option off", "sky", "0", miRAY_EYE, 0, miTRUE, kSky},
      {"the background needs no shader", "", "1", miRAY_EYE, 0, miTRUE, kBackground},
      {"no shader: transparent black and false", "", "0", miRAY_EYE, 0, miFALSE, kNothing},
      {"the shader's answer is handed on", "failing", "0", miRAY_EYE, 0, miFALSE, {0.9f, 0.8f, 0.7f, 0.6f}},
  };
  for (const auto &[what, shader, use_background, ray, reflection_level, returned, colour] : cases) {
    std::vector<Assignment> a = {value("use_background_color", {use_background}),
                                 value("background_color", {"0.1", "0.2", "0.3", "0.4"})};
    if (*shader) a.push_back(value("environment_shader", {std::to_string(tag(shader))}));
    host::ShadingState s(ray);
    s.state.reflection_level = reflection_level;
    miColor out{-1, -1, -1, -1};
    EXPECT_EQ(renderer().call(renderer().create_instance("tavo_environment", a), &out, s.state), returned) << what;
    expect_near(out, colour, 0, what);
  }
}

}  // namespace
}  // namespace tavo::test
