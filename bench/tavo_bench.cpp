// Speed of the paths that run per shading sample, each measured against a
// baseline in the same run and reported as a ratio: these machines are noisy,
// a ratio of two neighbours is not.
//
//   forwarding entry    a renderer operation called through the library's
//                       binding layer, against the same operation called directly
//   shader evaluation   a library shader's per-call work through the host,
//                       against a host call of a trivial test shader
//   eval batch          1,000 evaluations in one `tavo eval --batch`, against
//                       1,000 `tavo eval` processes started by a shell loop
#include <benchmark/benchmark.h>

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
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

// The same 1,000 evaluations (the metal converter at its five types), as one
// batch or as one process each. Wall time: the processes' work is not ours.
constexpr int kEvaluations = 1000;

const std::string &batch_file() {
  static const std::string path = [] {
    const std::string file = (std::filesystem::temp_directory_path() / "tavo_bench_batch.txt").string();
    std::ofstream out(file);
    for (int i = 0; i < kEvaluations; ++i) out << "tavo_Shd_Metal_spider type=" << i % 5 << " patina=0.5\n";
    return file;
  }();
  return path;
}

void run_command(benchmark::State &state, const std::string &command) {
  for (auto _ : state)
    if (std::system(command.c_str()) != 0) state.SkipWithError(("failed: " + command).c_str());
}

void eval_batch(benchmark::State &state) {
  run_command(state, std::string(TAVO_TOOL) + " eval --batch " + batch_file() + " > /dev/null");
}

void eval_processes(benchmark::State &state) {
  run_command(state, "while read -r line; do " + std::string(TAVO_TOOL) + " eval $line > /dev/null || exit 1; done < " +
                         batch_file());
}

// Collects each benchmark's time per iteration for the ratios.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run> &runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run &run : runs)
      if (run.run_type == Run::RT_Iteration && run.iterations > 0)
        times[run.run_name.function_name] = run.GetAdjustedRealTime();
  }
  std::map<std::string, double> times;
};

}  // namespace

int main(int argc, char **argv) {
  struct Pair {
    const char *measured, *baseline;
    double goal;  // the ratio it must not exceed; 0: none
  };
  const Pair pairs[] = {
      {"forwarding_entry/mi_phen_eval", "baseline/direct_mi_phen_eval", 0},
      {"shader/tavo_scale_meters_to_internal", "baseline/host_call_test_source", 0},
      {"eval/batch_of_1000", "baseline/1000_eval_processes", 1.0 / 20},
  };
  benchmark::RegisterBenchmark(pairs[0].baseline, phen_eval, false);
  benchmark::RegisterBenchmark(pairs[0].measured, phen_eval, true);
  benchmark::RegisterBenchmark(pairs[1].baseline, call, false);
  benchmark::RegisterBenchmark(pairs[1].measured, call, true);
  benchmark::RegisterBenchmark(pairs[2].baseline, eval_processes)->Iterations(1)->UseRealTime();
  benchmark::RegisterBenchmark(pairs[2].measured, eval_batch)->Iterations(3)->UseRealTime();
  benchmark::Initialize(&argc, argv);
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  std::printf("\nratios (measured / baseline, same run):\n");
  for (const Pair &p : pairs) {
    if (!reporter.times.count(p.measured) || !reporter.times.count(p.baseline)) continue;
    const double ratio = reporter.times[p.measured] / reporter.times[p.baseline];
    std::printf("  %-40s %8.3f x %s", p.measured, ratio, p.baseline);
    if (p.goal > 0) std::printf("   goal <= %.3f: %s", p.goal, ratio <= p.goal ? "met" : "NOT met");
    std::printf("\n");
  }
  benchmark::Shutdown();
  return 0;
}
