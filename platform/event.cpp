#include "platform/event.h"

#include "platform/io.h"

namespace ferncrest {

std::expected<Event, Failure> Event::make() {
  auto pipe = makePipe();
  if (!pipe) {
    return std::unexpected(pipe.error());
  }
  return Event(std::move(*pipe));
}

void Event::raise() const {
  // A handful of raises never fills the pipe, so this never waits; and the read end is ours.
  static_cast<void>(writeAll(pipe_.writeEnd.get(), "!"));
}

}  // namespace ferncrest
