// A table of live objects named by opaque 64-bit handles. Handles are never
// reused and carry a per-table tag, so a released handle, a handle of another
// kind or an arbitrary number is recognised as such and refused.
#ifndef CMSKIT_PLATFORM_POSIX_CRYPT_HANDLE_TABLE_H
#define CMSKIT_PLATFORM_POSIX_CRYPT_HANDLE_TABLE_H

#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>

namespace cmskit {
namespace posix {

template <class T>
class HandleTable {
 public:
  // `tag` goes into the top 16 bits of every handle the table gives out.
  explicit HandleTable(uint16_t tag) : tag_(static_cast<uint64_t>(tag) << 48) {}

  uint64_t Add(std::shared_ptr<T> object) {
    std::lock_guard<std::mutex> lock(mutex_);
    const uint64_t handle = tag_ | (++counter_ & kCounterMask);
    objects_[handle] = std::move(object);
    return handle;
  }

  // The object, or null for a handle this table does not hold.
  std::shared_ptr<T> Find(uint64_t handle) const {
    std::lock_guard<std::mutex> lock(mutex_);
    const auto found = objects_.find(handle);
    return found == objects_.end() ? nullptr : found->second;
  }

  // Drops the table's reference; false for an unknown handle. A caller still
  // using the object on another thread keeps it alive until it is done.
  bool Remove(uint64_t handle) {
    std::shared_ptr<T> released;
    std::lock_guard<std::mutex> lock(mutex_);
    const auto found = objects_.find(handle);
    if (found == objects_.end()) return false;
    released = std::move(found->second);
    objects_.erase(found);
    return true;
  }

 private:
  static constexpr uint64_t kCounterMask = (uint64_t{1} << 48) - 1;

  const uint64_t tag_;
  mutable std::mutex mutex_;
  uint64_t counter_ = 0;
  std::unordered_map<uint64_t, std::shared_ptr<T>> objects_;
};

}  // namespace posix
}  // namespace cmskit

#endif
