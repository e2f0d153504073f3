#pragma once

#include <string>

#include "backend/conversation.h"
#include "platform/failure.h"
#include "platform/process.h"

namespace ferncrest {

/// Starts the backend at `executablePath`, writes the host's lines to it until the input ends, and
/// stops it. Fails when the backend cannot be started, or when a line cannot be written to it: that
/// line is lost, the following ones stay in the input, and all of the backend's output has been
/// written.
[[nodiscard]] Outcome runDelegation(const std::string& executablePath, const std::string& platform,
                                    Environment environment, Conversation& host);

}  // namespace ferncrest
