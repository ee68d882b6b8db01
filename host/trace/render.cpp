#include "render.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <limits>
#include <mutex>
#include <new>

#include "image_module.h"
#include "pixel.h"
#include "scene.h"
#include "shading.h"
#include "texture.h"
#include "tiles.h"
#include "work_limits.h"

namespace tavo::host {

namespace {

#ifndef TAVO_THREAD_SANITIZER
// oneTBB's workers (the renders' and Embree's builds') are joined when the
// program ends, before LeakSanitizer stops the world at exit: a worker still
// starting up then has crashed it.
struct JoinWorkersAtExit {
  tbb::task_scheduler_handle scheduler{tbb::attach{}};
  ~JoinWorkersAtExit() { tbb::finalize(scheduler, std::nothrow); }
} g_join_workers;
#endif

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
  } else if (shade_miss(reinterpret_cast<miColor *>(result), state)) {
    std::memcpy(&color, result, sizeof color);
  }
  shading.sample.end_sample();
  return color;
}

// Shows on standard error how many tiles are done: a bar redrawn only when
// the percentage moves, or a line at each tenth.
class Progress {
 public:
  Progress(ProgressStyle style, int total) : style_(style), total_(std::max(total, 1)) { show(0); }
  void step() {
    const int done = ++done_;
    if (style_ == ProgressStyle::Off) return;
    const int percent = done * 100 / total_;
    std::lock_guard<std::mutex> lock(mutex_);
    if (style_ == ProgressStyle::Bar ? percent != shown_ : percent / 10 != shown_ / 10) show(percent);
  }
  void finish() {
    if (style_ == ProgressStyle::Bar) std::fputs("\n", stderr);
  }

 private:
  void show(int percent) {
    shown_ = percent;
    if (style_ == ProgressStyle::Lines) {
      if (percent > 0) std::fprintf(stderr, "rendering: %d%%\n", percent / 10 * 10);
      return;
    }
    if (style_ != ProgressStyle::Bar) return;
    char bar[41];
    const int filled = percent * 40 / 100;
    for (int i = 0; i < 40; ++i) bar[i] = i < filled ? '#' : ' ';
    bar[40] = '\0';
    std::fprintf(stderr, "\rrendering [%s] %3d%%", bar, percent);
    std::fflush(stderr);
  }
  ProgressStyle style_;
  int total_;
  std::atomic<int> done_{0};
  int shown_ = -1;
  std::mutex mutex_;
};

double cpu_seconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_utime.tv_sec + usage.ru_stime.tv_sec + 1e-6 * (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
}

long long peak_memory_bytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return 1024LL * usage.ru_maxrss;  // kilobytes on Linux
}

// 1234567 as "1.23 M", for rates.
std::string rate(double per_second) {
  char text[32];
  if (per_second >= 1e6) std::snprintf(text, sizeof text, "%.3g M", per_second / 1e6);
  else if (per_second >= 1e3) std::snprintf(text, sizeof text, "%.3g k", per_second / 1e3);
  else std::snprintf(text, sizeof text, "%.3g ", per_second);
  return text;
}

}  // namespace

std::string stats_line(const RenderedImage &image) {
  const RenderStats &s = image.stats;
  const double wall = std::max(s.wall_seconds, 1e-9);
  char text[512];
  std::snprintf(text, sizeof text,
                "rendered %dx%d at %d samples per pixel in %.2f s (%.2f s CPU, %d threads): %lld samples, "
                "%llu rays (eye %llu, reflection %llu, refraction %llu, shadow %llu, probe %llu); "
                "%ssamples/s, %srays/s; peak memory %.0f MiB",
                image.width, image.height, image.samples_per_pixel, s.wall_seconds, s.cpu_seconds, s.threads,
                s.samples, static_cast<unsigned long long>(s.rays.total()),
                static_cast<unsigned long long>(s.rays.eye), static_cast<unsigned long long>(s.rays.reflection),
                static_cast<unsigned long long>(s.rays.refraction), static_cast<unsigned long long>(s.rays.shadow),
                static_cast<unsigned long long>(s.rays.probe), rate(s.samples / wall).c_str(),
                rate(s.rays.total() / wall).c_str(), s.peak_memory_bytes / (1024.0 * 1024.0));
  return text;
}

ImageAttributes render_attributes(const RenderedImage &image, const std::string &software) {
  char seconds[32];
  std::snprintf(seconds, sizeof seconds, "%.3f", image.stats.wall_seconds);
  return {{"Software", software},
          {"tavo:render_seconds", seconds},
          {"tavo:samples_per_pixel", std::to_string(image.samples_per_pixel)},
          {"tavo:statistics", stats_line(image)}};
}

std::string stats_json(const RenderedImage &image) {
  const RenderStats &s = image.stats;
  const double wall = std::max(s.wall_seconds, 1e-9);
  char text[1024];
  std::snprintf(text, sizeof text,
                "{\"width\": %d, \"height\": %d, \"samples_per_pixel\": %d, \"wall_seconds\": %.6f, "
                "\"cpu_seconds\": %.6f, \"threads\": %d, \"pixels\": %lld, \"samples\": %lld, "
                "\"rays\": {\"eye\": %llu, \"reflection\": %llu, \"refraction\": %llu, \"shadow\": %llu, "
                "\"probe\": %llu, \"total\": %llu}, \"samples_per_second\": %.1f, \"rays_per_second\": %.1f, "
                "\"peak_memory_bytes\": %lld}\n",
                image.width, image.height, image.samples_per_pixel, s.wall_seconds, s.cpu_seconds, s.threads,
                s.pixels, s.samples, static_cast<unsigned long long>(s.rays.eye),
                static_cast<unsigned long long>(s.rays.reflection), static_cast<unsigned long long>(s.rays.refraction),
                static_cast<unsigned long long>(s.rays.shadow), static_cast<unsigned long long>(s.rays.probe),
                static_cast<unsigned long long>(s.rays.total()), s.samples / wall, s.rays.total() / wall,
                s.peak_memory_bytes);
  return text;
}

bool is_linear_format(const std::string &path) {
  std::string ext = std::filesystem::path(path).extension().string();
  std::transform(ext.begin(), ext.end(), ext.begin(), [](unsigned char c) { return std::tolower(c); });
  return ext == ".exr" || ext == ".hdr" || ext == ".pfm";
}

float filmic(float linear) {
  if (!(linear > 0.0f)) return 0.0f;
  // a fitted filmic curve: a toe, a long shoulder, white at about 11 times mid grey
  const float x = linear * 0.8f;
  return std::clamp(x * (2.51f * x + 0.03f) / (x * (2.43f * x + 0.59f) + 0.14f), 0.0f, 1.0f);
}

void tonemap(RenderedImage &image) {
  for (std::size_t i = 0; i < image.rgba.size(); ++i)
    if (i % 4 != 3) image.rgba[i] = filmic(image.rgba[i]);
}

float srgb_encode(float linear) {
  if (!(linear > 0.0f)) return 0.0f;  // NaN too
  if (linear >= 1.0f) return 1.0f;
  return linear <= 0.0031308f ? 12.92f * linear : 1.055f * std::pow(linear, 1.0f / 2.4f) - 0.055f;
}

RenderedImage render(Scene &scene, const std::vector<miTag> &instances, const RenderSettings &settings) {
  if (settings.samples < 1 || settings.samples > 1024)
    throw Error("samples per pixel must lie in 1..1024, found " + std::to_string(settings.samples));
  if (settings.threads < 0 || settings.threads > kMaxThreads)
    throw Error("threads must lie in 1.." + std::to_string(kMaxThreads) + " (0: every core), found " +
                std::to_string(settings.threads));
  if (settings.width != 0 || settings.height != 0) {
    check_resolution(settings.width, settings.height);
    // the film width, and so the horizontal field of view, stays; the picture
    // takes the new resolution's aspect unless the scene fixed one
    scene.camera.intrinsics.x_resolution = settings.width;
    scene.camera.intrinsics.y_resolution = settings.height;
    if (!scene.camera.fixed_aspect)
      scene.camera.intrinsics.aspect = static_cast<float>(settings.width) / static_cast<float>(settings.height);
  }
  Renderer &renderer = Renderer::get();
  const miCamera &camera = scene.camera.intrinsics;
  check_resolution(camera.x_resolution, camera.y_resolution);
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

  // the independent sampler keeps its grid of n x n strata per pixel, n the smallest whose square holds the samples
  const int samples = settings.samples;
  const int grid = static_cast<int>(std::ceil(std::sqrt(static_cast<double>(samples))));
  const int tiles_x = (image.width + kTile - 1) / kTile, tiles_y = (image.height + kTile - 1) / kTile;
  Progress progress(settings.progress, tiles_x * tiles_y);
  const auto wall_start = std::chrono::steady_clock::now();
  const double cpu_start = cpu_seconds();
  std::mutex stats_mutex;

  auto render_tile = [&](int tx, int ty) {
    ShadingState shading(miRAY_EYE);
    Sample &sample = shading.sample;
    sample.scene = &scene;
    sample.has_pixel = true;
    sample.samples_per_pixel = samples;
    sample.sampler = settings.sampler;
    shading.camera = camera;
    shading.options = scene.options;
    for (int y = ty * kTile; y < std::min((ty + 1) * kTile, image.height); ++y) {
      for (int x = tx * kTile; x < std::min((tx + 1) * kTile, image.width); ++x) {
        sample.pixel_x = x;
        sample.pixel_y = y;
        double sum[4] = {0, 0, 0, 0};
        for (int s = 0; s < samples; ++s) {
          sample.sample_index = s;
          double rx = samples == 1 ? 0.5 : (s % grid + 0.5) / grid;
          double ry = samples == 1 ? 0.5 : (s / grid + 0.5) / grid;
          if (settings.sampler == SamplerKind::Sobol) {
            float at[2];
            sample_2d(SamplerKind::Sobol, sample.pixel_seed(), s, kPixelDimension, at);
            rx = at[0], ry = at[1];
          }
          const miColor c = shade_sample(shading, scene, x, y, x + rx, y + ry);
          sum[0] += c.r, sum[1] += c.g, sum[2] += c.b, sum[3] += c.a;
        }
        float *out = &image.rgba[4 * (static_cast<std::size_t>(y) * image.width + x)];
        for (int k = 0; k < 4; ++k) out[k] = static_cast<float>(sum[k] / samples);
      }
    }
    sample.end_tile();
    {
      std::lock_guard lock(stats_mutex);
      image.stats.rays += sample.rays;
    }
    progress.step();
  };

  const int threads = settings.threads > 0 ? settings.threads : std::max(1, static_cast<int>(sysconf(_SC_NPROCESSORS_ONLN)));
  for_each_tile(tiles_x, tiles_y, threads, render_tile);
  progress.finish();
  image.samples_per_pixel = samples;
  image.stats.wall_seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - wall_start).count();
  image.stats.cpu_seconds = cpu_seconds() - cpu_start;
  image.stats.threads = threads;
  image.stats.pixels = static_cast<long long>(image.width) * image.height;
  image.stats.samples = image.stats.pixels * samples;
  image.stats.peak_memory_bytes = peak_memory_bytes();

  ShadingState exit;
  exit.sample.scene = &scene;
  renderer.exit_all(exit.state);
  renderer.exit_shaders(exit.state);
  return image;
}

void draw_captions(RenderedImage &image, const Scene &scene) {
  if (scene.captions.empty()) return;
  using Text = int (*)(float *, int, int, int, int, const char *, int, const float *);
  const Text text = image_module_function<Text>("tavo_image_text");
  // a size that reads at any resolution: about a fiftieth of the picture's height
  const int size = std::max(7, image.height / 50);
  const float ink[3] = {0.9f, 0.9f, 0.9f};
  for (const Caption &c : scene.captions) {
    double x = 0, y = 0;
    if (!scene.camera.to_raster(c.point, x, y)) continue;
    const long cx = std::lround(x), baseline = std::lround(y) + size;
    if (cx < 0 || cx >= image.width || baseline - size < 0 || baseline + size / 3 >= image.height) continue;  // cut off
    if (!text(image.rgba.data(), image.width, image.height, static_cast<int>(cx), static_cast<int>(baseline),
              c.text.c_str(), size, ink))
      throw Error("cannot draw the caption \"" + c.text + "\" (no DejaVuSans font: install fonts-dejavu-core)");
  }
}

int check_output(const std::string &path) {
  if (std::filesystem::path(path).extension().empty())
    throw FormatError("cannot tell the format of \"" + path + "\": give it an extension (.png, .exr, ...)");
  return check_image_output(path, 4);
}

void save_image(const std::string &path, const RenderedImage &image, const ImageAttributes &attributes) {
  const int channels = check_output(path);
  // float formats keep linear values; everything else is 8 or 16 bits for display
  const bool linear = is_linear_format(path);
  std::vector<float> pixels(image.rgba.size() / 4 * channels);
  for (std::size_t i = 0, o = 0; i < image.rgba.size(); i += 4, o += channels) {
    for (int k = 0; k < 3; ++k) pixels[o + k] = linear ? image.rgba[i + k] : srgb_encode(image.rgba[i + k]);
    if (channels == 4) pixels[o + 3] = linear ? image.rgba[i + 3] : std::clamp(image.rgba[i + 3], 0.0f, 1.0f);
  }
  write_image(path, image.width, image.height, channels, pixels, attributes);
}

}  // namespace tavo::host
