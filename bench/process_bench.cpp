// `tavo eval --batch` against one `tavo eval` process per evaluation: the
// same 1,000 evaluations (the metal converter at its five types). Wall time:
// the processes' work is not this process's CPU time.
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "bench.h"

namespace tavo::bench {
namespace {

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

const bool registered = [] {
  repeated(benchmark::RegisterBenchmark("baseline/1000_eval_processes", eval_processes))
      ->Repetitions(3)->Iterations(1)->UseRealTime();
  repeated(benchmark::RegisterBenchmark("eval/batch_of_1000", eval_batch))->Iterations(3)->UseRealTime();
  ratio("eval/batch_of_1000", "baseline/1000_eval_processes", 1.0 / 20, "1,000 evaluations in one batch", true);
  return true;
}();

}  // namespace
}  // namespace tavo::bench
