#pragma once

#include <string_view>

#include "platform/failure.h"
#include "platform/output_stream.h"
#include "protocol/envelope.h"

namespace ferncrest {

/// The service's two output channels: events for the host, diagnostics for people.
struct ServiceOutput {
  OutputStream& events;
  OutputStream& diagnostics;
};

/// Writes the envelope's whole line at once, or returns why that failed. Any thread.
[[nodiscard]] Outcome emitEnvelope(OutputStream& events, const BridgeEnvelope& envelope);

/// Writes `text` unchanged, line feed and prefix included. A failure is swallowed, and a host that
/// does not read its diagnostics holds up the service for a second at the most. Any thread.
void writeDiagnostic(OutputStream& diagnostics, std::string_view text);

}  // namespace ferncrest
