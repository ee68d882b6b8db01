// Generic forwarding entries: resolution against the module handle, arguments
// and results passed through unchanged on the first call and later ones, the
// failure messages, and concurrent first calls.
#include "binding_test_support.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
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
            const bool fresh = dlopen(TAVO_LIBRARY_PATH, RTLD_LAZY | RTLD_NOLOAD) == nullptr;
            auto version = entry<VersionFn>("mi_raylib_version");
            StderrCapture capture;
            const char *before = version();
            const char *again = version();
            const std::string messages = capture.finish();
            const std::string expected = failure_text("mi_raylib_version", nullptr, EINVAL);
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
    const std::string expected = failure_text("mi_par_nthreads", first, ENOENT);
    EXPECT_EQ(capture.finish(), expected + expected);
    EXPECT_NE(expected.find("error: 2)"), std::string::npos) << expected;

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
    // different result types, must come back zero in rax, rdx, xmm0 and xmm1.
    const char *name = "mi_matrix_solve";
    StderrCapture capture;
    const FakePair pair = entry<FakePair (*)(long, long)>(name)(-1, -2);
    const FakeDoublePair doubles = entry<FakeDoublePair (*)(double, double)>(name)(-1.0, -2.0);
    const void *pointer = entry<void *(*)(void *)>(name)(&capture);
    const float scalar = entry<float (*)(float)>(name)(-3.0f);
    const std::string messages = capture.finish();

    EXPECT_EQ(pair.first, 0);
    EXPECT_EQ(pair.second, 0);
    EXPECT_EQ(doubles.first, 0.0);
    EXPECT_EQ(doubles.second, 0.0);
    EXPECT_EQ(pointer, nullptr);
    EXPECT_EQ(scalar, 0.0f);
    const std::string one = failure_text(name, first, ENOENT);
    EXPECT_EQ(messages, one + one + one + one);
}

TEST(BindingResolution, NullHandleIsNotLookedUpInTheGlobalScope)
{
    // With a null handle, glibc's dlsym would search the global scope; the fake
    // module loaded globally there must not be found.
    void *global = dlopen(FAKE_RENDERER_2_PATH, RTLD_NOW | RTLD_GLOBAL);
    ASSERT_NE(global, nullptr);
    set_module(nullptr);
    StderrCapture capture;
    EXPECT_EQ(entry<int (*)()>("mi_par_nthreads")(), 0);
    EXPECT_EQ(capture.finish(), failure_text("mi_par_nthreads", nullptr, EINVAL));
    dlclose(global);
}

// Six integer and eight vector registers full, two more of each on the stack.
TEST(BindingArguments, RegisterAndStackArgumentsReachTheRendererOnFirstAndLaterCalls)
{
    using WideFn = double (*)(long, int, long, int, long, int, long, int, double, float, double,
                              float, double, float, double, float, double, float);
    auto wide = entry<WideFn>("mi_geomo_blend_surfaces");
    set_module(fake_module(1));

    for (int call = 0; call < 2; ++call) { // the first call resolves, the second goes straight through
        SCOPED_TRACE(call == 0 ? "first call" : "resolved call");
        fake_reset(1);
        const double result = wide(0x1122334455667788L, -2, -3L, 0x7fffffff, 5L, 6,
                                   0x0102030405060708L, -8, 1.5, 2.25f, -3.125, 4.5f, 1e300, -6.75f,
                                   7.0 / 3.0, 1e-30f, 9.875, -10.5f);
        const FakeRecord *r = fake_record(1);
        EXPECT_EQ(result, 9.25);
        EXPECT_EQ(r->calls, 1);
        EXPECT_EQ(r->wide_l[0], 0x1122334455667788L);
        EXPECT_EQ(r->wide_l[1], -3L);
        EXPECT_EQ(r->wide_l[2], 5L);
        EXPECT_EQ(r->wide_l[3], 0x0102030405060708L);
        EXPECT_EQ(r->wide_i[0], -2);
        EXPECT_EQ(r->wide_i[1], 0x7fffffff);
        EXPECT_EQ(r->wide_i[2], 6);
        EXPECT_EQ(r->wide_i[3], -8);
        EXPECT_EQ(r->wide_d[0], 1.5);
        EXPECT_EQ(r->wide_d[1], -3.125);
        EXPECT_EQ(r->wide_d[2], 1e300);
        EXPECT_EQ(r->wide_d[3], 7.0 / 3.0);
        EXPECT_EQ(r->wide_d[4], 9.875);
        EXPECT_EQ(r->wide_f[0], 2.25f);
        EXPECT_EQ(r->wide_f[1], 4.5f);
        EXPECT_EQ(r->wide_f[2], -6.75f);
        EXPECT_EQ(r->wide_f[3], 1e-30f);
        EXPECT_EQ(r->wide_f[4], -10.5f);
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

TEST(BindingArguments, RecordResultsComeBackInBothRegisterPairs)
{
    auto pair = entry<FakePair (*)(long, long)>("mi_geomo_free_curves");
    auto doubles = entry<FakeDoublePair (*)(double, double)>("mi_geomo_homogenize_curves");
    set_module(fake_module(1));
    for (int call = 0; call < 2; ++call) {
        const FakePair p = pair(11, -0x7000000000000022L);
        EXPECT_EQ(p.first, -0x7000000000000022L);
        EXPECT_EQ(p.second, 11);
        const FakeDoublePair d = doubles(1.25, -2.5);
        EXPECT_EQ(d.first, -2.5);
        EXPECT_EQ(d.second, 1.25);
    }
}

// A variadic renderer function reads the vector register count from %al; the
// first-call path calls the resolver in between and must give %al back.
TEST(BindingArguments, VariadicCallKeepsVectorCountAndStackAlignment)
{
    auto echo = entry<double (*)(int, ...)>("mi_echo_scene");
    set_module(fake_module(1));
    for (int call = 0; call < 2; ++call) {
        SCOPED_TRACE(call == 0 ? "first call" : "resolved call");
        const double sum = echo(3, 1.0, 2.0, 3.0);
        const FakeRecord *r = fake_record(1);
        EXPECT_EQ(sum, 123.0);
        EXPECT_EQ(r->variadic_rax & 0xff, 3);
        EXPECT_EQ((r->variadic_rsp + 8) % 16, 0u) << "callee entered with a misaligned stack";
    }
    set_module(fake_module(1));
    EXPECT_EQ(echo(0), 0.0);
    EXPECT_EQ(fake_record(1)->variadic_rax & 0xff, 0);
    EXPECT_EQ(echo(9, 1.0, 2.0, 3.0, 4.0, 5.0, 6.0, 7.0, 8.0, 9.0), 123456789.0);
    EXPECT_EQ(fake_record(1)->variadic_rax & 0xff, 8);
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
