// Comparing two image files, as `tavo diff` and the image tests do: the
// mean, RMS and maximum channel differences, PSNR, and how many values lie
// over a failure and a warning threshold, with OpenImageIO's comparison.
#pragma once

#include <string>

#include "image_compare_record.h"

namespace tavo::host {

struct CompareSettings {
  double fail = 1e-6;   // a value differing by more fails
  double warn = 1e-6;   // ... or warns
  std::string difference;  // when set, |a - b| x scale is written to this file
  double scale = 1;
};

struct ImageComparison : TavoImageComparison {
  bool same_size() const {
    return width == other_width && height == other_height && channels == other_channels;
  }
  long long pixels() const { return static_cast<long long>(width) * height; }
};

// Raises Error naming the file that cannot be read (or written).
ImageComparison compare_images(const std::string &a, const std::string &b, const CompareSettings &settings = {});

}  // namespace tavo::host
