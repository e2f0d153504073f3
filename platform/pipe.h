#pragma once

#include <expected>

#include "platform/failure.h"
#include "platform/fd.h"

namespace ferncrest {

/// A pipe whose ends do not reach programs that are launched.
struct Pipe {
  Fd readEnd;
  Fd writeEnd;
};

/// A new pipe, or the system's words.
[[nodiscard]] std::expected<Pipe, Failure> makePipe();

}  // namespace ferncrest
