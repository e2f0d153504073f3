#include "service/output.h"

#include <chrono>

#include "protocol/coding.h"

namespace ferncrest {

Outcome emitEnvelope(OutputStream& events, const BridgeEnvelope& envelope) {
  return events.write(encodeEnvelopeLine(envelope));
}

void writeDiagnostic(OutputStream& diagnostics, std::string_view text) {
  diagnostics.offer(text, std::chrono::seconds(1));
}

}  // namespace ferncrest
