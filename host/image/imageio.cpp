// Image files through OpenImageIO, in a module of their own: OpenImageIO
// brings a few hundred libraries with it, and the renderer loads this module
// only when a scene first reads or writes an image (texture.cpp).
#include <OpenImageIO/imageio.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

namespace {

void put_error(char *error, std::size_t size, const std::string &text) {
  if (!error || size == 0) return;
  std::strncpy(error, text.c_str(), size - 1);
  error[size - 1] = '\0';
}

}  // namespace

// Reads the first 1 to 4 channels of an image as floats, rows top first.
// The pixels are allocated with malloc; release them with tavo_image_free.
extern "C" __attribute__((visibility("default"))) int tavo_image_read(const char *path, int *width, int *height,
                                                                       int *channels, float **pixels, char *error,
                                                                       std::size_t error_size) {
  auto input = OIIO::ImageInput::open(path);
  if (!input) {
    std::string why = OIIO::geterror();
    if (!std::filesystem::exists(path)) why = "no such file";
    put_error(error, error_size, why.empty() ? "unknown format" : why);
    return 0;
  }
  const OIIO::ImageSpec &spec = input->spec();
  const int n = std::min(spec.nchannels, 4);
  if (spec.width <= 0 || spec.height <= 0 || n < 1 || static_cast<long long>(spec.width) * spec.height > (1LL << 26)) {
    put_error(error, error_size, "unsupported size " + std::to_string(spec.width) + "x" + std::to_string(spec.height));
    return 0;
  }
  auto *data = static_cast<float *>(std::malloc(sizeof(float) * spec.width * spec.height * n));
  if (!data || !input->read_image(0, 0, 0, n, OIIO::TypeDesc::FLOAT, data)) {
    put_error(error, error_size, data ? input->geterror() : "out of memory");
    std::free(data);
    return 0;
  }
  *width = spec.width, *height = spec.height, *channels = n, *pixels = data;
  return 1;
}

extern "C" __attribute__((visibility("default"))) void tavo_image_free(float *pixels) { std::free(pixels); }

// Writes RGBA floats, rows top first; the file's extension picks the format.
extern "C" __attribute__((visibility("default"))) int tavo_image_write(const char *path, int width, int height,
                                                                        const float *rgba, char *error,
                                                                        std::size_t error_size) {
  auto output = OIIO::ImageOutput::create(path);
  if (!output) {
    put_error(error, error_size, OIIO::geterror());
    return 0;
  }
  const OIIO::ImageSpec spec(width, height, 4, OIIO::TypeDesc::FLOAT);
  if (!output->open(path, spec) || !output->write_image(OIIO::TypeDesc::FLOAT, rgba) || !output->close()) {
    put_error(error, error_size, output->geterror());
    return 0;
  }
  return 1;
}
