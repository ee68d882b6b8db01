// Bounds on the work the host is asked for, so that no input can make it
// run out of memory: every source of a resolution (a scene's camera, the
// command line) is checked against the one cap. docs/errors.md lists them all.
#pragma once

#include <string>

#include "declarations.h"

namespace tavo::host {

// Pixels of an image: 2^26 pixels are 1 GiB of RGBA floats.
inline constexpr long long kMaxPixels = 1LL << 26;
// Rendering threads a command may ask for.
inline constexpr int kMaxThreads = 1024;

// Raises Error unless width x height is a resolution the host renders.
inline void check_resolution(long long width, long long height) {
  const std::string size = std::to_string(width) + "x" + std::to_string(height);
  if (width < 1 || height < 1) throw Error("a resolution needs a positive width and height, found " + size);
  if (width > kMaxPixels || height > kMaxPixels || width * height > kMaxPixels)
    throw Error("a resolution of " + size + " is more than the " + std::to_string(kMaxPixels) + " pixels an image may have");
}

}  // namespace tavo::host
