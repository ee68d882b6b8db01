#include "render.h"

#include <oneapi/tbb/blocked_range2d.h>
#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/parallel_for.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <limits>
#include <mutex>

#include "pixel.h"
#include "scene.h"
#include "shading.h"
#include "texture.h"

namespace tavo::host {

namespace {

constexpr int kTile = 16;

// Aims a sample's first state at raster position (rx, ry) of pixel (x, y) and
// fills in what the eye ray hits; false on a miss.
bool aim(ShadingState &shading, const Scene &scene, int x, int y, double rx, double ry) {
  miVector origin, direction;
  scene.camera.ray(rx, ry, origin, direction);
  return cast_eye_ray(shading, scene, x, y, origin, direction);
}

// One sample's colour: the material of what the eye ray hit, the environment
// on a miss, transparent black where neither says anything. With lenses the
// first lens gets the camera ray instead, and the eye ray the last one traces
// is shaded so.
miColor shade_sample(ShadingState &shading, const Scene &scene, int x, int y, double rx, double ry) {
  Renderer &renderer = Renderer::get();
  miColor color{0, 0, 0, 0};
  miState &state = shading.state;
  // room for a colour at least; materials hand their result pointer on
  std::uint64_t result[8] = {};
  if (!scene.lenses.empty()) {
    miVector origin, direction;
    scene.camera.ray(rx, ry, origin, direction);
    set_eye_ray(shading, x, y, origin, direction);
    if (shade_through_lenses(reinterpret_cast<miColor *>(result), state)) std::memcpy(&color, result, sizeof color);
  } else if (aim(shading, scene, x, y, rx, ry)) {
    if (state.material) {
      if (renderer.shade_material(state.material, result, state)) std::memcpy(&color, result, sizeof color);
    } else {
      color = miColor{0, 0, 0, 1};  // an object without a material is black
    }
  } else if (scene.environment) {
    if (call_shader(reinterpret_cast<miColor *>(result), miSHADER_MATERIAL, &state, scene.environment, nullptr))
      std::memcpy(&color, result, sizeof color);
  }
  shading.sample.end_sample();
  return color;
}

// Draws "[#####     ]  50%" on standard error, redrawn only when the percentage moves.
class Progress {
 public:
  Progress(bool on, int total) : on_(on), total_(std::max(total, 1)) { draw(0); }
  void step() {
    const int done = ++done_;
    if (!on_) return;
    const int percent = done * 100 / total_;
    std::lock_guard<std::mutex> lock(mutex_);
    if (percent != shown_) draw(percent);
  }
  void finish() {
    if (on_) std::fputs("\n", stderr);
  }

 private:
  void draw(int percent) {
    if (!on_) return;
    shown_ = percent;
    char bar[41];
    const int filled = percent * 40 / 100;
    for (int i = 0; i < 40; ++i) bar[i] = i < filled ? '#' : ' ';
    bar[40] = '\0';
    std::fprintf(stderr, "\rrendering [%s] %3d%%", bar, percent);
    std::fflush(stderr);
  }
  bool on_;
  int total_;
  std::atomic<int> done_{0};
  int shown_ = -1;
  std::mutex mutex_;
};

}  // namespace

float srgb_encode(float linear) {
  if (!(linear > 0.0f)) return 0.0f;  // NaN too
  if (linear >= 1.0f) return 1.0f;
  return linear <= 0.0031308f ? 12.92f * linear : 1.055f * std::pow(linear, 1.0f / 2.4f) - 0.055f;
}

RenderedImage render(Scene &scene, const std::vector<miTag> &instances, const RenderSettings &settings) {
  if (settings.width < 0 || settings.height < 0 || (settings.width == 0) != (settings.height == 0))
    throw Error("a resolution needs a positive width and height");
  if (settings.samples < 1 || settings.samples > 1024)
    throw Error("samples per pixel must lie in 1..1024, found " + std::to_string(settings.samples));
  if (settings.threads < 0) throw Error("threads must not be negative, found " + std::to_string(settings.threads));
  if (settings.width > 0) {
    if (static_cast<long long>(settings.width) * settings.height > (1LL << 26))
      throw Error("a resolution of " + std::to_string(settings.width) + "x" + std::to_string(settings.height) +
                  " is too large");
    // keep the camera's aspect: only the pixel count changes
    scene.camera.intrinsics.x_resolution = settings.width;
    scene.camera.intrinsics.y_resolution = settings.height;
  }
  Renderer &renderer = Renderer::get();
  const miCamera &camera = scene.camera.intrinsics;
  RenderedImage image;
  image.width = camera.x_resolution;
  image.height = camera.y_resolution;
  image.rgba.assign(4 * static_cast<std::size_t>(image.width) * image.height, 0.0f);

  {
    ShadingState init;
    init.sample.scene = &scene;
    init.camera = camera;
    init.options = scene.options;
    for (const miTag tag : instances) renderer.init_instance(tag, init.state);
  }

  // a grid of n x n strata per pixel, with n the smallest whose square holds the samples
  const int samples = settings.samples;
  const int grid = static_cast<int>(std::ceil(std::sqrt(static_cast<double>(samples))));
  const int tiles_x = (image.width + kTile - 1) / kTile, tiles_y = (image.height + kTile - 1) / kTile;
  Progress progress(settings.progress, tiles_x * tiles_y);

  auto render_tile = [&](int tx, int ty) {
    ShadingState shading(miRAY_EYE);
    Sample &sample = shading.sample;
    sample.scene = &scene;
    sample.has_pixel = true;
    sample.samples_per_pixel = samples;
    shading.camera = camera;
    shading.options = scene.options;
    for (int y = ty * kTile; y < std::min((ty + 1) * kTile, image.height); ++y) {
      for (int x = tx * kTile; x < std::min((tx + 1) * kTile, image.width); ++x) {
        sample.pixel_x = x;
        sample.pixel_y = y;
        double sum[4] = {0, 0, 0, 0};
        for (int s = 0; s < samples; ++s) {
          sample.sample_index = s;
          const double rx = samples == 1 ? 0.5 : (s % grid + 0.5) / grid;
          const double ry = samples == 1 ? 0.5 : (s / grid + 0.5) / grid;
          const miColor c = shade_sample(shading, scene, x, y, x + rx, y + ry);
          sum[0] += c.r, sum[1] += c.g, sum[2] += c.b, sum[3] += c.a;
        }
        float *out = &image.rgba[4 * (static_cast<std::size_t>(y) * image.width + x)];
        for (int k = 0; k < 4; ++k) out[k] = static_cast<float>(sum[k] / samples);
      }
    }
    sample.end_tile();
    progress.step();
  };

  const int threads = settings.threads > 0 ? settings.threads : std::max(1, static_cast<int>(sysconf(_SC_NPROCESSORS_ONLN)));
  {
    tbb::global_control limit(tbb::global_control::max_allowed_parallelism, static_cast<std::size_t>(threads));
    tbb::parallel_for(tbb::blocked_range2d<int>(0, tiles_y, 1, 0, tiles_x, 1), [&](const auto &range) {
      for (int ty = range.rows().begin(); ty < range.rows().end(); ++ty)
        for (int tx = range.cols().begin(); tx < range.cols().end(); ++tx) render_tile(tx, ty);
    });
  }
  progress.finish();

  ShadingState exit;
  exit.sample.scene = &scene;
  renderer.exit_all(exit.state);
  renderer.exit_shaders(exit.state);
  return image;
}

void save_image(const std::string &path, const RenderedImage &image) {
  namespace fs = std::filesystem;
  const fs::path target(path);
  std::string ext = target.extension().string();
  std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
  if (ext.empty()) throw Error("cannot tell the format of \"" + path + "\": give it an extension (.png, .exr, ...)");
  // float formats keep linear values; everything else is 8 or 16 bits for display
  const bool linear = ext == ".exr" || ext == ".hdr" || ext == ".pfm";
  std::vector<float> pixels = image.rgba;
  if (!linear) {
    for (std::size_t i = 0; i < pixels.size(); i += 4) {
      for (int k = 0; k < 3; ++k) pixels[i + k] = srgb_encode(pixels[i + k]);
      pixels[i + 3] = std::clamp(pixels[i + 3], 0.0f, 1.0f);
    }
  }
  // same folder, same extension (it picks the format), a name nobody else uses
  fs::path partial = target;
  partial.replace_filename("." + target.stem().string() + ".partial-" + std::to_string(getpid()) + ext);
  try {
    write_image(partial.string(), image.width, image.height, pixels);
  } catch (...) {
    std::error_code ec;
    fs::remove(partial, ec);
    throw;
  }
  std::error_code ec;
  fs::rename(partial, target, ec);
  if (ec) {
    fs::remove(partial, ec);
    throw Error("cannot write the image \"" + path + "\": " + ec.message());
  }
}

}  // namespace tavo::host
