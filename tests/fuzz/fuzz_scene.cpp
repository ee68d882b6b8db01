// Scene files: the whole parser, includes, textures and meshes beside the
// examples, phenomena, and the scene's build for tracing.
#include "harness.h"
#include "scene_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  tavo::fuzz::fresh_host();
  try {
    tavo::host::parse_scene(tavo::fuzz::text(data, size), TAVO_FUZZ_EXAMPLES "/fuzz.mi", {TAVO_FUZZ_LIBRARY_DIR});
  } catch (const tavo::host::Error &) {
  }
  return 0;
}
