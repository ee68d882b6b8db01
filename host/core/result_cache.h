// The results of connected source shaders within one sample: a source runs
// once per state, and every later read of it in that state reuses the result,
// until a shader flushes the state (mi_flush_cache) or the renderer moves it
// (a new ray into a child state, a new sample). A sample belongs to one
// thread, so nothing here takes a lock; the memory is kept from sample to
// sample, so a warm cache allocates nothing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "frame/renderer.h"

namespace tavo::host {

class ResultCache {
 public:
  // The result `source` left for `state`, or null when it has not run there
  // since the state last moved.
  const std::uint64_t *find(const miState *state, const void *source) const {
    for (std::size_t k = entries_.size(); k-- > 0;) {
      const Entry &e = entries_[k];
      if (e.state == state && e.source == source) return e.mark == Mark(*state) ? e.words : nullptr;
    }
    return nullptr;
  }

  // Zeroed room for `words` words of a result; it stays put until clear(),
  // so a pointer into it outlives later stores and flushes within the sample.
  std::uint64_t *room(std::size_t words);
  // Whether the sample has used all the room a sample may have: a shader
  // that moves its state and reads again in an endless loop must not grow
  // the memory without bound, so past this its reads are not kept.
  bool full() const { return held_ >= kMaxWords; }
  // Keeps `result` (from room()) as what `source` gave for `state` as it is
  // now, in place of what it gave before the state moved: one entry for
  // each state and source, however often the state moves.
  void keep(const miState *state, const void *source, const std::uint64_t *result) {
    for (Entry &e : entries_)
      if (e.state == state && e.source == source) {
        e = {state, source, result, Mark(*state)};
        return;
      }
    entries_.push_back({state, source, result, Mark(*state)});
  }

  // The state moved: its results no longer hold.
  void flush(const miState *state) {
    std::erase_if(entries_, [state](const Entry &e) { return e.state == state; });
  }
  // The sample ended: nothing holds, the memory is reused.
  void clear() {
    entries_.clear();
    chunk_ = 0;
    used_ = 0;
    held_ = 0;
  }
  std::size_t size() const { return entries_.size(); }

 private:
  // Where the state stands: a caller that moves the state's point, normal,
  // ray or first texture coordinates without a flush still gets a fresh
  // result. The flushes cover every other change.
  struct Mark {
    miVector point{}, normal{}, dir{}, tex{};
    int type = 0;
    Mark() = default;
    explicit Mark(const miState &s)
        : point(s.point), normal(s.normal), dir(s.dir), tex(s.tex_list ? s.tex_list[0] : miVector{}), type(s.type) {}
    bool operator==(const Mark &o) const { return std::memcmp(this, &o, sizeof *this) == 0; }
  };
  static_assert(sizeof(Mark) == 13 * 4, "a mark compares as plain bytes");
  struct Entry {
    const miState *state;
    const void *source;
    const std::uint64_t *words;
    Mark mark;
  };
  static constexpr std::size_t kChunkWords = 4096;  // 32 KiB: the results of a deep ray tree
  static constexpr std::size_t kMaxWords = std::size_t{1} << 20;  // 8 MiB a sample

  std::vector<Entry> entries_;
  std::vector<std::unique_ptr<std::uint64_t[]>> chunks_;
  std::vector<std::size_t> chunk_words_;
  std::size_t chunk_ = 0;  // the chunk being filled
  std::size_t used_ = 0;   // words used in it
  std::size_t held_ = 0;   // words handed out since the sample began
};

}  // namespace tavo::host
