// tavo_bench: the speed of the paths that run per shading sample and per
// evaluation, each as a ratio to a baseline of the same run. `make bench`.
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <map>
#include <vector>

#include "bench.h"

namespace tavo::bench {

namespace {

struct Ratio {
  std::string measured, baseline, what;
  double goal;
  bool wall;
};
struct Figure {
  std::string name, unit;
  double value, goal;
  bool at_least;
};

std::vector<Ratio> &ratios() {
  static std::vector<Ratio> r;
  return r;
}
std::vector<Figure> &figures() {
  static std::vector<Figure> f;
  return f;
}

// Keeps the median CPU time of every benchmark, by its registered name.
class MedianReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run> &runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run &run : runs)
      if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
        cpu[run.run_name.function_name] = run.GetAdjustedCPUTime();
        wall[run.run_name.function_name] = run.GetAdjustedRealTime();
      }
  }
  std::map<std::string, double> cpu, wall;
};

std::string machine() {
  utsname u{};
  uname(&u);
  std::string model = u.machine;
  std::ifstream cpuinfo("/proc/cpuinfo");
  for (std::string line; std::getline(cpuinfo, line);)
    if (line.rfind("model name", 0) == 0) {
      model = line.substr(line.find(':') + 2);
      break;
    }
  return model + ", " + std::to_string(sysconf(_SC_NPROCESSORS_ONLN)) + " cores, " + u.sysname + " " + u.release;
}

const char *verdict(bool met) { return met ? "met" : "NOT met"; }

}  // namespace

void ratio(const std::string &measured, const std::string &baseline, double goal, const std::string &what,
           bool wall) {
  ratios().push_back({measured, baseline, what, goal, wall});
}

void figure(const std::string &name, double value, const std::string &unit, double goal, bool at_least) {
  for (Figure &f : figures())
    if (f.name == name) {  // a later repetition's figure replaces the earlier one
      f = {name, unit, value, goal, at_least};
      return;
    }
  figures().push_back({name, unit, value, goal, at_least});
}

benchmark::internal::Benchmark *repeated(benchmark::internal::Benchmark *b) {
  return b->Repetitions(5)
      ->ReportAggregatesOnly(true)
      ->ComputeStatistics("median", [](const std::vector<double> &v) {
        std::vector<double> s = v;
        std::nth_element(s.begin(), s.begin() + s.size() / 2, s.end());
        return s[s.size() / 2];
      });
}

}  // namespace tavo::bench

int main(int argc, char **argv) {
  using namespace tavo::bench;
  benchmark::Initialize(&argc, argv);
  MedianReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  char date[32];
  const std::time_t now = std::time(nullptr);
  std::strftime(date, sizeof date, "%Y-%m-%d", std::gmtime(&now));
  std::printf("\n%s, %s\n", date, machine().c_str());
  std::printf("%-44s %9s  %-36s %s\n", "measured", "ratio", "baseline (same run, median time)", "goal");
  for (const auto &r : ratios()) {
    auto &times = r.wall ? reporter.wall : reporter.cpu;
    if (!times.count(r.measured) || !times.count(r.baseline)) continue;
    const double x = times[r.measured] / times[r.baseline];
    std::printf("%-44s %8.3fx  %-36s", r.measured.c_str(), x, r.baseline.c_str());
    if (r.goal > 0) std::printf(" <= %.2fx: %s", r.goal, verdict(x <= r.goal));
    std::printf("   %s\n", r.what.c_str());
  }
  for (const auto &f : figures()) {
    std::printf("%-44s %9.4g %s", f.name.c_str(), f.value, f.unit.c_str());
    if (f.goal > 0)
      std::printf("   %s %.4g: %s", f.at_least ? ">=" : "<=", f.goal,
                  verdict(f.at_least ? f.value >= f.goal : f.value <= f.goal));
    std::printf("\n");
  }
  benchmark::Shutdown();
  return 0;
}
