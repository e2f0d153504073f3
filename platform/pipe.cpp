#include "platform/pipe.h"

#include <cerrno>

#include "platform/system.h"

namespace ferncrest {

std::expected<Pipe, Failure> makePipe() {
  int readEnd = -1;
  int writeEnd = -1;
  if (openPipe(readEnd, writeEnd) != 0) {
    return std::unexpected(systemFailure(errno));
  }
  return Pipe{Fd(readEnd), Fd(writeEnd)};
}

}  // namespace ferncrest
