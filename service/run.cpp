#include "service/run.h"

#include "service/run_stub.h"

namespace ferncrest {

Outcome run(BridgeService& service, LineReader& input, const ServiceOutput& output) {
  return runStub(service, input, output.events);
}

}  // namespace ferncrest
