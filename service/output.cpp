#include "service/output.h"

#include "protocol/coding.h"

namespace ferncrest {

Outcome emitEnvelope(OutputStream& events, const BridgeEnvelope& envelope) {
  return events.write(encodeEnvelopeLine(envelope));
}

void writeDiagnostic(OutputStream& diagnostics, std::string_view text) {
  static_cast<void>(diagnostics.write(text));
}

}  // namespace ferncrest
