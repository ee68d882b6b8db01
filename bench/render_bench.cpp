// Rendering throughput: the gallery at 480x320 with 4 samples per pixel on
// one thread and on two (samples and rays per second), and at 960x640 on one; the same rays replayed
// through bare Embree, one at a time and in packets, against the render; and
// beside the two-thread speed-up of the render, the machine's own on a
// trivial loop.
#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/parallel_for.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include "bench.h"
#include "render.h"
#include "scene.h"
#include "scene_file.h"

namespace tavo::bench {
namespace {

double seconds[3];  // by thread count

host::RenderSettings gallery_settings(int threads, int width = 480, int height = 320) {
  host::RenderSettings settings;
  settings.width = width, settings.height = height, settings.samples = 4, settings.threads = threads;
  settings.progress = host::ProgressStyle::Off;
  return settings;
}

// Every ray the one-thread render asks of the scene, in order.
const std::vector<host::TracedRay> &recorded_rays() {
  static const std::vector<host::TracedRay> rays = [] {
    std::vector<host::TracedRay> log;
    log.reserve(4u << 20);
    host::Scene &scene = *gallery().scene;
    scene.log_rays(&log);
    host::render(scene, gallery().instances, gallery_settings(1));
    scene.log_rays(nullptr);
    return log;
  }();
  return rays;
}

void replay(benchmark::State &state, int width, bool one_origin) {
  const std::vector<host::TracedRay> &rays = recorded_rays();
  for (auto _ : state) benchmark::DoNotOptimize(gallery().scene->replay(rays, width, one_origin));
  state.counters["rays"] = static_cast<double>(rays.size());
}

void render(benchmark::State &state, int threads) {
  const host::LoadedScene &scene = gallery();
  const host::RenderSettings settings = gallery_settings(threads);
  for (auto _ : state) {
    const host::RenderedImage image = host::render(*scene.scene, scene.instances, settings);
    const double wall = image.stats.wall_seconds;
    if (seconds[threads] == 0 || wall < seconds[threads]) {
      seconds[threads] = wall;
      const std::string at = threads == 1 ? "one thread" : "two threads";
      if (threads == 1) {
        figure("render/gallery_samples_per_second_" + std::to_string(threads), image.stats.samples / wall, "samples/s (" + at + ")");
        figure("render/gallery_rays_per_second_" + std::to_string(threads), image.stats.rays.total() / wall, "rays/s (" + at + ")");
      }
    }
  }
}

// The gallery at its own size on one thread: the fastest of the repetitions.
void full_size(benchmark::State &state) {
  const host::LoadedScene &scene = gallery();
  static double best = 0;
  for (auto _ : state) {
    const host::RenderedImage image = host::render(*scene.scene, scene.instances, gallery_settings(1, 960, 640));
    best = std::max(best, image.stats.samples / image.stats.wall_seconds);
  }
  figure("render/gallery_960x640_samples_per_second_1", best, "samples/s (960x640, 4 samples, one thread)", 530e3, true);
}

// The machine's own two-thread speed-up: the same arithmetic split in two.
void trivial_loop(benchmark::State &state, int threads) {
  for (auto _ : state) {
    tbb::global_control limit(tbb::global_control::max_allowed_parallelism, static_cast<std::size_t>(threads));
    std::atomic<double> sink{0};
    tbb::parallel_for(0, 2, [&](int) {
      double x = 0;
      for (int i = 0; i < 20000000; ++i) x += std::sqrt(static_cast<double>(i));
      sink = sink + x;
    });
    benchmark::DoNotOptimize(sink.load());
  }
}

const bool registered = [] {
  for (int threads : {1, 2}) {
    repeated(benchmark::RegisterBenchmark(("render/gallery_threads_" + std::to_string(threads)).c_str(),
                                          [threads](benchmark::State &s) { render(s, threads); }))
        ->Repetitions(3)->Iterations(1)->UseRealTime();
    repeated(benchmark::RegisterBenchmark(("machine/loop_threads_" + std::to_string(threads)).c_str(),
                                          [threads](benchmark::State &s) { trivial_loop(s, threads); }))
        ->Repetitions(3)->Iterations(1)->UseRealTime();
  }
  benchmark::RegisterBenchmark("render/gallery_960x640_threads_1", full_size)->Iterations(3)->UseRealTime();
  for (int width : {1, 8, 16})
    repeated(benchmark::RegisterBenchmark(("embree/replay_" + std::to_string(width)).c_str(),
                                          [width](benchmark::State &s) { replay(s, width, false); }))
        ->Repetitions(3)->Iterations(1)->UseRealTime();
  // what tracing a shading point's light rays together would give
  repeated(benchmark::RegisterBenchmark("embree/replay_4_one_origin", [](benchmark::State &s) { replay(s, 4, true); }))
      ->Repetitions(3)->Iterations(1)->UseRealTime();
  ratio("render/gallery_threads_1", "embree/replay_1", 1.5, "the render against bare Embree asked the same rays", true);
  ratio("embree/replay_8", "embree/replay_1", 0, "bare Embree: the rays in packets of 8 against one by one", true);
  ratio("embree/replay_16", "embree/replay_1", 0, "bare Embree: the rays in packets of 16 against one by one", true);
  ratio("embree/replay_4_one_origin", "embree/replay_1", 0,
        "bare Embree: each shading point's light rays in one packet of 4 against one by one", true);
  ratio("render/gallery_threads_2", "render/gallery_threads_1", 1 / 1.8, "two threads against one: the render", true);
  ratio("machine/loop_threads_2", "machine/loop_threads_1", 0, "two threads against one: a trivial loop", true);
  return true;
}();

}  // namespace
}  // namespace tavo::bench
