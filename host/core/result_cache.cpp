#include "result_cache.h"

#include <algorithm>
#include <cstring>

namespace tavo::host {

std::uint64_t *ResultCache::room(std::size_t words) {
  while (chunk_ < chunks_.size() && used_ + words > chunk_words_[chunk_]) ++chunk_, used_ = 0;
  if (chunk_ == chunks_.size()) {
    const std::size_t size = std::max(kChunkWords, words);
    chunks_.push_back(std::make_unique<std::uint64_t[]>(size));
    chunk_words_.push_back(size);
    used_ = 0;
  }
  std::uint64_t *out = chunks_[chunk_].get() + used_;
  used_ += words;
  held_ += words;
  std::memset(out, 0, words * sizeof *out);
  return out;
}

}  // namespace tavo::host
