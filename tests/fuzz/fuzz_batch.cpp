// tavo eval --batch: each line a command of its own, run through the whole
// tool (options, scenes beside the examples, the shader's life cycle); the
// documents go nowhere.
#include <unistd.h>

#include <cstdio>
#include <string>

#include "command.h"
#include "harness.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  static const std::string batch = [] {
    std::freopen("/dev/null", "w", stdout);
    if (chdir(TAVO_FUZZ_EXAMPLES) != 0) std::perror(TAVO_FUZZ_EXAMPLES);  // lines name the example scenes
    return "/tmp/tavo-fuzz-batch-" + std::to_string(getpid()) + ".txt";
  }();
  if (std::FILE *file = std::fopen(batch.c_str(), "wb")) {
    std::fwrite(data, 1, size, file);
    std::fclose(file);
  }
  try {
    tavo::tool::run_batch(batch, TAVO_FUZZ_LIBRARY_DIR "/tavoshaders" TAVO_FUZZ_SUFFIX);
  } catch (const tavo::host::Error &) {
  }
  return 0;
}
