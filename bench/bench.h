// The benchmark suite's shared parts: every measurement is a ratio against a
// baseline measured in the same run (these machines are noisy, two
// neighbours in time are not), taken from the median CPU time of several
// repetitions, and compared with its goal where it has one.
#pragma once

#include <benchmark/benchmark.h>

#include <string>
#include <utility>

#include "renderer_core.h"
#include "scene_file.h"

namespace tavo::bench {

// A line of the report: measured / baseline, and the most that ratio may be
// (0: no goal; a goal below 1 is a speed-up the measured case must reach).
// `wall`: compare wall-clock times (work done in other processes).
void ratio(const std::string &measured, const std::string &baseline, double goal, const std::string &what,
           bool wall = false);

// A figure reported as it is (samples per second, milliseconds, ...), with
// a goal it must not exceed (or, for `at_least`, fall below); 0: none.
void figure(const std::string &name, double value, const std::string &unit, double goal = 0, bool at_least = false);

// Repeats a registered benchmark and reduces it to its median.
benchmark::internal::Benchmark *repeated(benchmark::internal::Benchmark *b);

template <typename Fn>
benchmark::internal::Benchmark *add(const std::string &name, Fn &&fn) {
  return repeated(benchmark::RegisterBenchmark(name.c_str(), std::forward<Fn>(fn)));
}

// The renderer with the library, the tests' shaders and the host's helpers
// loaded, the way tavo loads them.
host::Renderer &renderer();

// examples/gallery.mi, loaded once, as the renderer's current scene.
const host::LoadedScene &gallery();

// A state ready for a shader call.
host::ShadingState &shading();

}  // namespace tavo::bench
