#include "platform/fd.h"

#include <unistd.h>

namespace ferncrest {

void Fd::reset() {
  // Never retried: an interrupted close has freed the number on some systems.
  if (isOpen()) {
    ::close(std::exchange(fd_, -1));
  }
}

}  // namespace ferncrest
