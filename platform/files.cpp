#include "platform/files.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <utility>

#include "platform/fd.h"
#include "platform/io.h"
#include "platform/system.h"

namespace ferncrest {

namespace {

constexpr std::size_t blockSize = 4096;
constexpr int pauseMilliseconds = 10;

}  // namespace

std::expected<std::string, Failure> readFile(const std::string& path) {
  const Fd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file.isOpen()) {
    return std::unexpected(systemFailure(errno));
  }
  std::string content;
  std::array<char, blockSize> block{};
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

std::expected<std::string, Failure> readFileOrPipe(const std::string& path, std::size_t most,
                                                   std::chrono::milliseconds patience) {
  using Clock = std::chrono::steady_clock;
  const auto deadline = Clock::now() + patience;
  // Without waiting for a writer, who may never come.
  const Fd file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  struct stat status{};
  if (!file.isOpen() || ::fstat(file.get(), &status) != 0) {
    return std::unexpected(systemFailure(errno));
  }
  const bool isPipe = S_ISFIFO(status.st_mode);
  if (!isPipe && !S_ISREG(status.st_mode)) {
    return std::unexpected(systemFailure(EINVAL));
  }
  std::string content;
  std::array<char, blockSize> block{};
  while (content.size() <= most) {
    const std::ptrdiff_t count = readNow(file.get(), block.data(), block.size());
    if (count > 0) {
      content.append(block.data(), static_cast<std::size_t>(count));
      continue;
    }
    const bool hasNoWriterYet = count == 0 && isPipe && content.empty();
    if (!hasNoWriterYet && count != -EAGAIN && count != -EINTR) {
      return count == 0 ? std::expected<std::string, Failure>(std::move(content))
                        : std::unexpected(systemFailure(static_cast<int>(-count)));
    }
    if (Clock::now() >= deadline) {
      return std::unexpected(systemFailure(ETIMEDOUT));
    }
    ::poll(nullptr, 0, pauseMilliseconds);
  }
  return std::unexpected(systemFailure(EFBIG));
}

}  // namespace ferncrest
