#pragma once

#include <expected>
#include <utility>

#include "platform/failure.h"
#include "platform/pipe.h"

namespace ferncrest {

/// Something that happens once, and that threads can wait for together with their descriptors.
/// Any thread may raise it or wait for it.
class Event {
 public:
  [[nodiscard]] static std::expected<Event, Failure> make();

  /// From now on fd() is readable, for everybody and for good.
  void raise() const;

  /// To be waited for with poll, never to be read.
  [[nodiscard]] int fd() const { return pipe_.readEnd.get(); }

 private:
  explicit Event(Pipe pipe) : pipe_(std::move(pipe)) {}

  Pipe pipe_;
};

}  // namespace ferncrest
