// Image comparison in the image-file module, with OpenImageIO's own
// comparison: the numbers `tavo diff` prints and the image tests check.
#include <OpenImageIO/imagebuf.h>
#include <OpenImageIO/imagebufalgo.h>

#include <cstring>
#include <string>

#include "image_compare_record.h"

namespace {

int fail_with(char *error, std::size_t size, const std::string &text) {
  if (error && size) {
    std::strncpy(error, text.c_str(), size - 1);
    error[size - 1] = '\0';
  }
  return 0;
}

}  // namespace

// Compares the two files channel by channel; with `difference` set, writes
// |a - b| x scale there. Returns 0 with the reason in `error` when a file
// cannot be read or written; sizes that differ are a result, not an error.
extern "C" __attribute__((visibility("default"))) int tavo_image_compare(const char *a, const char *b,
                                                                          const TavoImageComparison *settings,
                                                                          TavoImageComparison *out,
                                                                          const char *difference, char *error,
                                                                          std::size_t error_size) {
  OIIO::ImageBuf first(a), second(b);
  for (const auto &[image, path] : {std::pair{&first, a}, std::pair{&second, b}})
    if (!image->read(0, 0, true, OIIO::TypeDesc::FLOAT))
      return fail_with(error, error_size, "\"" + std::string(path) + "\": " + image->geterror());
  *out = *settings;
  const OIIO::ImageSpec &s1 = first.spec(), &s2 = second.spec();
  out->width = s1.width, out->height = s1.height, out->channels = s1.nchannels;
  out->other_width = s2.width, out->other_height = s2.height, out->other_channels = s2.nchannels;
  if (s1.width != s2.width || s1.height != s2.height || s1.nchannels != s2.nchannels) return 1;
  const OIIO::ImageBufAlgo::CompareResults r = OIIO::ImageBufAlgo::compare(
      first, second, static_cast<float>(settings->fail_threshold), static_cast<float>(settings->warn_threshold));
  // `error` is also set when the images merely differ: only a message tells a real failure.
  if (const std::string why = OIIO::geterror(); r.error && !why.empty()) return fail_with(error, error_size, why);
  out->mean_error = r.meanerror, out->rms_error = r.rms_error, out->psnr = r.PSNR, out->max_error = r.maxerror;
  out->max_x = r.maxx, out->max_y = r.maxy, out->max_channel = r.maxc;
  out->failing = static_cast<long long>(r.nfail), out->warning = static_cast<long long>(r.nwarn);
  if (difference && *difference) {
    OIIO::ImageBuf diff = OIIO::ImageBufAlgo::absdiff(first, second);
    diff = OIIO::ImageBufAlgo::mul(diff, static_cast<float>(settings->scale));
    if (diff.has_error() || !diff.write(difference))
      return fail_with(error, error_size, "\"" + std::string(difference) + "\": " + diff.geterror());
  }
  return 1;
}
