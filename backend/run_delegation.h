#pragma once

#include <string>

#include "backend/conversation.h"
#include "platform/environment.h"
#include "platform/failure.h"

namespace ferncrest {

/// Hands the conversation to the backend at `executablePath` until the host's input ends, and stops
/// the backend. Fails when it cannot be started, or with the first line that does not reach it;
/// that line is lost, the next one is not, and standard output has everything that came before.
[[nodiscard]] Outcome runDelegation(const std::string& executablePath, const std::string& platform,
                                    const Environment& environment, Conversation& host);

}  // namespace ferncrest
