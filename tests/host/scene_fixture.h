// The reference host as a renderer: scenes, rays, textures and shader calls, with its helper shaders loaded.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <iterator>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "host_fixture.h"
#include "pixel.h"
#include "scene.h"
#include "scene_file.h"
#include "shading.h"
#include "texture.h"

namespace tavo::test {

using host::operator+;
using host::operator-;
using host::operator*;

class SceneTest : public HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    renderer().load_library(TAVO_HELPERS, TAVO_HELPER_DECLARATIONS);
  }

  // Reads a scene from text and makes it the one that traces answer from.
  static host::LoadedScene load(const std::string &text, const std::string &file = "scene.mi") {
    host::LoadedScene loaded = host::parse_scene(text, file, {});
    renderer().set_current_scene(loaded.scene);
    return loaded;
  }

  static miTag tag(const std::string &name) { return renderer().named(name); }

  // A committed scene of `objects` seen against `environment`, the one that traces answer from.
  static host::Scene &scene_of(std::vector<host::Object> objects = {}, miTag environment = 0) {
    auto scene = std::make_shared<host::Scene>();
    for (host::Object &o : objects) scene->add(std::move(o));
    scene->commit();
    scene->environment = environment;
    renderer().set_current_scene(scene);
    return *scene;
  }

  // A file in a directory of the test's own (ctest runs tests side by side).
  static std::string write_file(const std::string &name, const std::string &text) {
    const std::filesystem::path dir = std::filesystem::path(::testing::TempDir()) / "tavo_host_tests" /
                                      ::testing::UnitTest::GetInstance()->current_test_info()->name();
    std::filesystem::create_directories(dir);
    const std::string path = (dir / name).string();
    std::ofstream(path) << text;
    return path;
  }

  // A square image of n x n texels, written as floats so that every value stays exact.
  static std::string texture_file(const std::string &name, int n, miColor (*texel)(int, int)) {
    const std::string path = write_file(name, "");
    std::vector<float> rgba;
    for (int row = 0; row < n; ++row)
      for (int i = 0; i < n; ++i) {
        const miColor c = texel(i, n - 1 - row);
        rgba.insert(rgba.end(), {c.r, c.g, c.b, c.a});
      }
    host::write_image(path, n, n, rgba);
    return path;
  }
};

}  // namespace tavo::test
