#include "platform/files.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <utility>
#include <vector>

#include "platform/fd.h"
#include "platform/io.h"
#include "platform/system.h"

namespace ferncrest {

namespace {

constexpr std::size_t blockSize = 4096;
constexpr int pauseMilliseconds = 10;

constexpr mode_t privateDirectory = 0700;

bool isDirectory(const std::string& path) {
  struct stat status{};
  return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// lstat, because the target of a symbolic link could be changed by the owner of the link.
bool isPrivate(const std::string& path) {
  struct stat status{};
  return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
         status.st_uid == ::geteuid() && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

// Applies a "..": drops the last name, or keeps the ".." at the front of a relative path.
void goUp(std::vector<std::string_view>& names, bool isAbsolute) {
  if (!names.empty() && names.back() != "..") {
    names.pop_back();
  } else if (!isAbsolute) {
    names.emplace_back("..");
  }
}

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
  // O_NONBLOCK: opening a named pipe would otherwise wait until it has a writer.
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

std::string normalizedPath(std::string_view path, std::string_view directory) {
  std::string whole;
  if (!path.starts_with('/') && !directory.empty()) {
    whole.append(directory).append("/");
  }
  whole.append(path);
  const bool isAbsolute = whole.starts_with('/');
  std::vector<std::string_view> names;
  for (std::string_view rest = whole; !rest.empty();) {
    const std::string_view name = rest.substr(0, rest.find('/'));
    rest.remove_prefix(std::min(name.size() + 1, rest.size()));
    if (name == "..") {
      goUp(names, isAbsolute);
    } else if (!name.empty() && name != ".") {
      names.push_back(name);
    }
  }
  std::string normalized;
  for (const std::string_view name : names) {
    normalized.append(normalized.empty() && !isAbsolute ? "" : "/").append(name);
  }
  return normalized.empty() ? (isAbsolute ? "/" : ".") : normalized;
}

std::string_view directoryOf(std::string_view path) {
  const std::size_t separator = path.rfind('/');
  return path.substr(0, separator == 0 ? 1 : separator);
}

std::string currentDirectory() {
  std::array<char, PATH_MAX> buffer{};
  return ::getcwd(buffer.data(), buffer.size()) == nullptr ? std::string() : buffer.data();
}

bool isExecutable(const std::string& path) {
  return ::access(path.c_str(), X_OK) == 0;
}

Outcome createDirectories(const std::string& path, std::string_view trusted) {
  for (std::size_t end = path.find('/', 1);; end = path.find('/', end + 1)) {
    const bool isParent = end != std::string::npos;
    const std::string directory = path.substr(0, end);
    if (::mkdir(directory.c_str(), privateDirectory) != 0) {
      const int errorNumber = errno;
      if (directory.size() > trusted.size() && errorNumber == EEXIST && !isPrivate(directory)) {
        return std::unexpected(Failure{directory + ": " + systemFailure(EACCES).description});
      }
      if (!isDirectory(directory)) {
        return std::unexpected(
            systemFailure(errorNumber == EEXIST && isParent ? ENOTDIR : errorNumber));
      }
    }
    if (!isParent) {
      return {};
    }
  }
}

}  // namespace ferncrest
