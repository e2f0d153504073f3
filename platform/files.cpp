#include "platform/files.h"

#include <fcntl.h>

#include <array>
#include <cerrno>

#include "platform/fd.h"
#include "platform/io.h"

namespace ferncrest {

std::expected<std::string, Failure> readFile(const std::string& path) {
  const Fd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file.isOpen()) {
    return std::unexpected(systemFailure(errno));
  }
  std::string content;
  std::array<char, 4096> block{};
  for (;;) {
    const auto count = readSome(file.get(), block);
    if (!count) {
      return std::unexpected(count.error());
    }
    if (*count == 0) {
      return content;
    }
    content.append(block.data(), *count);
  }
}

}  // namespace ferncrest
