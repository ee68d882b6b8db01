// The parallel loop over an image's tiles: oneTBB's, or in a
// ThreadSanitizer build plain threads taking tiles in turn. oneTBB is not
// instrumented: the hand-offs inside it would read as races, and would hide
// none of the project's own. The tiles and what each does are the same.
#pragma once

#include <oneapi/tbb/blocked_range2d.h>
#include <oneapi/tbb/global_control.h>
#include <oneapi/tbb/parallel_for.h>

#include <atomic>
#include <thread>
#include <vector>

#if defined(__SANITIZE_THREAD__)
#define TAVO_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define TAVO_THREAD_SANITIZER 1
#endif
#endif

namespace tavo::host {

// Calls tile(tx, ty) once for every tile of a tiles_x x tiles_y grid, on at most `threads` threads.
template <typename Tile>
void for_each_tile(int tiles_x, int tiles_y, int threads, const Tile &tile) {
#ifdef TAVO_THREAD_SANITIZER
  std::atomic<int> next{0};
  std::vector<std::thread> pool;
  for (int t = 0; t < threads; ++t)
    pool.emplace_back([&] {
      for (int k; (k = next++) < tiles_x * tiles_y;) tile(k % tiles_x, k / tiles_x);
    });
  for (std::thread &thread : pool) thread.join();
#else
  tbb::global_control limit(tbb::global_control::max_allowed_parallelism, static_cast<std::size_t>(threads));
  tbb::parallel_for(tbb::blocked_range2d<int>(0, tiles_y, 1, 0, tiles_x, 1), [&](const auto &range) {
    for (int ty = range.rows().begin(); ty < range.rows().end(); ++ty)
      for (int tx = range.cols().begin(); tx < range.cols().end(); ++tx) tile(tx, ty);
  });
#endif
}

}  // namespace tavo::host
