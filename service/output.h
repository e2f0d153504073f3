#pragma once

#include <string_view>

#include "platform/failure.h"
#include "protocol/envelope.h"

// The service's two output channels: events for the host, diagnostics for people.

namespace ferncrest {

/// Writes the envelope's whole line to standard output, waiting for the host as long as it takes,
/// or returns why that failed.
[[nodiscard]] Outcome emitEnvelope(const BridgeEnvelope& envelope);

/// Writes `text` unchanged to standard error, line feed and prefix included. A failure is
/// swallowed. A host that does not read its diagnostics holds up the service for a second at the
/// most, and loses the text as a whole.
void writeDiagnostic(std::string_view text);

}  // namespace ferncrest
