#pragma once

#include <optional>
#include <string>

#include "platform/environment.h"
#include "protocol/values.h"

namespace ferncrest {

/// The state of the running service: one record a process.
struct BridgeService {
  /// The platform served, as the bytes of the command line.
  std::string platform;
  /// The process environment, from which backend settings are taken.
  Environment environment;
  std::string bridgeVersion = "managed-process-3";
  BridgeConnectionState connectionState = BridgeDisconnectedState{};
  std::string accountDisplayName = "Ferncrest Managed Bridge (stub)";
  /// Why delegation to a backend failed, as text for the host; none when it has not.
  std::optional<std::string> fallbackReason = std::nullopt;
};

}  // namespace ferncrest
