#include "texture.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "declarations.h"
#include "platform.h"

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
Image::Level downsample(const Image::Level &src, int width, int height) {
  const auto resample = [](int from, int to, auto &&visit) {
    const double span = static_cast<double>(from) / to;
    for (int o = 0; o < to; ++o) {
      const double lo = o * span;
      const double hi = lo + span;
      for (int k = static_cast<int>(std::floor(lo)); k < from && k < hi; ++k) {
        const double overlap = std::min<double>(hi, k + 1) - std::max<double>(lo, k);
        if (overlap > 0) visit(o, k, overlap / span);
      }
    }
  };
  Image::Level across;
  across.width = width;
  across.height = src.height;
  across.texels.assign(static_cast<std::size_t>(width) * src.height, miColor{0, 0, 0, 0});
  for (int j = 0; j < src.height; ++j)
    resample(src.width, width, [&](int o, int k, double w) {
      miColor &t = across.texels[static_cast<std::size_t>(j) * width + o];
      t = add_scaled(t, src.texels[static_cast<std::size_t>(j) * src.width + k], w);
    });
  Image::Level out;
  out.width = width;
  out.height = height;
  out.texels.assign(static_cast<std::size_t>(width) * height, miColor{0, 0, 0, 0});
  for (int i = 0; i < width; ++i)
    resample(src.height, height, [&](int o, int k, double w) {
      miColor &t = out.texels[static_cast<std::size_t>(o) * width + i];
      t = add_scaled(t, across.texels[static_cast<std::size_t>(k) * width + i], w);
    });
  return out;
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
      const float *p = &rows[(static_cast<std::size_t>(row) * width + i) * channels];
      miColor c{p[0], p[0], p[0], 1.0f};
      if (channels == 2) c.a = p[1];
      if (channels >= 3) c = {p[0], p[1], p[2], channels == 4 ? p[3] : 1.0f};
      base.texels[static_cast<std::size_t>(j) * width + i] = c;
    }
  }
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

// The image-file module (imageio/imageio.cpp), loaded on first use from the
// folder this library lives in.
struct ImageIO {
  using Read = int (*)(const char *, int *, int *, int *, float **, char *, std::size_t);
  using Free = void (*)(float *);
  using Write = int (*)(const char *, int, int, const float *, char *, std::size_t);
  Read read = nullptr;
  Free free = nullptr;
  Write write = nullptr;
  std::string error;
};

void module_anchor() {}

const ImageIO &image_io() {
  static const ImageIO io = [] {
    ImageIO loaded;
    const std::string name = std::string("tavoimageio") + platform::kModuleSuffix;
    std::filesystem::path path = name;
    const std::string here = platform::module_file(reinterpret_cast<const void *>(&module_anchor));
    if (!here.empty()) path = std::filesystem::path(here).parent_path() / name;
    std::string why;
    void *handle = platform::load_module(path.string(), why);
    if (!handle) {
      loaded.error = "cannot load the image module " + path.string() + ": " + why;
      return loaded;
    }
    loaded.read = reinterpret_cast<ImageIO::Read>(platform::find_symbol(handle, "tavo_image_read"));
    loaded.free = reinterpret_cast<ImageIO::Free>(platform::find_symbol(handle, "tavo_image_free"));
    loaded.write = reinterpret_cast<ImageIO::Write>(platform::find_symbol(handle, "tavo_image_write"));
    if (!loaded.read || !loaded.free || !loaded.write) loaded.error = path.string() + " lacks its entry points";
    return loaded;
  }();
  return io;
}

}  // namespace

Image read_image(const std::string &path, const std::string &name) {
  const std::string failure = "cannot read the image \"" + path + "\": ";
  const ImageIO &io = image_io();
  if (!io.error.empty()) throw Error(failure + io.error);
  int width = 0, height = 0, channels = 0;
  float *pixels = nullptr;
  char error[512] = "";
  if (!io.read(path.c_str(), &width, &height, &channels, &pixels, error, sizeof error))
    throw Error(failure + (error[0] ? error : "unknown error"));
  const std::vector<float> rows(pixels, pixels + static_cast<std::size_t>(width) * height * channels);
  io.free(pixels);
  return Image(name, width, height, channels, rows);
}

void write_image(const std::string &path, int width, int height, const std::vector<float> &rgba) {
  const std::string failure = "cannot write the image \"" + path + "\": ";
  const ImageIO &io = image_io();
  if (!io.error.empty()) throw Error(failure + io.error);
  if (width <= 0 || height <= 0 || rgba.size() != static_cast<std::size_t>(width) * height * 4)
    throw Error(failure + "the pixels do not make a " + std::to_string(width) + "x" + std::to_string(height) +
                " RGBA image");
  char error[512] = "";
  if (!io.write(path.c_str(), width, height, rgba.data(), error, sizeof error))
    throw Error(failure + (error[0] ? error : "unknown error"));
}

}  // namespace tavo::host
