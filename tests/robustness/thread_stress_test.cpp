// Evaluations from many threads at once: every shader of the library, on
// instances all threads share, from eight threads, must give what a serial
// run gives. Built with ThreadSanitizer (make check-thread) this also shows
// any unsynchronised write.
#include <barrier>
#include <thread>

#include "host_fixture.h"

namespace tavo::test {
namespace {

class Concurrency : public HostTest {};

TEST_F(Concurrency, EveryShaderFromEightThreadsGivesWhatASerialRunGives) {
  constexpr int kThreads = 8, kRounds = 200;
  const int rays[] = {miRAY_EYE, miRAY_SHADOW, miRAY_REFLECT, miRAY_REFRACT};
  struct Evaluation {
    miTag tag;
    std::size_t words;
  };
  std::vector<Evaluation> evaluations;
  host::ShadingState init;
  for (const host::Function *fn : renderer().functions()) {
    if (fn->decl.phenomenon || fn->library.empty()) continue;
    const miTag tag = renderer().create_instance(fn->decl.name, {});
    renderer().init_instance(tag, init.state);
    evaluations.push_back({tag, std::max<std::size_t>((fn->decl.result.size() + 3) / 4, 4)});
  }
  ASSERT_EQ(evaluations.size(), 35u);

  // One pass over every shader and ray type; each result as its bytes.
  const auto pass = [&] {
    std::vector<std::vector<std::uint32_t>> results;
    for (const Evaluation &e : evaluations)
      for (const int ray : rays) {
        host::ShadingState shading(ray);
        std::vector<std::uint32_t> result(e.words + 1, 0);
        result.back() = static_cast<std::uint32_t>(renderer().call(e.tag, result.data(), shading.state));
        results.push_back(std::move(result));
      }
    return results;
  };
  const auto serial = pass();

  std::vector<int> mismatches(kThreads, 0);
  std::barrier start(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t)
    threads.emplace_back([&, t] {
      start.arrive_and_wait();  // all at once, for the most overlap
      for (int round = 0; round < kRounds; ++round) mismatches[t] += pass() != serial;
    });
  for (std::thread &thread : threads) thread.join();
  EXPECT_EQ(mismatches, std::vector<int>(kThreads, 0));
}

}  // namespace
}  // namespace tavo::test
