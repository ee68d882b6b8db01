// The export table against the entry list, and the generic forwarding entries: each thunk's own slot and name,
// resolution, arguments and results, failures, unwinding and concurrent first calls.
#include <algorithm>
#include <latch>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "binding_test_support.h"

using namespace bindingtest;

// 654 exported entries, miSetModuleHandle, 35 shaders and versions, 29 init and exit pairs; none of the 24 hidden.
TEST(BindingExports, ExportTableHoldsExactlyTheListedNames) {
  const std::set<std::string> expected = listed_exports();
  EXPECT_EQ(expected.size(), 654u + 1u + 2u * 35u + 2u * 29u);
  EXPECT_EQ(library_export_table(), expected);
  int variadic = 0;
  for (const ListedEntry &e : listed_entries()) {
    EXPECT_EQ(find_symbol(library(), e.name) != nullptr, e.exported) << e.name;
    EXPECT_TRUE(e.exported || !e.variadic) << e.name;
    variadic += e.variadic;
  }
  EXPECT_EQ(variadic, 12);
}

// A slot index off by one would show up here as the neighbour's name.
TEST(BindingThunks, EveryGenericEntryLooksUpItsOwnNameAndReturnsZeroWhenUnresolved) {
  set_module(nullptr);
  int checked = 0;
  for (const ListedEntry &e : listed_entries()) {
    if (e.variadic) continue;
    const auto fn =
        reinterpret_cast<long long (*)()>(e.exported ? library_symbol(e.name) : library_internal_symbol(e.name));
    ASSERT_NE(fn, nullptr) << e.name << " is not in the library at all";
    CaptureStderr();
    EXPECT_EQ(fn(), 0) << e.name;
    EXPECT_EQ(GetCapturedStderr(), failure_text(e.name, nullptr, null_handle_error)) << e.name;
    ++checked;
  }
  EXPECT_EQ(checked, 678 - 12);
}

// Unresolved: two lines on every call, zero in every return register; a null handle searches no global module, and a
// lookup that finds the library's own entry must not call itself forever.
TEST(BindingResolution, UnresolvedEntriesReportOnEveryCallAndReturnZeroInEveryReturnRegister) {
  void *global = open_module(FAKE_RENDERER_2_PATH, true);
  void *self = handle_that_finds_the_library();
  ASSERT_EQ(find_symbol(self, "mi_matrix_solve"), library_symbol("mi_matrix_solve"));
  const struct {
    void *handle;
    const char *name;
    int error;
  } cases[] = {{nullptr, "mi_par_nthreads", null_handle_error},
               {fake_module(1), "mi_matrix_solve", missing_name_error},
               {self, "mi_matrix_solve", missing_name_error}};
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    set_module(c.handle);
    CaptureStderr();
    EXPECT_EQ(entry<long long (*)(long long)>(c.name)(-1), 0);
    EXPECT_EQ(entry<void *(*)(void *)>(c.name)(&global), nullptr);
    EXPECT_EQ(entry<float (*)(float)>(c.name)(-3.0f), 0.0f);
    EXPECT_EQ(entry<double (*)(double, double)>(c.name)(-1.0, -2.0), 0.0);
    int calls = 4;
    if (records_return_in_registers) {
      const FakePair pair = entry<FakePair (*)(long long, long long)>(c.name)(-1, -2);
      const FakeDoublePair two = entry<FakeDoublePair (*)(double, double)>(c.name)(-1.0, -2.0);
      EXPECT_TRUE(pair.first == 0 && pair.second == 0 && two.first == 0.0 && two.second == 0.0);
      calls += 2;
    }
    std::string expected;
    for (int k = 0; k < calls; ++k) expected += failure_text(c.name, c.handle, c.error);
    EXPECT_EQ(GetCapturedStderr(), expected);
  }
  close_module(global);
  set_module(fake_module(2));  // a module that has the name
  CaptureStderr();
  EXPECT_EQ(entry<int (*)()>("mi_par_nthreads")(), 42);
  EXPECT_EQ(GetCapturedStderr(), "");
}

// The two wide entries fill every argument register of either convention and put more on the stack (see
// fake_renderer.c); 16-byte records come back whole. The first call resolves, the second goes straight through.
TEST(BindingArguments, RegisterAndStackArgumentsAndRecordResultsPassThroughOnFirstAndLaterCalls) {
  using BlendFn = double (*)(double, long long, float, int, long long, double, int, float, double, long long, float,
                             int, long long, double, int, float, double, float);
  using LoftFn = double (*)(long long, double, int, float, double, long long, float, int, long long, double, int, float,
                            double, long long, float, int, double, float);
  const long long l[4] = {0x1122334455667788LL, -3LL, 5LL, 0x0102030405060708LL};
  const int i[4] = {-2, 0x7fffffff, 6, -8};
  const double d[5] = {1.5, -3.125, 1e300, 7.0 / 3.0, 9.875};
  const float f[5] = {2.25f, 4.5f, -6.75f, 1e-30f, -10.5f};
  const auto wide = [&](const char *name) {
    return call(name, l[0], l[1], l[2], l[3], i[0], i[1], i[2], i[3], d[0], d[1], d[2], d[3], d[4], f[0], f[1], f[2],
                f[3], f[4]);
  };
  auto blend = entry<BlendFn>("mi_geomo_blend_surfaces");
  auto loft = entry<LoftFn>("mi_geomo_u_loft");
  auto pair = entry<FakePair (*)(long long, long long)>("mi_geomo_free_curves");
  auto doubles = entry<FakeDoublePair (*)(double, double)>("mi_geomo_homogenize_curves");
  set_module(fake_module(1));
  for (const char *round : {"first call", "resolved call"}) {
    SCOPED_TRACE(round);
    EXPECT_EQ(blend(d[0], l[0], f[0], i[0], l[1], d[1], i[1], f[1], d[2], l[2], f[2], i[2], l[3], d[3], i[3], f[3], d[4],
                    f[4]),
              9.25);
    EXPECT_EQ(recorded(), wide("mi_geomo_blend_surfaces"));
    EXPECT_EQ(loft(l[0], d[0], i[0], f[0], d[1], l[1], f[1], i[1], l[2], d[2], i[2], f[2], d[3], l[3], f[3], i[3], d[4],
                   f[4]),
              -9.25);
    EXPECT_EQ(recorded(), wide("mi_geomo_u_loft"));
    const FakePair p = pair(11, -0x7000000000000022LL);
    const FakeDoublePair two = doubles(1.25, -2.5);
    EXPECT_TRUE(p.first == -0x7000000000000022LL && p.second == 11 && two.first == -2.5 && two.second == 1.25);
  }
}

// Doubles of a variadic call, in both register files (Microsoft x64) or counted in %al (System V), and an aligned stack.
TEST(BindingArguments, VariadicCallKeepsItsArgumentsAndStackAlignment) {
  auto echo = entry<double (*)(int, ...)>("mi_echo_scene");
  const auto expect_entered = [](int vector_registers) {
    EXPECT_TRUE(!variadic_calls_count_vector_registers || (fake_record(1)->variadic_rax & 0xff) == vector_registers);
    EXPECT_EQ((fake_record(1)->variadic_rsp + 8) % 16, 0u) << "callee entered with a misaligned stack";
  };
  set_module(fake_module(1));
  for (int round = 0; round < 2; ++round) {  // the first call, then a resolved one
    EXPECT_EQ(echo(3, 1.0, 2.0, 3.0), 123.0);
    expect_entered(3);
  }
  set_module(fake_module(1));  // a first call again, with no vector register
  EXPECT_EQ(echo(0), 0.0);
  expect_entered(0);
  EXPECT_EQ(echo(9, 1.0, 2.0, 3.0, 4.0, 5.0, 6.0, 7.0, 8.0, 9.0), 123456789.0);
  expect_entered(8);
}

// A stack walk from inside the lookup (see fake_renderer.c) gets through the first-call path to the entry's caller.
TEST(BindingUnwind, StackWalkFromInsideTheLookupReachesTheCallerOfTheEntry) {
  auto db_dump = entry<int (*)()>("mi_db_dump");
  set_module(fake_module(2));
  fake_reset(2);
  EXPECT_EQ(db_dump(), 7);
  const FakeRecord *r = fake_record(2);
  const std::vector<void *> frames(r->lookup_frames, r->lookup_frames + r->lookup_depth);
  const auto resolver = std::find_if(frames.begin(), frames.end(), in_library);
  ASSERT_NE(resolver, frames.end()) << "the walk did not reach the library";
  const auto caller = std::find_if_not(resolver, frames.end(), in_library);
  EXPECT_GE(caller - resolver, 2) << "the resolver's frame and the first-call path's";
  ASSERT_NE(caller, frames.end()) << "the walk ended in the library";
  EXPECT_TRUE(in_test_program(*caller));
}

// After each new module handle, first calls at once of thunks (one of them kept out of the export table) and of an
// entry written in C++ all look their names up again and reach that module's function.
TEST(BindingConcurrency, SimultaneousFirstCallsAfterEachNewHandleReachThatModulesFunction) {
  auto version = entry<const char *(*)()>("mi_raylib_version");
  auto noise = entry<miScalar (*)(miScalar)>("mi_noise_1d");
  auto hidden = reinterpret_cast<int (*)()>(library_internal_symbol("mi_get_subverbosity"));
  ASSERT_NE(hidden, nullptr);
  auto query = entry<miBoolean (*)(int, miState *, miTag, void *, ...)>("mi_query");
  constexpr int threads = 8;
  CaptureStderr();
  for (int round = 0; round < 50; ++round) {
    const int id = 1 + round % 2;
    set_module(fake_module(id));
    std::latch start(threads);
    std::vector<std::string> seen(threads);
    std::vector<std::thread> pool;
    for (int t = 0; t < threads; ++t)
      pool.emplace_back([&, t] {
        start.arrive_and_wait();
        int mode = 0;
        const char *name = version();  // null if unresolved
        seen[t] = std::string(name ? name : "(null)") + " " + std::to_string(noise(3.0f)) + " " +
                  std::to_string(hidden()) + " " + std::to_string(query(142, nullptr, 0u, &mode));
      });
    for (std::thread &thread : pool) thread.join();
    const std::string want =
        "fake renderer " + std::to_string(id) + " " + std::to_string(1.5f + id) + " " + std::to_string(70 + id) + " " +
        std::to_string(id);
    EXPECT_EQ(seen, std::vector<std::string>(threads, want)) << "round " << round;
  }
  EXPECT_EQ(GetCapturedStderr(), "");
}
