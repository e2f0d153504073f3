#include "platform/random.h"

#include <sys/random.h>
#include <unistd.h>

#include <cerrno>

namespace ferncrest {

Outcome fillWithRandomBytes(std::span<std::uint8_t> bytes) {
  if (::getentropy(bytes.data(), bytes.size()) != 0) {
    return std::unexpected(systemFailure(errno));
  }
  return {};
}

}  // namespace ferncrest
