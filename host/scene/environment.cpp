#include "environment.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "declarations.h"
#include "geometry.h"

namespace tavo::host {

namespace {

constexpr float kPi = 3.14159265358979f;

float luminance(const miColor &c) { return 0.2126f * c.r + 0.7152f * c.g + 0.0722f * c.b; }

// The index i with cdf[i] <= u < cdf[i + 1].
int find_interval(const float *cdf, int count, float u) {
  const float *at = std::upper_bound(cdf, cdf + count + 1, u);
  return std::clamp(static_cast<int>(at - cdf) - 1, 0, count - 1);
}

// A guide to a cdf of `count` intervals: guide[b] is the interval that holds
// b / count, so that a search for u needs only the few intervals between the
// guides of u's neighbouring buckets.
void build_guide(const float *cdf, int count, int *guide) {
  for (int b = 0; b <= count; ++b) guide[b] = find_interval(cdf, count, static_cast<float>(b) / count);
}

// find_interval's answer, searched between the guides: a bucket either side
// of u's own absorbs the rounding of u * count.
int find_interval(const float *cdf, int count, const int *guide, float u) {
  const int b = std::clamp(static_cast<int>(u * count), 0, count - 1);
  const int lo = guide[std::max(b - 1, 0)], hi = guide[std::min(b + 2, count)];
  const float *at = std::upper_bound(cdf + lo, cdf + hi + 2, u);
  return std::clamp(static_cast<int>(at - cdf) - 1, 0, count - 1);
}

}  // namespace

Environment::Environment(int width, int height, std::vector<miColor> texels, float rotation_degrees, float intensity)
    : width_(width), height_(height), texels_(std::move(texels)), rotation_(rotation_degrees * kPi / 180.0f),
      intensity_(intensity) {
  if (width < 1 || height < 1 || texels_.size() != static_cast<std::size_t>(width) * height)
    throw Error("an environment needs a positive size and a texel for each place");
  // each texel weighed by its brightness and the solid angle it covers (its row's sine)
  rows_.assign(height + 1, 0.0f);
  columns_.assign(static_cast<std::size_t>(height) * (width + 1), 0.0f);
  std::vector<double> row_weight(height, 0.0);
  std::vector<float> row_sine(height);
  double total = 0;
  for (int j = 0; j < height; ++j) {
    const float sine = row_sine[j] = std::sin(kPi * (j + 0.5f) / height);
    float *cdf = &columns_[static_cast<std::size_t>(j) * (width + 1)];
    double sum = 0;
    for (int i = 0; i < width; ++i) {
      const miColor &c = texels_[static_cast<std::size_t>(j) * width + i];
      // a floor under the weights, so that no direction that gives light is never chosen
      const double w = (std::max(luminance(c), 0.0f) + 1e-3) * sine;
      texels_[static_cast<std::size_t>(j) * width + i].a = static_cast<float>(w);
      sum += w;
      cdf[i + 1] = static_cast<float>(sum);
    }
    for (int i = 1; i <= width; ++i) cdf[i] = sum > 0 ? static_cast<float>(cdf[i] / sum) : float(i) / width;
    row_weight[j] = sum;
    total += sum;
  }
  for (int j = 0; j < height; ++j) rows_[j + 1] = static_cast<float>(rows_[j] + row_weight[j] / total);
  rows_[height] = 1.0f;
  for (int j = 0; j < height; ++j)
    for (int i = 0; i < width; ++i) {
      float &p = texels_[static_cast<std::size_t>(j) * width + i].a;
      p = static_cast<float>(p / total);
      // a texel covers (2 pi / width) x (pi / height) x sine of solid angle
      p = p * width_ * height_ / (2 * kPi * kPi * std::max(row_sine[j], 1e-4f));
    }
  row_sin_.resize(height), row_cos_.resize(height), column_sin_.resize(width), column_cos_.resize(width);
  for (int j = 0; j < height; ++j) {
    const double theta = (j + 0.5) / height * std::numbers::pi;
    row_sin_[j] = static_cast<float>(std::sin(theta)), row_cos_[j] = static_cast<float>(std::cos(theta));
  }
  for (int i = 0; i < width; ++i) {
    const double phi = (i + 0.5) / width * 2 * std::numbers::pi + rotation_;
    column_sin_[i] = static_cast<float>(std::sin(phi)), column_cos_[i] = static_cast<float>(std::cos(phi));
  }
  // A texel spans pi / height in polar angle and 2 pi / width round the
  // vertical: from its centre, a path first along the meridian and then
  // along the parallel reaches any direction in it within the sum of the
  // half spans, and a cosine moves no more than the angle does. The margin
  // covers the rounding of the floats that compare against it.
  texel_reach_ = static_cast<float>(std::numbers::pi / 2 / height + std::numbers::pi / width) + 1e-4f;
  row_guide_.resize(height + 1);
  build_guide(rows_.data(), height, row_guide_.data());
  column_guides_.resize(static_cast<std::size_t>(height) * (width + 1));
  for (int j = 0; j < height; ++j)
    build_guide(&columns_[static_cast<std::size_t>(j) * (width + 1)], width,
                &column_guides_[static_cast<std::size_t>(j) * (width + 1)]);
}

void Environment::to_image(const miVector &d, float &x, float &y) const {
  const float phi = std::atan2(d.x, -d.z) - rotation_;  // 0 looking down -z, growing towards +x
  float u = phi / (2 * kPi);
  u -= std::floor(u);
  x = u * width_;
  y = std::acos(std::clamp(d.y, -1.0f, 1.0f)) / kPi * height_;
}

miVector Environment::from_image(float x, float y) const {
  const float phi = x / width_ * 2 * kPi + rotation_, theta = y / height_ * kPi;
  const float s = std::sin(theta);
  return {s * std::sin(phi), std::cos(theta), -s * std::cos(phi)};
}

miColor Environment::radiance_at(float x, float y) const {
  // bilinear between texel centres, wrapping round and clamped at the poles
  const float fx = x - 0.5f, fy = std::clamp(y - 0.5f, 0.0f, height_ - 1.0f);
  const int i0 = static_cast<int>(std::floor(fx)), j0 = static_cast<int>(fy);
  const float a = fx - i0, b = fy - j0;
  const int j1 = std::min(j0 + 1, height_ - 1);
  // i0 lies in [-1, width): one wrap each way is all it needs
  const int ia = i0 < 0 ? i0 + width_ : i0, ib = i0 + 1 >= width_ ? i0 + 1 - width_ : i0 + 1;
  const miColor *row0 = &texels_[static_cast<std::size_t>(j0) * width_], *row1 = &texels_[static_cast<std::size_t>(j1) * width_];
  const miColor &c00 = row0[ia], &c10 = row0[ib], &c01 = row1[ia], &c11 = row1[ib];
  const auto mix = [&](float p00, float p10, float p01, float p11) {
    return intensity_ * ((p00 * (1 - a) + p10 * a) * (1 - b) + (p01 * (1 - a) + p11 * a) * b);
  };
  return {mix(c00.r, c10.r, c01.r, c11.r), mix(c00.g, c10.g, c01.g, c11.g), mix(c00.b, c10.b, c01.b, c11.b), 1.0f};
}

float Environment::density_at(float x, float y) const {
  const int i = std::clamp(static_cast<int>(x), 0, width_ - 1), j = std::clamp(static_cast<int>(y), 0, height_ - 1);
  return texels_[static_cast<std::size_t>(j) * width_ + i].a;
}

miColor Environment::radiance(const miVector &d, float &density) const {
  float x, y;
  to_image(d, x, y);
  density = density_at(x, y);
  return radiance_at(x, y);
}

Environment::Choice Environment::choose(float u, float v) const {
  const int j = find_interval(rows_.data(), height_, row_guide_.data(), u);
  const float row_span = rows_[j + 1] - rows_[j];
  const float fy = row_span > 0 ? (u - rows_[j]) / row_span : 0.5f;
  const float *cdf = &columns_[static_cast<std::size_t>(j) * (width_ + 1)];
  const int i = find_interval(cdf, width_, &column_guides_[static_cast<std::size_t>(j) * (width_ + 1)], v);
  const float span = cdf[i + 1] - cdf[i];
  const float fx = span > 0 ? (v - cdf[i]) / span : 0.5f;
  return {i + std::clamp(fx, 0.0f, 0.999f), j + std::clamp(fy, 0.0f, 0.999f)};
}

bool Environment::surely_below(const Choice &choice, const miVector &n) const {
  const int i = static_cast<int>(choice.x), j = static_cast<int>(choice.y);
  const float s = row_sin_[j];
  const float centre = n.x * (s * column_sin_[i]) + n.y * row_cos_[j] - n.z * (s * column_cos_[i]);
  return centre < -texel_reach_;
}

miColor Environment::radiance(const Choice &choice, float &density) const {
  // the texel position is known: no need to map the direction back to find it
  density = density_at(choice.x, choice.y);
  return radiance_at(choice.x, choice.y);
}

Environment Environment::studio(float rotation_degrees, float intensity) {
  constexpr int kWidth = 256, kHeight = 128;
  struct Softbox {
    miVector towards;  // where it lies seen from the subject
    float half_angle;  // degrees
    miColor color;
  };
  // the camera looks down -z: +z is behind it, so a light there shows in what the camera sees
  const Softbox boxes[] = {
      {normalize({-0.55f, 0.6f, 0.6f}), 16.0f, {9.0f, 8.6f, 8.0f, 1}},    // key, front left, warm
      {normalize({0.85f, 0.25f, -0.45f}), 7.0f, {5.0f, 5.2f, 5.6f, 1}},   // strip, back right, cool
      {normalize({0.25f, 1.0f, 0.15f}), 28.0f, {1.6f, 1.6f, 1.6f, 1}},    // overhead fill
  };
  std::vector<miColor> texels(static_cast<std::size_t>(kWidth) * kHeight);
  Environment shape(1, 1, {miColor{1, 1, 1, 1}}, 0.0f, 1.0f);  // only for its mapping
  for (int j = 0; j < kHeight; ++j)
    for (int i = 0; i < kWidth; ++i) {
      const miVector d = shape.from_image(i + 0.5f, j + 0.5f);
      // the cyclorama: a soft grey that brightens upwards over a darker floor
      const float up = d.y, horizon = std::clamp(up * 6.0f + 0.5f, 0.0f, 1.0f);
      const float wall = 0.5f + 0.3f * std::max(up, 0.0f);
      const float level = 0.18f + (wall - 0.18f) * horizon;
      miColor c{level, level * 1.01f, level * 1.04f, 1};
      for (const Softbox &box : boxes) {
        const float angle = std::acos(std::clamp(dot(d, box.towards), -1.0f, 1.0f)) * 180.0f / kPi;
        // a bright face with a short soft edge
        const float t = std::clamp((box.half_angle + 2.0f - angle) / 4.0f, 0.0f, 1.0f);
        const float w = t * t * (3 - 2 * t);
        c.r += w * box.color.r, c.g += w * box.color.g, c.b += w * box.color.b;
      }
      texels[static_cast<std::size_t>(j) * kWidth + i] = c;
    }
  return Environment(kWidth, kHeight, std::move(texels), rotation_degrees, intensity);
}

}  // namespace tavo::host
