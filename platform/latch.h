#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace ferncrest {

/// Something that happens once and that threads wait for; an Event is for those that wait for
/// descriptors too. Any thread may call anything.
class Latch {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  /// From now on nobody waits.
  void open();

  void wait();

  /// False when the deadline passes first.
  bool waitUntil(TimePoint deadline);

 private:
  std::mutex mutex_;
  std::condition_variable opened_;
  bool isOpen_ = false;
};

}  // namespace ferncrest
