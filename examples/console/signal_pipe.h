#pragma once

#include <expected>
#include <initializer_list>
#include <optional>

#include "platform/failure.h"
#include "platform/fd.h"

namespace ferncrest {

/// From now on these signals arrive as bytes at the returned descriptor, so that poll can wait for
/// them too. Call once per process.
[[nodiscard]] std::expected<Fd, Failure> openSignalPipe(std::initializer_list<int> signals);

/// The number of the next signal that has arrived, or nothing if there is none.
std::optional<int> takeSignal(int signalPipe);

}  // namespace ferncrest
