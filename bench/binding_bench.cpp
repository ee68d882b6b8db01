// The binding layer's cost: a resolved forwarding entry against a call
// through a function pointer and a direct call of the same renderer
// function, and the first calls that resolve every exported entry.
#include <chrono>
#include <string>
#include <vector>

#include "bench.h"
#include "platform.h"

namespace tavo::bench {
namespace {

using PhenEval = void *(*)(miState *, void *);

void *library() {
  static void *handle = [] {
    renderer();  // loaded, and pointed at the renderer, as a renderer does
    std::string why;
    return host::platform::load_module(TAVO_LIBRARY, why);
  }();
  return handle;
}

// A running instance's unconnected parameter: mi_phen_eval hands its address back.
void *running_parameter() {
  const miTag tag = renderer().create_instance("tavo_scale_meters_to_internal", {{"value", {"2"}, 0, {}}});
  host::Instance &inst = *renderer().instance(tag);
  shading().state.shader = &inst.function;
  return inst.parameters();
}

template <PhenEval (*Pick)()>
void phen_eval(benchmark::State &state) {
  void *parameter = running_parameter();
  miState *s = &shading().state;
  const PhenEval fn = Pick();
  for (auto _ : state) benchmark::DoNotOptimize(fn(s, parameter));
}

PhenEval forwarded() { return reinterpret_cast<PhenEval>(host::platform::find_symbol(library(), "mi_phen_eval")); }
PhenEval pointer() {
  static volatile PhenEval p = &mi_phen_eval;  // opaque to the optimiser
  return p;
}

void direct(benchmark::State &state) {
  void *parameter = running_parameter();
  miState *s = &shading().state;
  for (auto _ : state) benchmark::DoNotOptimize(mi_phen_eval(s, parameter));
}

// Every exported generic entry called once after miSetModuleHandle, against
// a module in which every renderer function does nothing: the first calls
// resolve all of them.
void first_calls(benchmark::State &state) {
  std::vector<void (*)()> entries;
#define TAVO_ENTRY(name) entries.push_back(reinterpret_cast<void (*)()>(host::platform::find_symbol(library(), #name)));
#define TAVO_HIDDEN_ENTRY(name)
#define TAVO_VARIADIC_ENTRY(name)
#include "binding/entries.def"
  std::string why;
  void *noop = host::platform::load_module(TAVO_NOOP_RENDERER, why);
  if (!noop) state.SkipWithError(why.c_str());
  const auto set_module = reinterpret_cast<void (*)(void *)>(host::platform::find_symbol(library(), "miSetModuleHandle"));
  double total_ms = 0;
  for (auto _ : state) {
    const auto start = std::chrono::steady_clock::now();
    set_module(noop);
    for (void (*entry)() : entries) entry();
    total_ms += std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
  }
  set_module(host::platform::module_containing(reinterpret_cast<const void *>(&mi_phen_eval)));  // the renderer again
  static bool reported = false;
  if (!reported && state.iterations() > 0) {
    figure("binding/first_calls_of_" + std::to_string(entries.size()) + "_entries",
           total_ms / static_cast<double>(state.iterations()), "ms", 1.0);
    reported = true;
  }
}

const bool registered = [] {
  add("baseline/direct_mi_phen_eval", direct);
  add("baseline/pointer_mi_phen_eval", phen_eval<pointer>);
  add("binding/forwarded_mi_phen_eval", phen_eval<forwarded>);
  ratio("binding/forwarded_mi_phen_eval", "baseline/pointer_mi_phen_eval", 1.1, "a resolved forwarding entry");
  ratio("binding/forwarded_mi_phen_eval", "baseline/direct_mi_phen_eval", 0, "... against a direct call");
  benchmark::RegisterBenchmark("binding/first_calls", first_calls)->Iterations(50);
  return true;
}();

}  // namespace
}  // namespace tavo::bench
