// Generic forwarding entries: resolution against the module handle, arguments
// and results passed through unchanged on the first call and later ones, the
// failure messages, and concurrent first calls.
#include "binding_test_support.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <latch>
#include <string>
#include <thread>
#include <vector>

using namespace bindingtest;

namespace {

using VersionFn = const char *(*)();

std::string version_text(VersionFn fn)
{
    const char *text = fn();
    return text ? text : "(null)";
}

} // namespace

// Runs in a freshly started copy of the test program, so that the library is
// loaded here for the first time and miSetModuleHandle has never been called.
TEST(BindingResolution, CallBeforeAnyHandleWritesBothMessagesWithHandleZeroThenResolvesOnceGiven)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            const bool fresh = !library_is_loaded();
            auto version = entry<VersionFn>("mi_raylib_version");
            StderrCapture capture;
            const char *before = version();
            const char *again = version();
            const std::string messages = capture.finish();
            const std::string expected = failure_text("mi_raylib_version", nullptr, null_handle_error);
            set_module(fake_module(1));
            StderrCapture quiet;
            const std::string after = version_text(version);
            const std::string none = quiet.finish();
            const bool ok = fresh && before == nullptr && again == nullptr &&
                            messages == expected + expected && after == "fake renderer 1" &&
                            none.empty();
            if (!ok)
                std::fprintf(stderr, "fresh=%d before=%p again=%p messages=[%s] after=[%s] none=[%s]",
                             fresh, static_cast<const void *>(before),
                             static_cast<const void *>(again), messages.c_str(), after.c_str(),
                             none.c_str());
            std::_Exit(ok ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST(BindingResolution, SecondModuleHandleMakesEveryEntryLookUpItsNameAgain)
{
    auto version = entry<VersionFn>("mi_raylib_version");
    auto spline = entry<miScalar (*)(miScalar, int, miScalar *)>("mi_spline");
    auto query = entry<miBoolean (*)(int, miState *, miTag, void *, ...)>("mi_query");
    miScalar control[2] = {0.25f, 0.5f};
    void *slot = nullptr;

    StderrCapture capture;
    set_module(fake_module(1));
    fake_reset(1);
    fake_reset(2);
    EXPECT_EQ(version_text(version), "fake renderer 1");
    EXPECT_EQ(spline(1.5f, 2, control), 3.5f);
    EXPECT_EQ(query(51, nullptr, 0u, &slot), 151);
    EXPECT_EQ(fake_record(1)->calls, 2);
    EXPECT_EQ(fake_record(2)->calls, 0);

    set_module(fake_module(2));
    EXPECT_EQ(version_text(version), "fake renderer 2");
    EXPECT_EQ(spline(1.5f, 2, control), 3.5f);
    EXPECT_EQ(query(51, nullptr, 0u, &slot), 151);
    EXPECT_EQ(fake_record(1)->calls, 2);
    EXPECT_EQ(fake_record(2)->calls, 2);

    set_module(fake_module(1));
    EXPECT_EQ(version_text(version), "fake renderer 1");
    EXPECT_EQ(fake_record(1)->calls, 2);
    EXPECT_EQ(capture.finish(), "");
}

TEST(BindingResolution, MissingNameIsReportedWithHandleAndErrorOnEveryCallUntilAModuleHasIt)
{
    auto nthreads = entry<int (*)()>("mi_par_nthreads");
    void *first = fake_module(1);
    set_module(first);

    StderrCapture capture;
    EXPECT_EQ(nthreads(), 0);
    EXPECT_EQ(nthreads(), 0);
    const std::string expected = failure_text("mi_par_nthreads", first, missing_name_error);
    EXPECT_EQ(capture.finish(), expected + expected);

    set_module(fake_module(2));
    StderrCapture quiet;
    EXPECT_EQ(nthreads(), 42);
    EXPECT_EQ(quiet.finish(), "");
}

TEST(BindingResolution, FailedLookupReturnsZeroInEveryReturnRegister)
{
    void *first = fake_module(1);
    set_module(first);
    // mi_matrix_solve is not in the fake module: the same entry, called with
    // different result types, must come back zero in rax and xmm0, and under
    // System V in the register pairs rax:rdx and xmm0:xmm1 too.
    const char *name = "mi_matrix_solve";
    StderrCapture capture;
    const long long integer = entry<long long (*)(long long)>(name)(-1);
    const void *pointer = entry<void *(*)(void *)>(name)(&capture);
    const float scalar = entry<float (*)(float)>(name)(-3.0f);
    const double real = entry<double (*)(double, double)>(name)(-1.0, -2.0);
    FakePair pair{-1, -1};
    FakeDoublePair doubles{-1.0, -1.0};
    if (records_return_in_registers) {
        pair = entry<FakePair (*)(long long, long long)>(name)(-1, -2);
        doubles = entry<FakeDoublePair (*)(double, double)>(name)(-1.0, -2.0);
    }
    const std::string messages = capture.finish();

    EXPECT_EQ(integer, 0);
    EXPECT_EQ(pointer, nullptr);
    EXPECT_EQ(scalar, 0.0f);
    EXPECT_EQ(real, 0.0);
    std::string expected;
    for (int call = 0; call < (records_return_in_registers ? 6 : 4); ++call)
        expected += failure_text(name, first, missing_name_error);
    EXPECT_EQ(messages, expected);
    if (records_return_in_registers) {
        EXPECT_EQ(pair.first, 0);
        EXPECT_EQ(pair.second, 0);
        EXPECT_EQ(doubles.first, 0.0);
        EXPECT_EQ(doubles.second, 0.0);
    }
}

TEST(BindingResolution, NullHandleFindsNothingInTheModulesLoaded)
{
    // With a null handle, glibc's dlsym would search the global scope and
    // GetProcAddress the program's image; the fake module loaded where such a
    // search could look must not be found.
    void *global = open_in_global_scope(FAKE_RENDERER_2_PATH);
    set_module(nullptr);
    StderrCapture capture;
    EXPECT_EQ(entry<int (*)()>("mi_par_nthreads")(), 0);
    EXPECT_EQ(capture.finish(), failure_text("mi_par_nthreads", nullptr, null_handle_error));
    close_module(global);
}

// A handle through which the lookup finds the library's own entry must not
// make the entry call itself forever: it counts as a name not found. The name
// is one that only the library has, whatever else is in the global scope.
TEST(BindingResolution, LookupThatFindsTheLibraryItselfCountsAsNotFound)
{
    const char *name = "mi_matrix_solve";
    void *handle = handle_that_finds_the_library();
    ASSERT_EQ(find_symbol(handle, name), library_symbol(name));
    set_module(handle);
    StderrCapture capture;
    EXPECT_EQ(entry<long long (*)()>(name)(), 0);
    EXPECT_EQ(capture.finish(), failure_text(name, handle, missing_name_error));
    set_module(fake_module(1));
}

// The two wide entries fill every argument register of either convention and
// put more arguments on the stack (see fake_renderer.c).
TEST(BindingArguments, RegisterAndStackArgumentsReachTheRendererOnFirstAndLaterCalls)
{
    using BlendFn = double (*)(double, long long, float, int, long long, double, int, float, double,
                               long long, float, int, long long, double, int, float, double, float);
    using LoftFn = double (*)(long long, double, int, float, double, long long, float, int, long long,
                              double, int, float, double, long long, float, int, double, float);
    const long long l[4] = {0x1122334455667788LL, -3LL, 5LL, 0x0102030405060708LL};
    const int i[4] = {-2, 0x7fffffff, 6, -8};
    const double d[5] = {1.5, -3.125, 1e300, 7.0 / 3.0, 9.875};
    const float f[5] = {2.25f, 4.5f, -6.75f, 1e-30f, -10.5f};
    const auto expect_recorded = [&](double result, double expected) {
        const FakeRecord *r = fake_record(1);
        EXPECT_EQ(result, expected);
        EXPECT_EQ(r->calls, 1);
        for (int k = 0; k < 4; ++k) {
            EXPECT_EQ(r->wide_l[k], l[k]) << k;
            EXPECT_EQ(r->wide_i[k], i[k]) << k;
        }
        for (int k = 0; k < 5; ++k) {
            EXPECT_EQ(r->wide_d[k], d[k]) << k;
            EXPECT_EQ(r->wide_f[k], f[k]) << k;
        }
    };

    auto blend = entry<BlendFn>("mi_geomo_blend_surfaces");
    auto loft = entry<LoftFn>("mi_geomo_u_loft");
    set_module(fake_module(1));
    for (int call = 0; call < 2; ++call) { // the first call resolves, the second goes straight through
        SCOPED_TRACE(call == 0 ? "first call" : "resolved call");
        fake_reset(1);
        expect_recorded(blend(d[0], l[0], f[0], i[0], l[1], d[1], i[1], f[1], d[2], l[2], f[2], i[2],
                              l[3], d[3], i[3], f[3], d[4], f[4]),
                        9.25);
        fake_reset(1);
        expect_recorded(loft(l[0], d[0], i[0], f[0], d[1], l[1], f[1], i[1], l[2], d[2], i[2], f[2],
                             d[3], l[3], f[3], i[3], d[4], f[4]),
                        -9.25);
    }
}

TEST(BindingArguments, SplineGetsItsScalarCountAndControlPointer)
{
    auto spline = entry<miScalar (*)(miScalar, int, miScalar *)>("mi_spline");
    set_module(fake_module(2));
    miScalar control[3] = {1.0f, 2.0f, 0.125f};
    fake_reset(2);
    EXPECT_EQ(spline(0.75f, 3, control), 2.375f);
    EXPECT_EQ(fake_record(2)->spline_t, 0.75f);
    EXPECT_EQ(fake_record(2)->spline_n, 3);
    EXPECT_EQ(fake_record(2)->spline_control, control);
}

TEST(BindingArguments, RecordResultsComeBackWhole)
{
    auto pair = entry<FakePair (*)(long long, long long)>("mi_geomo_free_curves");
    auto doubles = entry<FakeDoublePair (*)(double, double)>("mi_geomo_homogenize_curves");
    set_module(fake_module(1));
    for (int call = 0; call < 2; ++call) {
        const FakePair p = pair(11, -0x7000000000000022LL);
        EXPECT_EQ(p.first, -0x7000000000000022LL);
        EXPECT_EQ(p.second, 11);
        const FakeDoublePair d = doubles(1.25, -2.5);
        EXPECT_EQ(d.first, -2.5);
        EXPECT_EQ(d.second, 1.25);
    }
}

// A variadic renderer function reads doubles that the caller passed in both
// integer and vector registers (Microsoft x64) or counted in %al (System V);
// the first-call path calls the resolver in between and must give them back,
// and enter the callee with the stack aligned.
TEST(BindingArguments, VariadicCallKeepsItsArgumentsAndStackAlignment)
{
    auto echo = entry<double (*)(int, ...)>("mi_echo_scene");
    set_module(fake_module(1));
    for (int call = 0; call < 2; ++call) {
        SCOPED_TRACE(call == 0 ? "first call" : "resolved call");
        const double sum = echo(3, 1.0, 2.0, 3.0);
        const FakeRecord *r = fake_record(1);
        EXPECT_EQ(sum, 123.0);
        if (variadic_calls_count_vector_registers) {
            EXPECT_EQ(r->variadic_rax & 0xff, 3);
        }
        EXPECT_EQ((r->variadic_rsp + 8) % 16, 0u) << "callee entered with a misaligned stack";
    }
    set_module(fake_module(1));
    EXPECT_EQ(echo(0), 0.0);
    if (variadic_calls_count_vector_registers) {
        EXPECT_EQ(fake_record(1)->variadic_rax & 0xff, 0);
    }
    EXPECT_EQ(echo(9, 1.0, 2.0, 3.0, 4.0, 5.0, 6.0, 7.0, 8.0, 9.0), 123456789.0);
    if (variadic_calls_count_vector_registers) {
        EXPECT_EQ(fake_record(1)->variadic_rax & 0xff, 8);
    }
}

// Code run inside the lookup walks the stack by the unwind data (see
// fake_renderer.c): from the resolver it must get through the first-call path
// back to the caller of the entry.
TEST(BindingUnwind, StackWalkFromInsideTheLookupReachesTheCallerOfTheEntry)
{
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

// Threads making the first call of the same entries at once (generic thunks
// and an entry written in C++) may all resolve, and must all get through to
// the same renderer function.
TEST(BindingConcurrency, SimultaneousFirstCallsAllReachTheSameFunction)
{
    auto version = entry<VersionFn>("mi_raylib_version");
    auto noise = entry<miScalar (*)(miScalar)>("mi_noise_1d");
    auto query = entry<miBoolean (*)(int, miState *, miTag, void *, ...)>("mi_query");
    constexpr int threads = 8;
    constexpr int rounds = 50;

    StderrCapture capture;
    for (int round = 0; round < rounds; ++round) {
        const int id = 1 + round % 2;
        set_module(fake_module(id));
        std::latch start(threads);
        std::vector<const char *> versions(threads);
        std::vector<miScalar> noises(threads);
        std::vector<miBoolean> answers(threads);
        std::vector<std::thread> pool;
        for (int t = 0; t < threads; ++t)
            pool.emplace_back([&, t] {
                start.arrive_and_wait();
                versions[t] = version();
                noises[t] = noise(3.0f);
                int mode = 0;
                answers[t] = query(142, nullptr, 0u, &mode);
            });
        for (std::thread &thread : pool)
            thread.join();
        const std::string expected = "fake renderer " + std::to_string(id);
        for (int t = 0; t < threads; ++t) {
            ASSERT_NE(versions[t], nullptr) << "round " << round << " thread " << t;
            EXPECT_EQ(std::string(versions[t]), expected) << "round " << round;
            EXPECT_EQ(noises[t], 1.5f + static_cast<miScalar>(id)) << "round " << round;
            EXPECT_EQ(answers[t], 242) << "round " << round;
        }
    }
    EXPECT_EQ(capture.finish(), "");
}
