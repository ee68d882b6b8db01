// Scene files: statements read into the renderer (the examples' renders pin most of them), textures by their colour
// space, and the error a malformed file gets.
#include "scene_fixture.h"

namespace tavo::test {
namespace {

class SceneFiles : public SceneTest {
 protected:
  // The message a malformed scene gets, or "no error".
  static std::string wrong(const std::string &text) {
    return error_of([&] { host::parse_scene(text, "scene.mi", {}); });
  }
};

// Textures are kept in linear light: 8-bit images are decoded from sRGB and
// float images taken as they are, unless the statement names the colour space.
TEST_F(SceneFiles, TexturesAreDecodedToLinearLightByTheirColourSpace) {
  write_file("grey.pgm", "P2\n1 1\n255\n128\n");
  host::write_image(write_file("grey.exr", ""), 1, 1, {0.5f, 0.5f, 0.5f, 1.0f});
  const std::pair<const char *, float> cases[] = {
      {"color texture \"t\" \"grey.pgm\"", 0.2158605f},                          // sRGB by default
      {"color texture \"t\" \"grey.pgm\" colorspace \"linear\"", 128 / 255.0f},  // as stored
      {"color texture \"t\" \"grey.exr\"", 0.5f},                                // linear by default
      {"color texture \"t\" \"grey.exr\" colorspace \"srgb\"", 0.2140411f},
  };
  for (const auto &[statement, value] : cases) {
    SCOPED_TRACE(statement);
    SetUp();
    host::parse_scene(statement, write_file("scene.mi", ""), {});
    const miColor texel = renderer().texture(tag("t"))->texel(0, 0);
    EXPECT_NEAR(texel.r, value, 1e-6f);
    EXPECT_EQ(texel.a, 1.0f);  // alpha is never encoded
  }
  EXPECT_THROW(host::parse_scene("color texture \"t\" \"grey.pgm\" colorspace \"aces\"", write_file("scene.mi", ""), {}),
               host::Error);
}

// What the example renders do not show (their lights, objects, cameras and materials they do): the search path, an
// include read twice, a mesh's transform, the scene record's fields.
TEST_F(SceneFiles, StatementsReachTheRendererOrTheScene) {
  write_file("grey.pgm", "P2\n2 1\n255\n0 255\n");
  write_file("quad.obj", "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nvt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\nf 1/1 2/2 3/3 4/4\n");
  const std::string fragment = write_file("fragment.mi", R"(shader "shared" "tavo_host_constant" ( "color" 1 0 0 ))");
  const std::string scene_path = write_file("scene.mi", "");
  const host::LoadedScene loaded = host::parse_scene(R"(
    link "tavohelpers.so"             # found in the search path
    $include "tavohelpers.mi"         # already read: skipped
    $include "fragment.mi"            # a scene fragment beside this file
    color filter texture "grey" "grey.pgm"
    object "quad" mesh "quad.obj" scale 2 translate 0 0 -5 end object
    camera "cam" environment = "shared" end camera
    options "opts" host "unit_scale" 0.0254 host "area_shadow_samples" 16 end options
  )",
                                                     scene_path, {std::filesystem::path(TAVO_HELPERS).parent_path()});
  const host::Scene &scene = *loaded.scene;
  ASSERT_TRUE(scene.committed() && scene.objects().size() == 1u && loaded.record);
  expect_near(scene.object_named("quad")->points[1], {2, 0, -5}, 0, "scaled, then moved");
  EXPECT_EQ(scene.environment, tag("shared"));
  EXPECT_TRUE(loaded.record->unit_scale == 0.0254f && loaded.record->area_shadow_samples == 16);
  EXPECT_NE(renderer().texture(tag("grey")), nullptr);
}

TEST_F(SceneFiles, MalformedFilesNameTheFileTheLineAndWhatWasExpected) {
  // errors in the files a scene names name those files
  const std::string obj = write_file("bad.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 9\n");
  const std::string decls = write_file("bad.mi", "declare shader color \"x\" (\n  colr \"c\"\n) end declare\n");
  const std::pair<std::string, std::string> cases[] = {
      {"object \"m\"\n  mesh \"" + obj + "\"\nend object",
       "scene.mi:2: object \"m\": " + obj + ":4: vertex index 9 is out of range (3 in the file)"},
      {"$include \"" + decls + "\"", decls + ":2: expected a type, found 'colr'"},
      {"frobnicate", "scene.mi:1: expected a statement (link, $include, shader, color texture, material, light, "
                     "object, camera, options or caption), found 'frobnicate'"},
      {"shader \"a\" \"nope\" ( )", "scene.mi:1: unknown shader \"nope\" (is its declarations file included?)"},
      {"\nshader \"a\" \"tavo_host_constant\" ( \"colour\" 1 1 1 )",
       "scene.mi:2: shader \"tavo_host_constant\" has no parameter \"colour\""},
      {"shader \"a\" \"tavo_host_constant\" (\n  \"color\" 1 1 1\n  \"x\" )", "scene.mi:3: expected ')', found \"x\""},
      {"shader \"a\" \"tavo_host_checker\" ( \"coord\" = \"uv\" )", "scene.mi:1: nothing is named \"uv\" (yet)"},
      {"shader \"k\" \"tavo_host_constant\" ( )\nshader \"t\" \"tavo_host_texture\" ( \"texture\" \"k\" )",
       "scene.mi:2: expected a texture, but \"k\" is a shader (defined at scene.mi:1)"},
      {"shader \"uv\" \"tavo_host_coord\" ( )\nshader \"k\" \"tavo_host_constant\" ( \"color\" = \"uv\" )",
       "scene.mi:2: shader \"k\": parameter 'color' of tavo_host_constant: cannot connect a color parameter to a "
       "vector result of tavo_host_coord"},
      {"shader \"k\" \"tavo_host_constant\" ( )\n\nlight \"k\" end light", "scene.mi:3: \"k\" is already defined at scene.mi:1"},
      {"object \"o\" sphere radius -1 end object", "scene.mi:1: object \"o\": a sphere needs a positive radius"},
      {"object \"o\"\n  box\n  radius 2\nend object", "scene.mi:3: 'radius' is not a setting of this shape of object \"o\""},
      {"object \"o\" end object", "scene.mi:1: object \"o\" needs a shape: sphere, plane, box or mesh"},
      {"object \"o\" plane u 1 0 0 v 2 0 0 end object",
       "scene.mi:1: object \"o\": a parallelogram needs two edges that are not parallel"},
      {"object \"m\" mesh \"missing.obj\" end object", "scene.mi:1: object \"m\": cannot read the mesh file \"missing.obj\": No such file or directory"},
      {"camera \"a\" end camera\ncamera \"b\" end camera", "scene.mi:2: a scene has one camera; the first is at scene.mi:1"},
      {"camera \"a\" up 0 0 -1 end camera", "scene.mi:1: the camera needs a direction and an up vector that are not parallel"},
      {"camera \"a\" resolution 0 10 end camera", "scene.mi:1: a resolution needs a positive width and height, found 0x10"},
      {"light \"k\" end light\ncamera \"a\" lens = \"k\" end camera",
       "scene.mi:2: expected a shader, but \"k\" is a light (defined at scene.mi:1)"},
      {"light \"p\" area u 1 0 0 v 2 0 0 end light",
       "scene.mi:1: the area light \"p\" needs two edges that span an area"},
      {"light \"p\" area\n  samples 65\nend light", "scene.mi:2: the samples of an area light must lie between 1 and 64"},
      {"light \"l\" point\n  samples 4\nend light", "scene.mi:2: 'samples' is not a setting of this kind of light \"l\""},
      {"options \"o\" trace maybe end options", "scene.mi:1: expected on or off, found 'maybe'"},
      {"options \"o\" host \"unit\" 1 end options",
       "scene.mi:1: unknown scene record field \"unit\" (scene_flag, passthrough_value, unit_scale, "
       "blurred_reflection_multiplier, blurred_refraction_multiplier, area_shadow_samples)"},
      {"shader \"a\" \"tavo_host_constant\" ( \"color\" 1 1 1 )\n\"oops", "scene.mi:2: unterminated string"},
  };
  for (const auto &[text, error] : cases) {
    renderer().reset();
    renderer().load_library(TAVO_HELPERS, TAVO_HELPER_DECLARATIONS);
    EXPECT_EQ(wrong(text), error) << text;
  }
  EXPECT_NE(wrong("link \"nothere.so\"").find("scene.mi:1: nothere.so: cannot load the shader library: "), std::string::npos);
}

}  // namespace
}  // namespace tavo::test
