#include "platform/latch.h"

namespace ferncrest {

void Latch::open() {
  const std::lock_guard lock(mutex_);
  isOpen_ = true;
  opened_.notify_all();
}

void Latch::wait() {
  std::unique_lock lock(mutex_);
  opened_.wait(lock, [this] { return isOpen_; });
}

bool Latch::waitUntil(TimePoint deadline) {
  std::unique_lock lock(mutex_);
  return opened_.wait_until(lock, deadline, [this] { return isOpen_; });
}

}  // namespace ferncrest
