#include "bench.h"

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

}  // namespace tavo::bench
