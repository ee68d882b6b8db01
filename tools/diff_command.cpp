// tavo diff A B: how far two images differ, with the thresholds and exit
// statuses that image-comparison tools of this field use:
//   0 the images match within the warning threshold
//   1 they differ by more than the warning allows (a warning)
//   2 they differ by more than the failure allows (a failure)
//   3 their sizes or channel counts differ
//   4 a file cannot be read (or the difference image written)
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <limits>

#include "command.h"
#include "compare.h"
#include "report.h"
#include "values.h"

using namespace tavo::host;

namespace tavo::tool {

namespace {

constexpr const char *kChannels = "RGBA";

std::string channel_name(int c) { return c >= 0 && c < 4 ? std::string(1, kChannels[c]) : std::to_string(c); }

}  // namespace

void add_diff_options(CLI::App &app, DiffOptions &options) {
  app.add_option("A", options.a, "the first image")->required();
  app.add_option("B", options.b, "the second image")->required();
  app.add_option("--fail", options.fail, "a channel differing by more than this fails (default 1e-6)");
  app.add_option("--failpercent", options.fail_percent, "... unless at most this percentage of pixels do (default 0)");
  app.add_option("--hardfail", options.hard_fail, "a channel differing by more than this always fails (default: none)");
  app.add_option("--warn", options.warn, "a channel differing by more than this warns (default 1e-6)");
  app.add_option("--warnpercent", options.warn_percent, "... unless at most this percentage of pixels do (default 0)");
  app.add_option("--hardwarn", options.hard_warn, "a channel differing by more than this always warns (default: none)");
  app.add_option("-o,--output", options.difference, "write |A - B| x scale to this image");
  app.add_option("--scale", options.scale, "scale of the difference image (default 1)");
  app.add_flag("--json", options.json, "print the figures as JSON");
}

int run_diff(const DiffOptions &options) {
  CompareSettings settings;
  settings.fail = options.fail;
  settings.warn = options.warn;
  settings.difference = options.difference;
  settings.scale = options.scale;
  ImageComparison r;
  try {
    r = compare_images(options.a, options.b, settings);
  } catch (const Error &e) {
    std::fprintf(stderr, "tavo: %s\n", e.what());
    return 4;
  }
  if (!r.same_size()) {
    std::fprintf(stderr, "tavo: the images differ in size: %dx%d with %d channels against %dx%d with %d\n", r.width,
                 r.height, r.channels, r.other_width, r.other_height, r.other_channels);
    return 3;
  }
  const double pixels = static_cast<double>(std::max(r.pixels(), 1LL));
  const bool failed = r.failing > options.fail_percent / 100.0 * pixels || r.max_error > options.hard_fail;
  const bool warned = r.warning > options.warn_percent / 100.0 * pixels || r.max_error > options.hard_warn;
  const int status = failed ? 2 : warned ? 1 : 0;
  const char *verdict = failed ? "FAILURE" : warned ? "WARNING" : "PASS";
  const std::string psnr = std::isfinite(r.psnr) ? format_scalar(static_cast<float>(r.psnr)) : "inf";
  if (options.json) {
    std::printf("{\"a\": %s, \"b\": %s, \"width\": %d, \"height\": %d, \"channels\": %d, \"mean_error\": %.9g, "
                "\"rms_error\": %.9g, \"psnr\": %s, \"max_error\": %.9g, \"max_pixel\": [%d, %d], \"max_channel\": %s, "
                "\"over_fail\": %lld, \"over_warn\": %lld, \"result\": \"%s\", \"status\": %d}\n",
                json_string(options.a).c_str(), json_string(options.b).c_str(), r.width, r.height, r.channels,
                r.mean_error, r.rms_error, std::isfinite(r.psnr) ? psnr.c_str() : "null", r.max_error, r.max_x,
                r.max_y, json_string(channel_name(r.max_channel)).c_str(), r.failing, r.warning, verdict, status);
    return status;
  }
  std::printf("Comparing \"%s\" and \"%s\" (%dx%d, %d channels)\n", options.a.c_str(), options.b.c_str(), r.width,
              r.height, r.channels);
  std::printf("  Mean error = %.6g\n  RMS error = %.6g\n  Peak SNR = %s\n", r.mean_error, r.rms_error, psnr.c_str());
  std::printf("  Max error  = %.6g @ (%d, %d, %s)\n", r.max_error, r.max_x, r.max_y,
              channel_name(r.max_channel).c_str());
  std::printf("  %lld pixels (%.3g%%) over %g\n", r.failing, 100.0 * r.failing / pixels, options.fail);
  if (options.warn != options.fail)
    std::printf("  %lld pixels (%.3g%%) over %g\n", r.warning, 100.0 * r.warning / pixels, options.warn);
  std::printf("%s\n", verdict);
  return status;
}

}  // namespace tavo::tool
