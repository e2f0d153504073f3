#pragma once

#include <functional>

#include "platform/failure.h"

namespace ferncrest {

/// Runs `body`, which must not throw, on a new thread that nobody waits for: it shares the
/// ownership of all that it uses. Fails with the system's words when no thread can be had.
[[nodiscard]] Outcome startThread(std::function<void()> body);

}  // namespace ferncrest
