#include "bench.h"

#include <filesystem>

#include "scene.h"

namespace tavo::bench {

host::Renderer &renderer() {
  static host::Renderer &r = [] () -> host::Renderer & {
    host::Renderer &loaded = host::Renderer::get();
    loaded.load_library(TAVO_LIBRARY, TAVO_DECLARATIONS);
    loaded.load_library(TAVO_TEST_SHADERS, TAVO_TEST_DECLARATIONS);
    return loaded;
  }();
  return r;
}

host::ShadingState &shading() {
  static host::ShadingState state;
  return state;
}

const host::LoadedScene &gallery() {
  static const host::LoadedScene loaded = [] {
    renderer();
    const std::string lib = std::filesystem::path(TAVO_LIBRARY).parent_path().string();
    host::LoadedScene scene = host::load_scene(std::string(TAVO_EXAMPLES) + "/gallery.mi", {lib});
    renderer().set_current_scene(scene.scene);
    renderer().set_scene(scene.record.value_or(host::Renderer::default_scene()));
    return scene;
  }();
  return loaded;
}

}  // namespace tavo::bench
