// One version function, exported under every shader's `<name>_version`.
#include "frame.h"

extern "C" int tavo::tavo_shader_version(void) { return 1; }

#define TAVO_SHADER(name) \
  TAVO_EXPORT int name##_version(void) __attribute__((alias("tavo_shader_version")));
#include "shaders.def"
