#include "platform/random.h"

#include <sys/random.h>
#include <unistd.h>

#include <cerrno>

namespace ferncrest {

std::expected<RandomBytes::Block, Failure> RandomBytes::next() {
  if (used_ == batch_.size()) {
    if (::getentropy(batch_.data(), sizeof batch_) != 0) {
      return std::unexpected(systemFailure(errno));
    }
    used_ = 0;
  }
  return batch_.at(used_++);
}

}  // namespace ferncrest
