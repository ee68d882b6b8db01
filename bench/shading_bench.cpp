// What a shader's evaluation costs through the host: reading its parameters
// (plain, and connected: from the result cache or running the source), finding its instance record, and a whole converter
// call, each against the plain memory work it stands for.
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "bench.h"
#include "platform.h"
#include "frame/frame.h"

namespace tavo::bench {
namespace {

using host::Instance;

// An instance of `shader`, initialised, with the state pointing at it.
Instance &running(miTag tag) {
  host::ShadingState &s = shading();
  renderer().init_instance(tag, s.state);
  Instance &inst = *renderer().instance(tag);
  s.state.shader = &inst.function;
  return inst;
}

miTag scale_instance() {
  static const miTag tag = renderer().create_instance("tavo_scale_meters_to_internal", {{"value", {"2"}, 0, {}}});
  return tag;
}

// `value` connected to a field of another shader's result: every read runs it.
miTag connected_instance() {
  static const miTag tag = [] {
    const miTag source = renderer().create_instance("test_source", {});
    return renderer().create_instance("tavo_scale_meters_to_internal", {{"value", {}, source, "s"}});
  }();
  return tag;
}

void slot_read(benchmark::State &state) {
  Instance &inst = running(scale_instance());
  void *volatile *slot = &inst.user_pointer;
  for (auto _ : state) benchmark::DoNotOptimize(*slot);
}

// The least any call into another module costs: the do-nothing renderer's
// mi_query through a pointer, with the same arguments.
void empty_call(benchmark::State &state) {
  std::string why;
  void *noop = host::platform::load_module(TAVO_NOOP_RENDERER, why);
  if (!noop) return state.SkipWithError(why.c_str());
  using Query = miBoolean (*)(int, miState *, miTag, void *);
  const Query volatile query = reinterpret_cast<Query>(host::platform::find_symbol(noop, "mi_query"));
  miState *s = &shading().state;
  for (auto _ : state) {
    void **slot = nullptr;
    query(miQ_FUNC_USERPTR, s, miNULLTAG, &slot);
    benchmark::DoNotOptimize(slot);
  }
}

void query_51(benchmark::State &state) {
  running(scale_instance());
  miState *s = &shading().state;
  for (auto _ : state) {
    void **slot = nullptr;
    mi_query(miQ_FUNC_USERPTR, s, miNULLTAG, &slot);
    benchmark::DoNotOptimize(slot);
  }
}

void plain_parameter(benchmark::State &state) {
  Instance &inst = running(scale_instance());
  miState *s = &shading().state;
  auto *value = reinterpret_cast<miScalar *>(inst.parameters());
  for (auto _ : state) benchmark::DoNotOptimize(tavo::eval(s, value));
}

// A connected read: from the renderer's cache of results once the source has
// run in the state, or (`fresh`) after a flush, running the source each time.
void connected_parameter(benchmark::State &state, bool fresh) {
  Instance &inst = running(connected_instance());
  miState *s = &shading().state;
  auto *value = reinterpret_cast<miScalar *>(inst.parameters());
  for (auto _ : state) {
    if (fresh) mi_flush_cache(s);
    benchmark::DoNotOptimize(tavo::eval(s, value));
  }
  shading().sample.end_sample();
}

// The record's copy: what a converter's evaluation does besides finding it.
void record_copy(benchmark::State &state, std::size_t bytes) {
  std::vector<unsigned char> from(bytes, 1), to(bytes);
  for (auto _ : state) {
    std::memcpy(to.data(), from.data(), bytes);
    benchmark::DoNotOptimize(to.data());
    benchmark::ClobberMemory();
  }
}

// A host call of `shader` (a converter, or the tests' shader that only
// counts its runs: what any shader call costs).
void shader_call(benchmark::State &state, const std::string &shader) {
  static std::map<std::string, miTag> tags;
  if (!tags.count(shader)) tags[shader] = renderer().create_instance(shader, {});
  const miTag tag = tags[shader];
  running(tag);
  std::vector<std::uint64_t> result(64);
  host::Renderer &host = renderer();  // found once: the loop measures the call, not the fixture
  miState &s = shading().state;
  for (auto _ : state) {
    benchmark::DoNotOptimize(host.call(tag, result.data(), s));
    benchmark::ClobberMemory();
  }
}

const char *const kConverters[] = {
    "tavo_Shd_Ceramic_spider",  "tavo_Shd_Concrete_spider",    "tavo_Shd_Fabric_spider", "tavo_Shd_Glazing_spider",
    "tavo_Shd_Hardwood_spider", "tavo_Shd_MasonryCMU_spider",  "tavo_Shd_Metal_spider",  "tavo_Shd_MetallicPaint_spider",
    "tavo_Shd_Mirror_spider",   "tavo_Shd_PlasticVinyl_spider", "tavo_Shd_SolidGlass_spider", "tavo_Shd_SSS_spider",
    "tavo_Shd_Stone_spider",    "tavo_Shd_WallPaint_spider",    "tavo_Shd_Water_spider"};

const bool registered = [] {
  add("baseline/slot_read", slot_read);
  add("query/mi_query_51", query_51);
  add("parameter/unconnected_read", plain_parameter);
  add("parameter/connected_read", [](benchmark::State &s) { connected_parameter(s, false); });
  add("parameter/connected_read_source_runs", [](benchmark::State &s) { connected_parameter(s, true); });
  add("baseline/empty_call_into_module", empty_call);
  ratio("query/mi_query_51", "baseline/slot_read", 3, "the instance record found through the renderer");
  ratio("query/mi_query_51", "baseline/empty_call_into_module", 0, "... against a call that does nothing");
  ratio("parameter/unconnected_read", "baseline/slot_read", 3, "the library's parameter-reading rule");
  ratio("parameter/connected_read", "baseline/slot_read", 0, "mi_phen_eval, the source's result kept for the state");
  ratio("parameter/connected_read_source_runs", "baseline/slot_read", 0, "mi_phen_eval running the source shader");
  add("baseline/empty_shader_call", [](benchmark::State &s) { shader_call(s, "test_calls"); });
  for (const char *shader : kConverters) {
    const std::size_t bytes = renderer().function(shader)->decl.result.size();
    const std::string copy = "baseline/memcpy_" + std::to_string(bytes) + "_bytes";
    static std::set<std::string> copies;
    if (copies.insert(copy).second) add(copy, [bytes](benchmark::State &s) { record_copy(s, bytes); });
    add(std::string("converter/") + shader, [shader](benchmark::State &s) { shader_call(s, shader); });
    ratio(std::string("converter/") + shader, copy, 3, "a converter call against a copy of its record");
  }
  ratio("baseline/empty_shader_call", "baseline/memcpy_4_bytes", 0, "a call of a shader that does nothing, against a copy");
  return true;
}();

}  // namespace
}  // namespace tavo::bench
