// Declarations files: types, structs, arrays, defaults, phenomena, gui blocks.
#include "declarations.h"
#include "harness.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  try {
    tavo::host::parse_declarations(tavo::fuzz::text(data, size), "fuzz.mi");
  } catch (const tavo::host::Error &) {
  }
  return 0;
}
