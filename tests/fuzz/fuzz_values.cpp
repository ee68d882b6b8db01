// Parameter values as tavo eval takes them: PATH=WORDS lines ("color=1,0,0",
// "layers[2].mode=3") given to one shader of the library or of the tests'
// own (arrays, structs, tags), picked by the first byte; the instance's block
// is built from them.
#include <vector>

#include "harness.h"
#include "values.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  using namespace tavo::host;
  if (size == 0) return 0;
  Renderer &renderer = tavo::fuzz::fresh_host();
  renderer.load_library(TAVO_FUZZ_LIBRARY_DIR "/testshaders" TAVO_FUZZ_SUFFIX, TAVO_FUZZ_LIBRARY_DIR "/testshaders.mi");
  std::vector<const Function *> shaders;
  for (const Function *fn : renderer.functions())
    if (!fn->decl.phenomenon) shaders.push_back(fn);
  const Function &shader = *shaders[data[0] % shaders.size()];
  std::vector<Assignment> assignments;
  for (const std::string &line : split_words(tavo::fuzz::text(data + 1, size - 1), '\n')) {
    const std::size_t equals = line.find('=');
    if (equals == std::string::npos) continue;
    assignments.push_back({line.substr(0, equals), split_words(line.substr(equals + 1), ','), 0, {}});
  }
  try {
    renderer.create_instance(shader.decl.name, assignments);
  } catch (const Error &) {
  }
  return 0;
}
