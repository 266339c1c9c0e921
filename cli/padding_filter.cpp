#include "padding_filter.h"

#include <algorithm>

#include "cli_error.h"

namespace cmskit_cli {

namespace {

constexpr uint32_t kBadData = 0x80090005;  // NTE_BAD_DATA

}  // namespace

PaddingFilter::PaddingFilter(ByteSink& next, size_t blockBytes, std::string what)
    : next_(next), block_(blockBytes), what_(std::move(what)) {
  tail_.reserve(2 * block_);
}

void PaddingFilter::Write(const uint8_t* data, size_t size) {
  total_ += size;
  if (block_ == 0) {
    next_.Write(data, size);
    return;
  }
  if (size >= block_) {
    next_.Write(tail_.data(), tail_.size());
    next_.Write(data, size - block_);
    tail_.assign(data + size - block_, data + size);
    return;
  }
  tail_.insert(tail_.end(), data, data + size);
  if (tail_.size() <= block_) return;
  const size_t passed = tail_.size() - block_;
  next_.Write(tail_.data(), passed);
  tail_.erase(tail_.begin(), tail_.begin() + static_cast<std::ptrdiff_t>(passed));
}

void PaddingFilter::Finish() {
  if (block_ == 0) return;
  const size_t pad = tail_.empty() ? 0 : tail_.back();
  const bool valid = total_ % block_ == 0 && tail_.size() == block_ && pad >= 1 && pad <= block_ &&
                     std::all_of(tail_.end() - static_cast<std::ptrdiff_t>(pad), tail_.end(),
                                 [pad](uint8_t b) { return b == pad; });
  if (!valid) throw OperationError(kBadData, what_ + ": the padding of the last block is wrong");
  next_.Write(tail_.data(), block_ - pad);
}

}  // namespace cmskit_cli
