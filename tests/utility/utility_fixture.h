// The wall and images that the texture and bump lookups read.
#pragma once

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "host/scene_fixture.h"

namespace tavo::test {
namespace {

// The ramp's texel (i, j), j from the bottom: every channel differs, and the
// height (the mean of r, g and b) is (i + 2j) / 16, rising twice as fast in y.
inline miColor ramp_texel(int i, int j) { return {i / 8.0f, j / 8.0f, (i + 4 * j) / 16.0f, 1.0f - i / 16.0f}; }

// The texture coordinate of the centre of texel i of n, along either axis.
inline std::string centre(int i, int n) { return word((i + 0.5f) / n); }

// An 8 x 8 wall across the view, ten units in front of the camera (a checker
// texel is about 11 pixels wide there, a ramp texel about 89), and images:
// "checker" (64 x 64 one-texel squares, white at (0, 0)), "ramp" (8 x 8) and
// "tint" (one texel of kTint); remap shaders that keep the projected points
// ("same"), scale them a hundredfold ("wide") or collapse them ("flat"), and
// "spy", which traces a reflection and so leaves a child state behind.
class LookupTest : public SceneTest {
 protected:
  static constexpr miColor kTint{0.25f, 0.5625f, 0.9999f, 0.0625f};  // exact squares, and a channel just below 1

  void SetUp() override {
    SceneTest::SetUp();
    const std::string checker = texture_file("checker.exr", 64, [](int i, int j) {
      const float w = float((i + j + 1) % 2);
      return miColor{w, w, w, 1};
    });
    const std::string ramp = texture_file("ramp.exr", 8, ramp_texel);
    const std::string tint = texture_file("tint.exr", 1, [](int, int) { return kTint; });
    load("color texture \"checker\" \"" + checker + "\"\ncolor texture \"ramp\" \"" + ramp +
         "\"\ncolor texture \"tint\" \"" + tint + "\"\n" + kWall);
  }

  static constexpr const char *kWall = R"(
    shader "same" "tavo_host_coord" ( "remap" on )
    shader "wide" "tavo_host_coord" ( "remap" on, "scale" 100 100 1 )
    shader "flat" "tavo_host_coord" ( "remap" on, "scale" 0 0 0 )
    shader "spy" "tavo_host_material" ( "reflect" 1 )
    object "wall" plane origin -4 -4 0 u 8 0 0 v 0 8 0 end object
    camera "c" resolution 641 481 aperture 36 focal 50 position 0 0 10 direction 0 0 -1 end camera
  )";

  static std::string tag_of(const std::string &name) { return std::to_string(tag(name)); }

  // One call where the camera ray through the image's centre meets the wall.
  template <typename T>
  static T at_wall(miTag t, const Adjust &adjust = {}) {
    host::ShadingState s;
    EXPECT_TRUE(host::aim_at_pixel(s, *renderer().current_scene(), 320, 240));
    if (adjust) adjust(s);
    return call<T>(t, s);
  }
};

}  // namespace
}  // namespace tavo::test
