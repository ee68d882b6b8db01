#include "color_space.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <filesystem>

namespace tavo::host {

ColorSpace stored_color_space(const std::string &path) {
  std::string ext = std::filesystem::path(path).extension().string();
  std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
  return ext == ".exr" || ext == ".hdr" || ext == ".pfm" ? ColorSpace::Linear : ColorSpace::Srgb;
}

ColorSpace color_space_named(const std::string &name) {
  if (name == "srgb") return ColorSpace::Srgb;
  if (name == "linear") return ColorSpace::Linear;
  throw Error("a colour space is \"srgb\" or \"linear\", found \"" + name + "\"");
}

float srgb_decode(float encoded) {
  if (!(encoded > 0.04045f)) return encoded > 0.0f ? encoded / 12.92f : 0.0f;
  return std::pow((encoded + 0.055f) / 1.055f, 2.4f);
}

Image decoded_from_srgb(const Image &image) {
  Image::Level base = image.levels().front();
  for (miColor &c : base.texels) c = {srgb_decode(c.r), srgb_decode(c.g), srgb_decode(c.b), c.a};
  return Image(image.name(), std::move(base));
}

}  // namespace tavo::host
