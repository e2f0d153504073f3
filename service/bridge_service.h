#pragma once

#include <string>

#include "platform/failure.h"
#include "platform/process.h"
#include "stub/stub_bridge.h"

namespace ferncrest {

/// The state of the running service: one record per process.
struct BridgeService {
  /// The platform served, as the bytes of the command line.
  std::string platform;
  /// The process environment, from which backend settings are taken.
  Environment environment;
  /// What answers while there is no backend; its platform is the same, repaired to valid UTF-8.
  StubBridge stub;
};

/// Serves the host on the standard streams until its input ends: through a backend if one is found,
/// else or after that fails as the stub. Fails when the stub cannot write to standard output. To be
/// called once per process.
[[nodiscard]] Outcome run(BridgeService& service);

}  // namespace ferncrest
