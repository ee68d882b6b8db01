// Images as the renderer keeps them for texture lookups: RGBA floats with a
// box-filtered mip pyramid, read with OpenImageIO (through the image module,
// tavoimageio.so, loaded on first use). Texture coordinates run
// from 0 to 1 across the image, x to the right and y upwards (y = 0 is the
// bottom edge), and repeat outside that range. Texel (i, j) has its centre at
// ((i + 0.5) / width, (j + 0.5) / height), j counted from the bottom row.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "declarations.h"
#include "frame/renderer.h"

// The image record that mi_db_access hands out is this host's Image.
struct miImg_image {};

namespace tavo::host {

class Image : public miImg_image {
 public:
  struct Level {
    int width = 0;
    int height = 0;
    std::vector<miColor> texels;  // row by row, bottom row first
    const miColor &at(long long i, long long j) const;  // wraps both indices
  };

  // rows: top row first, as image files store them; 1 to 4 channels per texel
  // (grey, grey and alpha, RGB, RGBA; alpha 1 when absent).
  Image(std::string name, int width, int height, int channels, const std::vector<float> &rows);
  // Takes the texels of level 0 as they are and adds the mip levels.
  Image(std::string name, Level base);

  const std::string &name() const { return name_; }
  int width() const { return levels_.front().width; }
  int height() const { return levels_.front().height; }
  const std::vector<Level> &levels() const { return levels_; }

  // The texel of level 0 at column i, row j from the bottom (both wrapped).
  miColor texel(long long i, long long j) const { return levels_.front().at(i, j); }

  // Bilinear between the four texel centres around (x, y), repeating.
  miColor bilinear(int level, double x, double y) const;
  miColor nearest(int level, double x, double y) const;

  // Elliptical weighted average: the ellipse is the image of the unit circle
  // under x * (a) + y * (b) around centre c, all in texture coordinates.
  // Returns false when the ellipse is not finite.
  bool filtered(const miTexfilter &settings, double cx, double cy, double ax, double ay, double bx, double by,
                miColor &out) const;

 private:
  miColor ewa_level(int level, double cx, double cy, double m00, double m01, double m11, bool bilinear_fallback) const;

  std::string name_;
  std::vector<Level> levels_;
};

// What one texture may cost, checked from the file's header before anything
// is decoded: texels along either side, and bytes in memory with its mip
// levels (the file itself may not be larger either). The environment
// overrides the defaults: TAVO_TEXTURE_MAX_SIDE, TAVO_TEXTURE_MAX_MB.
struct TextureLimits {
  long long max_side = 65536;
  std::uintmax_t max_bytes = std::uintmax_t{2048} << 20;
};
// Raises Error for a malformed value in the environment.
TextureLimits texture_limits();
// The bytes a texture of width x height takes with its mip levels.
std::uintmax_t texture_bytes(long long width, long long height);

// Reads an image file within texture_limits(); raises Error naming the file
// and the reason when it cannot.
Image read_image(const std::string &path, const std::string &name);

// A file name whose extension names no format that can be written.
struct FormatError : Error {
  using Error::Error;
};

// How many of `channels` channels (3 or 4, RGB then alpha) a file of the
// format that `path`'s extension picks can hold: 3 when it has no alpha.
// Raises FormatError "cannot write the image "PATH": ..." when no writer
// handles the extension, Error when the file cannot be written there
// (files.h, OutputFile).
int check_image_output(const std::string &path, int channels);

// Text metadata of an image file, name and value: "Software", ...
using ImageAttributes = std::vector<std::pair<std::string, std::string>>;

// Writes rows (top row first) of `channels` floats a texel (3 or 4) to a file
// whose extension picks the format, whole or not at all (OutputFile), with
// the attributes as the format's metadata.
void write_image(const std::string &path, int width, int height, int channels, const std::vector<float> &pixels,
                 const ImageAttributes &attributes = {});
inline void write_image(const std::string &path, int width, int height, const std::vector<float> &rgba) {
  write_image(path, width, height, 4, rgba);
}

}  // namespace tavo::host
