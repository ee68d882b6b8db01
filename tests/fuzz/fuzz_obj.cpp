// Wavefront OBJ meshes, at a scale and offset the input's first line may give.
#include <cstdio>

#include "geometry.h"
#include "harness.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  const std::string_view content = tavo::fuzz::text(data, size);
  float scale = 1.0f;
  miVector offset{0, 0, 0};
  if (content.starts_with("# scale")) std::sscanf(std::string(content.substr(0, 80)).c_str(), "# scale %f %f %f %f", &scale, &offset.x, &offset.y, &offset.z);
  try {
    tavo::host::parse_obj(content, "fuzz.obj", scale, offset);
  } catch (const tavo::host::Error &) {
  }
  return 0;
}
