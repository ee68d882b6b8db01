// Speed of the paths that run per shading sample, each measured against a
// baseline in the same run and reported as a ratio: these machines are noisy,
// a ratio of two neighbours is not.
//
//   forwarding entry    a renderer operation called through the library's
//                       binding layer, against the same operation called directly
//   shader evaluation   a library shader's per-call work through the host,
//                       against a host call of a trivial test shader
#include <benchmark/benchmark.h>

#include <dlfcn.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "renderer_core.h"

using tavo::host::Renderer;
using tavo::host::ShadingState;

namespace {

using PhenEval = void *(*)(miState *, void *);

struct Fixture {
  void *library = nullptr;
  PhenEval forwarded = nullptr;  // the library's entry
  PhenEval direct = nullptr;     // the renderer's own function
  miTag scale = 0;
  miTag source = 0;
  ShadingState shading;

  Fixture() {
    Renderer &r = Renderer::get();
    r.load_library(TAVO_LIBRARY, TAVO_DECLARATIONS);
    r.load_library(TAVO_TEST_SHADERS, TAVO_TEST_DECLARATIONS);
    library = dlopen(TAVO_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
    forwarded = reinterpret_cast<PhenEval>(dlsym(library, "mi_phen_eval"));
    direct = &mi_phen_eval;
    scale = r.create_instance("tavo_scale_meters_to_internal", {{"value", {"2"}, 0, {}}});
    source = r.create_instance("test_source", {});
    r.init_instance(scale, shading.state);
    r.init_instance(source, shading.state);
  }
};

Fixture &fixture() {
  static Fixture f;
  return f;
}

// mi_phen_eval of an unconnected parameter: the renderer hands the address back.
void phen_eval(benchmark::State &state, bool through_library) {
  Fixture &f = fixture();
  tavo::host::Instance *inst = Renderer::get().instance(f.scale);
  f.shading.state.shader = &inst->function;
  void *parameter = inst->parameters();
  const PhenEval fn = through_library ? f.forwarded : f.direct;
  for (auto _ : state) benchmark::DoNotOptimize(fn(&f.shading.state, parameter));
  f.shading.state.shader = nullptr;
}

void call(benchmark::State &state, bool library_shader) {
  Fixture &f = fixture();
  const miTag tag = library_shader ? f.scale : f.source;
  alignas(16) unsigned char result[64];
  for (auto _ : state) {
    benchmark::DoNotOptimize(Renderer::get().call(tag, result, f.shading.state));
    benchmark::ClobberMemory();
  }
}

// Collects each benchmark's time per iteration for the ratios.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run> &runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run &run : runs)
      if (run.run_type == Run::RT_Iteration && run.iterations > 0)
        times[run.benchmark_name()] = run.GetAdjustedRealTime();
  }
  std::map<std::string, double> times;
};

}  // namespace

int main(int argc, char **argv) {
  const std::pair<const char *, const char *> pairs[] = {
      {"forwarding_entry/mi_phen_eval", "baseline/direct_mi_phen_eval"},
      {"shader/tavo_scale_meters_to_internal", "baseline/host_call_test_source"},
  };
  benchmark::RegisterBenchmark(pairs[0].second, phen_eval, false);
  benchmark::RegisterBenchmark(pairs[0].first, phen_eval, true);
  benchmark::RegisterBenchmark(pairs[1].second, call, false);
  benchmark::RegisterBenchmark(pairs[1].first, call, true);
  benchmark::Initialize(&argc, argv);
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  std::printf("\nratios (measured / baseline, same run):\n");
  for (const auto &[measured, baseline] : pairs)
    if (reporter.times.count(measured) && reporter.times.count(baseline))
      std::printf("  %-40s %6.2f x %s\n", measured, reporter.times[measured] / reporter.times[baseline], baseline);
  benchmark::Shutdown();
  return 0;
}
