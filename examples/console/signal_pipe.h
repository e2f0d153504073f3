#pragma once

#include <expected>
#include <initializer_list>
#include <optional>

#include "platform/failure.h"
#include "platform/fd.h"

namespace ferncrest {

/// From now on these signals arrive as bytes at the descriptor given back, where poll sees them
/// together with everything else. Once a process.
std::expected<Fd, Failure> openSignalPipe(std::initializer_list<int> signals);

/// The number of the next signal that has arrived, or nothing when none waits.
std::optional<int> takeSignal(int signalPipe);

}  // namespace ferncrest
