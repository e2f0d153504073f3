#include "platform/fd.h"

#include <unistd.h>

namespace ferncrest {

void Fd::reset() {
  // Never retried: after an interrupted close the number may already belong to another thread.
  if (isOpen()) {
    ::close(std::exchange(fd_, -1));
  }
}

}  // namespace ferncrest
