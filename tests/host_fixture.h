// Tests run the library as a renderer does: through the reference host, which loads it and its declarations.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "declarations.h"
#include "renderer_core.h"
#include "values.h"

namespace tavo::test {

using host::Assignment;
using host::Renderer;

// Parameter words, and every digit of every float: equal texts are equal bits (NaN matches NaN), and a failure prints
// readably.
inline std::string word(float x) { return host::format_scalar(x); }
inline std::vector<std::string> words(const miColor &c) { return {word(c.r), word(c.g), word(c.b), word(c.a)}; }
inline std::vector<std::string> words(const miVector &v) { return {word(v.x), word(v.y), word(v.z)}; }
inline std::string exact(const miColor &c) { return word(c.r) + " " + word(c.g) + " " + word(c.b) + " " + word(c.a); }
inline std::string exact(const miVector &v) { return word(v.x) + " " + word(v.y) + " " + word(v.z); }

inline Assignment value(std::string path, std::vector<std::string> words) {
  return {std::move(path), std::move(words), 0, {}};
}
inline Assignment link(std::string path, miTag source, std::string field = {}) {
  return {std::move(path), {}, source, std::move(field)};
}

// The library's declarations file, read once, and a shader of it by name (null when it has none).
inline const std::vector<host::ShaderDeclaration> &declarations() {
  static const std::vector<host::ShaderDeclaration> all = host::read_declarations(TAVO_DECLARATIONS);
  return all;
}
inline const host::ShaderDeclaration *declared(const std::string &name) {
  for (const host::ShaderDeclaration &d : declarations())
    if (d.name == name) return &d;
  return nullptr;
}

// A field of a record by name; "array.field" names a field of an array's element, at its offset within the element.
inline const host::Field *field(const host::Type &record, const std::string &name) {
  const std::size_t dot = name.find('.');
  for (const host::Field &f : record.fields) {
    if (f.name != name.substr(0, dot)) continue;
    return dot == std::string::npos ? &f : field(*f.type.element, name.substr(dot + 1));
  }
  return nullptr;
}

// The message of the host::Error that `run` throws, or "no error".
template <typename Run>
std::string error_of(Run &&run) {
  try {
    run();
  } catch (const host::Error &e) {
    return e.what();
  }
  return "no error";
}

// Vectors and colours, compared float by float.
template <typename T>
void expect_near(const T &got, const T &want, float tolerance, const char *what) {
  float g[sizeof(T) / sizeof(float)], w[sizeof g / sizeof(float)];
  std::memcpy(g, &got, sizeof g);
  std::memcpy(w, &want, sizeof w);
  for (std::size_t i = 0; i < std::size(g); ++i) EXPECT_NEAR(g[i], w[i], tolerance) << what << " [" << i << "]";
}

class HostTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Renderer::get().reset();
    Renderer::get().load_library(TAVO_LIBRARY, TAVO_DECLARATIONS);
  }
  // Every test ends as a renderer does, exiting what is still initialised, and then nothing may be held.
  void TearDown() override {
    host::ShadingState done;
    renderer().exit_all(done.state);
    renderer().exit_shaders(done.state);
    EXPECT_EQ(renderer().held_bytes(), 0u);
    renderer().reset();
  }

  static Renderer &renderer() { return Renderer::get(); }

  using Adjust = std::function<void(host::ShadingState &)>;

  // An instance initialised as a renderer does before its first call, in a state the test may adjust (camera,
  // options).
  static miTag instance(const std::string &shader, const std::vector<Assignment> &a, const Adjust &adjust_init = {}) {
    const miTag t = renderer().create_instance(shader, a);
    host::ShadingState init;
    if (adjust_init) adjust_init(init);
    renderer().init_instance(t, init.state);
    return t;
  }

  // One call in `s`, which must return `returns`; the result starts as bytes no shader writes (-24.1 as floats).
  template <typename T>
  static T call(miTag t, host::ShadingState &s, miBoolean returns = miTRUE) {
    T out;
    std::memset(&out, 0xc1, sizeof out);
    EXPECT_EQ(renderer().call(t, &out, s.state), returns);
    return out;
  }
  // The same in a fresh state of a ray type.
  template <typename T>
  static T call(miTag t, int ray = miRAY_EYE) {
    host::ShadingState s(ray);
    return call<T>(t, s);
  }

  // Overwrites a parameter in an instance's block, as a value evaluated differently on this call would.
  template <typename T>
  static void set(miTag t, std::size_t offset, const T &value) {
    std::memcpy(renderer().instance(t)->parameters() + offset, &value, sizeof value);
  }

  static SceneData scene_with_unit_scale(float unit_scale, int scene_flag = 0, int passthrough = 0) {
    SceneData scene = Renderer::default_scene();
    scene.unit_scale = unit_scale;
    scene.scene_flag = scene_flag;
    scene.passthrough_value = passthrough;
    return scene;
  }

  // Runs an instance's whole life cycle with one call per ray, each of which must return true; the first result as a T.
  template <typename T>
  static T result_of(miTag tag, std::vector<int> rays = {miRAY_EYE}) {
    const std::vector<host::CallResult> calls = renderer().run(tag, rays);
    for (const host::CallResult &each : calls) EXPECT_EQ(each.returned, miTRUE);
    T out;
    std::memcpy(&out, calls.at(0).result.data(), sizeof out);
    return out;
  }
  // The same of a new instance.
  template <typename T>
  static T eval(const std::string &shader, const std::vector<Assignment> &assignments,
                std::vector<int> rays = {miRAY_EYE}) {
    return result_of<T>(renderer().create_instance(shader, assignments), std::move(rays));
  }
};

}  // namespace tavo::test
