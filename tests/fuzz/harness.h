// What the fuzzing harnesses share. Each harness is one LLVMFuzzerTestOneInput:
// under libFuzzer (make fuzz) it is fuzzed; in the ordinary build replay.cpp
// runs it over its corpus, so that every input that ever failed stays a test.
// An input may be rejected with host::Error; anything else (a crash, another
// exception, a sanitizer's report, a hang) is a finding.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "renderer_core.h"

namespace tavo::fuzz {

inline std::string_view text(const std::uint8_t *data, std::size_t size) {
  return {reinterpret_cast<const char *>(data), size};
}

// The host as tavo starts it: nothing but the shader library and its declarations.
inline host::Renderer &fresh_host() {
  host::Renderer &renderer = host::Renderer::get();
  renderer.reset();
  renderer.load_library(TAVO_FUZZ_LIBRARY_DIR "/tavoshaders" TAVO_FUZZ_SUFFIX,
                        TAVO_FUZZ_LIBRARY_DIR "/tavoshaders.mi");
  return renderer;
}

}  // namespace tavo::fuzz
