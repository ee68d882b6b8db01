#include "texture.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>

#include "declarations.h"
#include "files.h"
#include "image_module.h"
#include "values.h"

namespace tavo::host {

namespace {

// Past this many texels in an ellipse's bounding box the lookup moves up a mip level.
constexpr double kMaxFootprintTexels = 65536.0;
// Texels along the minor axis when the settings give no positive maximum.
constexpr double kDefaultMaxMinor = 16.0;
// A zero-width ellipse is widened to this (texels) so that it stays invertible.
constexpr double kThinnestAxis = 1e-3;

long long wrap(long long i, int n) {
  const long long m = i % n;
  return m < 0 ? m + n : m;
}

// Reduces a texel coordinate into [0, n): large coordinates stay in range of long long.
double wrap_coordinate(double x, int n) { return x - std::floor(x / n) * n; }

miColor add_scaled(miColor acc, const miColor &c, double w) {
  acc.r += static_cast<float>(w * c.r);
  acc.g += static_cast<float>(w * c.g);
  acc.b += static_cast<float>(w * c.b);
  acc.a += static_cast<float>(w * c.a);
  return acc;
}

// Averages src into width x height texels; each output texel takes the area-weighted
// mean of the source texels it covers, so every level keeps the image's mean.
// Row by row: the only scratch is one row of the output's width.
Image::Level downsample(const Image::Level &src, int width, int height) {
  struct Tap {
    int out, in;
    double weight;
  };
  const auto taps = [](int from, int to) {
    std::vector<Tap> out;
    const double span = static_cast<double>(from) / to;
    for (int o = 0; o < to; ++o) {
      const double lo = o * span;
      const double hi = lo + span;
      for (int k = static_cast<int>(std::floor(lo)); k < from && k < hi; ++k) {
        const double overlap = std::min<double>(hi, k + 1) - std::max<double>(lo, k);
        if (overlap > 0) out.push_back({o, k, overlap / span});
      }
    }
    return out;
  };
  const std::vector<Tap> across = taps(src.width, width), down = taps(src.height, height);
  Image::Level out;
  out.width = width;
  out.height = height;
  out.texels.assign(static_cast<std::size_t>(width) * height, miColor{0, 0, 0, 0});
  std::vector<miColor> row(static_cast<std::size_t>(width));
  for (const Tap &v : down) {
    std::fill(row.begin(), row.end(), miColor{0, 0, 0, 0});
    const miColor *in = &src.texels[static_cast<std::size_t>(v.in) * src.width];
    for (const Tap &h : across) row[h.out] = add_scaled(row[h.out], in[h.in], h.weight);
    miColor *dest = &out.texels[static_cast<std::size_t>(v.out) * width];
    for (int i = 0; i < width; ++i) dest[i] = add_scaled(dest[i], row[i], v.weight);
  }
  return out;
}

// A texel whose first `channels` components hold what the file gave, as RGBA.
void expand(miColor &c, int channels) {
  if (channels == 1) c = {c.r, c.r, c.r, 1.0f};
  else if (channels == 2) c = {c.r, c.r, c.r, c.g};
  else if (channels == 3) c.a = 1.0f;
}

}  // namespace

const miColor &Image::Level::at(long long i, long long j) const {
  return texels[static_cast<std::size_t>(wrap(j, height)) * width + static_cast<std::size_t>(wrap(i, width))];
}

Image::Image(std::string name, int width, int height, int channels, const std::vector<float> &rows)
    : name_(std::move(name)) {
  if (width <= 0 || height <= 0 || channels < 1 || channels > 4 ||
      rows.size() != static_cast<std::size_t>(width) * height * channels)
    throw Error(name_ + ": an image needs a positive size and 1 to 4 channels per texel");
  Level base;
  base.width = width;
  base.height = height;
  base.texels.resize(static_cast<std::size_t>(width) * height);
  for (int row = 0; row < height; ++row) {
    const int j = height - 1 - row;  // files store the top row first
    for (int i = 0; i < width; ++i) {
      miColor &c = base.texels[static_cast<std::size_t>(j) * width + i];
      std::copy_n(&rows[(static_cast<std::size_t>(row) * width + i) * channels], channels, &c.r);
      expand(c, channels);
    }
  }
  *this = Image(name_, std::move(base));
}

Image::Image(std::string name, Level base) : name_(std::move(name)) {
  if (base.width <= 0 || base.height <= 0 || base.texels.size() != static_cast<std::size_t>(base.width) * base.height)
    throw Error(name_ + ": an image needs a positive size and a texel for each place");
  levels_.push_back(std::move(base));
  while (levels_.back().width > 1 || levels_.back().height > 1) {
    const Level &last = levels_.back();
    levels_.push_back(downsample(last, std::max(1, last.width / 2), std::max(1, last.height / 2)));
  }
}

miColor Image::nearest(int level, double x, double y) const {
  const Level &l = levels_[level];
  const double tx = wrap_coordinate(x * l.width, l.width);
  const double ty = wrap_coordinate(y * l.height, l.height);
  return l.at(static_cast<long long>(tx), static_cast<long long>(ty));
}

miColor Image::bilinear(int level, double x, double y) const {
  const Level &l = levels_[level];
  const double tx = wrap_coordinate(x * l.width - 0.5, l.width);
  const double ty = wrap_coordinate(y * l.height - 0.5, l.height);
  const long long i = static_cast<long long>(std::floor(tx));
  const long long j = static_cast<long long>(std::floor(ty));
  const double fx = tx - i;
  const double fy = ty - j;
  miColor out{0, 0, 0, 0};
  out = add_scaled(out, l.at(i, j), (1 - fx) * (1 - fy));
  out = add_scaled(out, l.at(i + 1, j), fx * (1 - fy));
  out = add_scaled(out, l.at(i, j + 1), (1 - fx) * fy);
  out = add_scaled(out, l.at(i + 1, j + 1), fx * fy);
  return out;
}

// One level's weighted average over the ellipse d' M^-1 d <= 1, M in this
// level's texels, centre (cx, cy) in this level's texel coordinates.
miColor Image::ewa_level(int level, double cx, double cy, double m00, double m01, double m11,
                         bool bilinear_fallback) const {
  const Level &l = levels_[level];
  if (l.width == 1 && l.height == 1) return l.texels.front();
  cx = wrap_coordinate(cx, l.width);
  cy = wrap_coordinate(cy, l.height);
  const double det = m00 * m11 - m01 * m01;
  const double ex = std::sqrt(m00);
  const double ey = std::sqrt(m11);
  double weights = 0;
  double sum[4] = {0, 0, 0, 0};
  if (det > 0) {
    const double q00 = m11 / det, q01 = -m01 / det, q11 = m00 / det;
    const long long i0 = static_cast<long long>(std::floor(cx - ex - 0.5));
    const long long i1 = static_cast<long long>(std::ceil(cx + ex - 0.5));
    const long long j0 = static_cast<long long>(std::floor(cy - ey - 0.5));
    const long long j1 = static_cast<long long>(std::ceil(cy + ey - 0.5));
    for (long long j = j0; j <= j1; ++j) {
      const double dy = j + 0.5 - cy;
      for (long long i = i0; i <= i1; ++i) {
        const double dx = i + 0.5 - cx;
        const double r2 = q00 * dx * dx + 2 * q01 * dx * dy + q11 * dy * dy;
        if (r2 > 1) continue;
        const double w = std::exp(-2.0 * r2);  // a Gaussian that has fallen to e^-2 at the rim
        const miColor &t = l.at(i, j);
        sum[0] += w * t.r, sum[1] += w * t.g, sum[2] += w * t.b, sum[3] += w * t.a;
        weights += w;
      }
    }
  }
  if (weights > 0)
    return {static_cast<float>(sum[0] / weights), static_cast<float>(sum[1] / weights),
            static_cast<float>(sum[2] / weights), static_cast<float>(sum[3] / weights)};
  // The ellipse falls between texel centres: read at its centre.
  const double x = cx / l.width, y = cy / l.height;
  return bilinear_fallback ? bilinear(level, x, y) : nearest(level, x, y);
}

bool Image::filtered(const miTexfilter &settings, double cx, double cy, double ax, double ay, double bx, double by,
                     miColor &out) const {
  const double w0 = width(), h0 = height();
  // The two axes in level-0 texels; M = J J' for J = [a b] describes the ellipse.
  ax *= w0, bx *= w0, ay *= h0, by *= h0;
  const double m00 = ax * ax + bx * bx, m01 = ax * ay + bx * by, m11 = ay * ay + by * by;
  if (!std::isfinite(m00) || !std::isfinite(m01) || !std::isfinite(m11) || !std::isfinite(cx) ||
      !std::isfinite(cy))
    return false;
  const double half = (m00 + m11) / 2;
  const double root = std::sqrt(std::max(0.0, half * half - (m00 * m11 - m01 * m01)));
  double major = std::sqrt(half + root);
  double minor = std::sqrt(std::max(0.0, half - root));
  double ex = 1, ey = 0;  // direction of the major axis
  if (std::abs(m01) > 1e-12 * (m00 + m11)) {
    ex = half + root - m11, ey = m01;
    const double n = std::hypot(ex, ey);
    ex /= n, ey /= n;
  } else if (m11 > m00) {
    ex = 0, ey = 1;
  }
  // eccmax bounds the eccentricity by widening the minor axis; circle_radius
  // is the smallest either axis may be.
  if (settings.eccmax >= 1.0f && minor * settings.eccmax < major) minor = major / settings.eccmax;
  if (settings.circle_radius > 0.0f) {
    minor = std::max<double>(minor, settings.circle_radius);
    major = std::max<double>(major, settings.circle_radius);
  }
  minor = std::max(minor, kThinnestAxis);
  major = std::max(major, minor);
  const double M00 = major * major * ex * ex + minor * minor * ey * ey;
  const double M01 = (major * major - minor * minor) * ex * ey;
  const double M11 = major * major * ey * ey + minor * minor * ex * ex;

  // The mip level at which the minor axis spans max_minor texels.
  const double max_minor = settings.max_minor > 0.0f ? settings.max_minor : kDefaultMaxMinor;
  const double ideal = std::max(0.0, std::log2(2 * minor / max_minor));
  const int top = static_cast<int>(levels_.size()) - 1;
  const bool blend = settings.bilinear != miFALSE;
  int level = static_cast<int>(blend ? std::floor(ideal) : std::ceil(ideal));
  double frac = blend ? ideal - std::floor(ideal) : 0.0;
  if (level >= top) level = top, frac = 0;
  const auto footprint = [&](int l) {
    const double sx = levels_[l].width / w0, sy = levels_[l].height / h0;
    return (2 * std::sqrt(M00) * sx + 2) * (2 * std::sqrt(M11) * sy + 2);
  };
  while (level < top && footprint(level) > kMaxFootprintTexels) ++level, frac = 0;

  const auto at_level = [&](int l) {
    const double sx = levels_[l].width / w0, sy = levels_[l].height / h0;
    return ewa_level(l, cx * levels_[l].width, cy * levels_[l].height, M00 * sx * sx, M01 * sx * sy,
                     M11 * sy * sy, blend);
  };
  out = at_level(level);
  if (frac > 0 && level < top) {
    const miColor upper = at_level(level + 1);
    out = add_scaled(add_scaled(miColor{0, 0, 0, 0}, out, 1 - frac), upper, frac);
  }
  return true;
}

namespace {

// The image-file module's entry points (imageio.cpp), found on first use.
struct ImageIO {
  using Open = void *(*)(const char *, long long, int *, int *, int *, char *, std::size_t);
  using Read = int (*)(void *, int, float *, char *, std::size_t);
  using Close = void (*)(void *);
  using Channels = int (*)(const char *, int, char *, std::size_t);
  using Encode = int (*)(const char *, int, int, int, const float *, const char *const *, int, void **,
                        const unsigned char **, std::size_t *, char *, std::size_t);
  using Free = void (*)(void *);
  Open open = nullptr;
  Read read = nullptr;
  Close close = nullptr;
  Channels channels = nullptr;
  Encode encode = nullptr;
  Free free = nullptr;
  std::string error;
};

const ImageIO &image_io(const std::string &failure) {
  static const ImageIO io = [] {
    ImageIO loaded;
    try {
      loaded.open = image_module_function<ImageIO::Open>("tavo_image_open");
      loaded.read = image_module_function<ImageIO::Read>("tavo_image_read");
      loaded.close = image_module_function<ImageIO::Close>("tavo_image_close");
      loaded.channels = image_module_function<ImageIO::Channels>("tavo_image_channels");
      loaded.encode = image_module_function<ImageIO::Encode>("tavo_image_encode");
      loaded.free = image_module_function<ImageIO::Free>("tavo_image_free");
    } catch (const Error &e) {
      loaded.error = e.what();
    }
    return loaded;
  }();
  if (!io.error.empty()) throw Error(failure + io.error);
  return io;
}

// A limit from the environment: a positive integer, or the default.
long long environment_limit(const char *name, long long fallback) {
  const char *text = std::getenv(name);
  if (!text || !*text) return fallback;
  try {
    const int value = parse_integer(text);
    if (value > 0) return value;
  } catch (const Error &) {
  }
  throw Error(std::string(name) + ": expected a positive integer, found '" + text + "'");
}

// The header of an image the module has open: the file stays open while it lives.
struct OpenImage {
  const ImageIO &io;
  void *handle;
  ~OpenImage() { io.close(handle); }
};

}  // namespace

TextureLimits texture_limits() {
  TextureLimits limits;
  limits.max_side = environment_limit("TAVO_TEXTURE_MAX_SIDE", limits.max_side);
  limits.max_bytes =
      static_cast<std::uintmax_t>(environment_limit("TAVO_TEXTURE_MAX_MB", static_cast<long long>(limits.max_bytes >> 20)))
      << 20;
  return limits;
}

std::uintmax_t texture_bytes(long long width, long long height) {
  std::uintmax_t texels = 0;
  for (;;) {
    texels += static_cast<std::uintmax_t>(width) * static_cast<std::uintmax_t>(height);
    if (width == 1 && height == 1) break;
    width = std::max(1LL, width / 2), height = std::max(1LL, height / 2);
  }
  return texels * sizeof(miColor);
}

Image read_image(const std::string &path, const std::string &name) {
  const std::string failure = "cannot read the image \"" + path + "\": ";
  const TextureLimits limits = texture_limits();
  regular_file_size(path, "image", limits.max_bytes);
  const ImageIO &io = image_io(failure);
  int width = 0, height = 0, channels = 0;
  char error[512] = "";
  void *handle = io.open(path.c_str(), static_cast<long long>(limits.max_bytes >> 20), &width, &height, &channels,
                         error, sizeof error);
  if (!handle) throw Error(failure + error);
  const OpenImage image{io, handle};
  const std::string size = std::to_string(width) + "x" + std::to_string(height);
  if (width > limits.max_side || height > limits.max_side)
    throw Error(failure + "its size " + size + " is over the limit of " + std::to_string(limits.max_side) +
                " texels a side (TAVO_TEXTURE_MAX_SIDE)");
  const std::uintmax_t bytes = texture_bytes(width, height);
  if (bytes > limits.max_bytes)
    throw Error(failure + "a texture of " + size + " takes " + format_bytes((bytes + (1 << 20) - 1) >> 20 << 20) +
                ", over the limit of " + format_bytes(limits.max_bytes) + " (TAVO_TEXTURE_MAX_MB)");

  // The file's channels go straight into the texels of level 0, four floats
  // apart: no other copy of the pixels is ever made.
  Image::Level base;
  base.width = width;
  base.height = height;
  try {
    base.texels.resize(static_cast<std::size_t>(width) * height);
  } catch (const std::bad_alloc &) {
    throw Error(failure + "not enough memory for " + size + " texels");
  }
  if (!io.read(handle, channels, &base.texels.front().r, error, sizeof error)) throw Error(failure + error);
  for (int j = 0; j < height / 2; ++j)  // files store the top row first
    std::swap_ranges(base.texels.begin() + static_cast<std::ptrdiff_t>(j) * width,
                     base.texels.begin() + static_cast<std::ptrdiff_t>(j + 1) * width,
                     base.texels.begin() + static_cast<std::ptrdiff_t>(height - 1 - j) * width);
  for (miColor &c : base.texels) expand(c, channels);
  try {
    return Image(name, std::move(base));
  } catch (const std::bad_alloc &) {
    throw Error(failure + "not enough memory for the mip levels of " + size + " texels");
  }
}

int check_image_output(const std::string &path, int channels) {
  const std::string failure = "cannot write the image \"" + path + "\": ";
  const ImageIO &io = image_io(failure);
  char error[512] = "";
  const int held = io.channels(path.c_str(), channels, error, sizeof error);
  if (!held) throw FormatError(failure + error);
  OutputFile::check_writable(path, "image");
  return held;
}

void write_image(const std::string &path, int width, int height, int channels, const std::vector<float> &pixels,
                 const ImageAttributes &attributes) {
  const std::string failure = "cannot write the image \"" + path + "\": ";
  if (width <= 0 || height <= 0 || (channels != 3 && channels != 4) ||
      pixels.size() != static_cast<std::size_t>(width) * height * channels)
    throw Error(failure + "the pixels do not make a " + std::to_string(width) + "x" + std::to_string(height) +
                " image of " + std::to_string(channels) + " channels");
  const ImageIO &io = image_io(failure);
  char error[512] = "";
  if (io.channels(path.c_str(), channels, error, sizeof error) != channels) {
    if (!error[0]) std::snprintf(error, sizeof error, "the format cannot hold %d channels", channels);
    throw Error(failure + error);
  }
  OutputFile file(path, "image");
  void *encoded = nullptr;
  const unsigned char *bytes = nullptr;
  std::size_t size = 0;
  std::vector<const char *> text;
  for (const auto &[name, value] : attributes) text.push_back(name.c_str()), text.push_back(value.c_str());
  if (!io.encode(path.c_str(), width, height, channels, pixels.data(), text.data(), static_cast<int>(attributes.size()),
                 &encoded, &bytes, &size, error, sizeof error))
    throw Error(failure + error);
  const std::unique_ptr<void, void (*)(void *)> owned(encoded, io.free);
  file.write(bytes, size);
  // What reaches the disk must read back as an image of the size written.
  struct Expected {
    const ImageIO &io;
    int width, height;
  } expected{io, width, height};
  file.commit(
      [](const std::string &temporary, void *context) {
        const Expected &e = *static_cast<const Expected *>(context);
        int w = 0, h = 0, c = 0;
        char why[512] = "";
        void *handle = e.io.open(temporary.c_str(), 0, &w, &h, &c, why, sizeof why);
        if (!handle) throw Error(std::string("the written file does not read back: ") + why);
        e.io.close(handle);
        if (w != e.width || h != e.height)
          throw Error("the written file reads back as " + std::to_string(w) + "x" + std::to_string(h));
      },
      &expected);
}

}  // namespace tavo::host
