// Image files through OpenImageIO, in a module of their own: OpenImageIO
// brings a few hundred libraries with it, and the renderer loads this module
// only when a scene first reads or writes an image (texture.cpp). No
// exception crosses these C entry points.
#include <OpenImageIO/filesystem.h>
#include <OpenImageIO/imageio.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#define TAVO_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

// The host reads and writes a handful of images a run: no thread pools of
// OpenImageIO's or OpenEXR's own, whose threads would outlive every call (a
// pool thread still starting when a short program exits has crashed
// LeakSanitizer's stop-the-world).
const bool g_single_threaded = [] {
  OIIO::attribute("threads", 1);
  OIIO::attribute("exr_threads", -1);
  return true;
}();

int fail_with(char *error, std::size_t size, std::string text) {
  if (text.empty()) text = "the file is damaged or cut short";
  while (!text.empty() && (text.back() == '\n' || text.back() == '.')) text.pop_back();
  if (error && size) {
    std::strncpy(error, text.c_str(), size - 1);
    error[size - 1] = '\0';
  }
  return 0;
}

// What went wrong, from the object or else from OpenImageIO's global log
// (read either way, so that no message is left pending).
template <typename T>
std::string why(T &object) {
  const std::string global = OIIO::geterror();
  const std::string own = object.geterror();
  return own.empty() ? global : own;
}

using Input = std::unique_ptr<OIIO::ImageInput>;

}  // namespace

// Opens an image and reads its header: its size and how many channels (1 to
// 4, the first ones) are used. Past `limit_mb` megabytes of pixels (0: no
// limit of ours) OpenImageIO refuses to decode it. Null with the reason in
// `error` on failure; release with tavo_image_close.
TAVO_EXPORT void *tavo_image_open(const char *path, long long limit_mb, int *width, int *height, int *channels,
                                  char *error, std::size_t error_size) {
  try {
    if (limit_mb > 0) OIIO::attribute("limits:imagesize_MB", static_cast<int>(std::min(limit_mb, 1LL << 30)));
    Input input = OIIO::ImageInput::open(path);
    if (!input) {
      fail_with(error, error_size, OIIO::geterror());
      return nullptr;
    }
    const OIIO::ImageSpec &spec = input->spec();
    if (spec.width <= 0 || spec.height <= 0 || spec.nchannels < 1 || spec.depth != 1 || spec.deep) {
      fail_with(error, error_size, "unsupported image: " + std::to_string(spec.width) + "x" +
                                       std::to_string(spec.height) + "x" + std::to_string(spec.depth) + ", " +
                                       std::to_string(spec.nchannels) + " channels" + (spec.deep ? ", deep" : ""));
      return nullptr;
    }
    *width = spec.width, *height = spec.height, *channels = std::min(spec.nchannels, 4);
    return input.release();
  } catch (const std::exception &e) {
    fail_with(error, error_size, e.what());
    return nullptr;
  }
}

// Reads the first `channels` channels of every pixel as floats into `rgba`,
// four floats a pixel (the rest left as they are), rows top first.
TAVO_EXPORT int tavo_image_read(void *image, int channels, float *rgba, char *error, std::size_t error_size) {
  auto &input = *static_cast<OIIO::ImageInput *>(image);
  try {
    const OIIO::stride_t pixel = 4 * sizeof(float);
    if (!input.read_image(0, 0, 0, channels, OIIO::TypeDesc::FLOAT, rgba, pixel, pixel * input.spec().width))
      return fail_with(error, error_size, why(input));
    return 1;
  } catch (const std::exception &e) {
    return fail_with(error, error_size, e.what());
  }
}

TAVO_EXPORT void tavo_image_close(void *image) { Input(static_cast<OIIO::ImageInput *>(image)); }

// How many of `channels` (3: RGB, 4: RGBA) the format that `path`'s extension
// picks can hold: 3 when it has no alpha. 0 with the reason when OpenImageIO
// has no writer for it, or none that can write to memory.
TAVO_EXPORT int tavo_image_channels(const char *path, int channels, char *error, std::size_t error_size) {
  try {
    auto output = OIIO::ImageOutput::create(path);
    if (!output) {
      OIIO::geterror();
      const std::string ext = OIIO::Filesystem::extension(path);
      return fail_with(error, error_size, "no image format has the extension '" + ext + "' (.png, .jpg, .exr, .tif, ...)");
    }
    if (!output->supports("ioproxy"))
      return fail_with(error, error_size, std::string("tavo cannot write ") + output->format_name() +
                                              " files whole or not at all; choose .png, .jpg, .exr, .tif, ...");
    return channels == 4 && !output->supports("alpha") ? 3 : channels;
  } catch (const std::exception &e) {
    return fail_with(error, error_size, e.what());
  }
}

// Encodes rows (top first) of `channels` floats a pixel in the format that
// `path`'s extension picks, with `attribute_count` name/value pairs of text
// metadata, in memory: *encoded holds the bytes (release it
// with tavo_image_free), *bytes and *size tell where they are. Nothing is
// written to any file.
TAVO_EXPORT int tavo_image_encode(const char *path, int width, int height, int channels, const float *pixels,
                                  const char *const *attributes, int attribute_count, void **encoded,
                                  const unsigned char **bytes, std::size_t *size, char *error, std::size_t error_size) {
  try {
    auto output = OIIO::ImageOutput::create(path);
    if (!output) return fail_with(error, error_size, OIIO::geterror());
    auto buffer = std::make_unique<std::vector<unsigned char>>();
    OIIO::Filesystem::IOVecOutput memory(*buffer);
    if (!output->set_ioproxy(&memory)) return fail_with(error, error_size, why(*output));
    OIIO::ImageSpec spec(width, height, channels, OIIO::TypeDesc::FLOAT);
    // name, value, name, value, ...: text the file format keeps as metadata
    for (int i = 0; i + 1 < 2 * attribute_count; i += 2) spec.attribute(attributes[i], attributes[i + 1]);
    if (!output->open(path, spec) || !output->write_image(OIIO::TypeDesc::FLOAT, pixels) || !output->close())
      return fail_with(error, error_size, why(*output));
    *bytes = buffer->data(), *size = buffer->size();
    *encoded = buffer.release();
    return 1;
  } catch (const std::exception &e) {
    return fail_with(error, error_size, e.what());
  }
}

TAVO_EXPORT void tavo_image_free(void *encoded) { delete static_cast<std::vector<unsigned char> *>(encoded); }
