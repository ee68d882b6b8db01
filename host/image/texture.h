// Images as the renderer keeps them for texture lookups: RGBA floats with a
// box-filtered mip pyramid, read with OpenImageIO (through the image module,
// tavoimageio.so, loaded on first use). Texture coordinates run
// from 0 to 1 across the image, x to the right and y upwards (y = 0 is the
// bottom edge), and repeat outside that range. Texel (i, j) has its centre at
// ((i + 0.5) / width, (j + 0.5) / height), j counted from the bottom row.
#pragma once

#include <string>
#include <vector>

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

// Reads an image file; raises Error naming the file when it cannot.
Image read_image(const std::string &path, const std::string &name);

// Writes RGBA rows (top row first) to a file whose extension picks the format.
void write_image(const std::string &path, int width, int height, const std::vector<float> &rgba);

}  // namespace tavo::host
