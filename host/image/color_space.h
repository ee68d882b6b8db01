// The colour spaces textures are stored in. The renderer works in linear
// light: an image stored sRGB-encoded (8-bit images, unless the scene says
// otherwise) is decoded once, when it is loaded; float images are linear.
#pragma once

#include <string>

#include "texture.h"

namespace tavo::host {

enum class ColorSpace { Srgb, Linear };

// What a file holds unless the scene says otherwise: linear for the float
// formats (.exr, .hdr, .pfm), sRGB for every other.
ColorSpace stored_color_space(const std::string &path);

// "srgb" or "linear"; raises Error for another name.
ColorSpace color_space_named(const std::string &name);

// The linear value of an sRGB-encoded one.
float srgb_decode(float encoded);

// The image in linear light: RGB decoded from sRGB (alpha stays), mip levels rebuilt.
Image decoded_from_srgb(const Image &image);

}  // namespace tavo::host
