// Running material converters in the host: whole life cycles that must end
// with nothing held, and live instances whose parameters a test changes
// between calls, standing in for values that differ from call to call.
#pragma once

#include <cstddef>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "host_fixture.h"

namespace tavo::test {

// A scene record with its unit, or none at all (nullopt).
using SceneChoice = std::optional<float>;

class ConverterTest : public HostTest {
 protected:
  static void use_scene(SceneChoice unit_scale, int scene_flag = 0, int passthrough = 0) {
    if (!unit_scale) {
      renderer().clear_scene();
      return;
    }
    SceneData scene = scene_with_unit_scale(*unit_scale);
    scene.scene_flag = scene_flag;
    scene.passthrough_value = passthrough;
    renderer().set_scene(scene);
  }

  // One result per ray; the life cycle must leave nothing allocated.
  template <typename Ready>
  static std::vector<Ready> run(const std::string &shader, const std::vector<Assignment> &assignments,
                                const std::vector<int> &rays) {
    const miTag tag = renderer().create_instance(shader, assignments);
    std::vector<Ready> out;
    for (const host::CallResult &call : renderer().run(tag, rays)) {
      EXPECT_EQ(call.returned, miTRUE) << shader;
      Ready ready;
      std::memcpy(&ready, call.result.data(), sizeof ready);
      out.push_back(ready);
    }
    // this instance's own blocks: a live instance elsewhere in the test may hold its own
    EXPECT_EQ(renderer().held_bytes(tag), 0u) << shader;
    return out;
  }

  template <typename Ready>
  static Ready run(const std::string &shader, const std::vector<Assignment> &assignments) {
    return run<Ready>(shader, assignments, {miRAY_EYE}).front();
  }
};

// An instance between its init and its exit.
class LiveInstance {
 public:
  LiveInstance(const std::string &shader, const std::vector<Assignment> &assignments)
      : tag_(Renderer::get().create_instance(shader, assignments)) {
    host::ShadingState init;
    Renderer::get().init_instance(tag_, init.state);
  }
  ~LiveInstance() {
    host::ShadingState done;
    Renderer::get().exit_instance(tag_, done.state);
    Renderer::get().exit_shaders(done.state);
  }
  LiveInstance(const LiveInstance &) = delete;
  LiveInstance &operator=(const LiveInstance &) = delete;

  template <typename Ready>
  Ready call(int ray = miRAY_EYE) {
    host::ShadingState shading(ray);
    Ready result;
    std::memset(&result, 0xEE, sizeof result);
    EXPECT_EQ(Renderer::get().call(tag_, &result, shading.state), miTRUE);
    return result;
  }

  // Overwrites a parameter in the block, as a differently evaluated value would.
  template <typename T>
  void set(std::size_t offset, const T &value) {
    std::memcpy(Renderer::get().instance(tag_)->parameters() + offset, &value, sizeof value);
  }

 private:
  miTag tag_;
};

inline std::string word(float v) {
  char text[32];
  std::snprintf(text, sizeof text, "%.9g", static_cast<double>(v));
  return text;
}

inline std::vector<std::string> words(const miColor &c) { return {word(c.r), word(c.g), word(c.b), word(c.a)}; }

// (0.67 g + 0.265 r) + 0.065 b, the weighting the glass converters use.
inline float brightness(float r, float g, float b) { return (0.67f * g + 0.265f * r) + 0.065f * b; }

#define EXPECT_COLOR_EQ(actual, expected_r, expected_g, expected_b, expected_a) \
  do {                                                                         \
    const miColor tavo_c_ = (actual);                                          \
    EXPECT_EQ(tavo_c_.r, (expected_r));                                        \
    EXPECT_EQ(tavo_c_.g, (expected_g));                                        \
    EXPECT_EQ(tavo_c_.b, (expected_b));                                        \
    EXPECT_EQ(tavo_c_.a, (expected_a));                                        \
  } while (0)

}  // namespace tavo::test
