#include "platform/paths.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <vector>

namespace ferncrest {

namespace {

constexpr mode_t privateDirectory = 0700;

bool isDirectory(const std::string& path) {
  struct stat status{};
  return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// A link would lead wherever its owner says.
bool isPrivate(const std::string& path) {
  struct stat status{};
  return ::lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
         status.st_uid == ::geteuid() && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

// Drops the last name, if there is one to drop.
void goUp(std::vector<std::string_view>& names, bool isAbsolute) {
  if (!names.empty() && names.back() != "..") {
    names.pop_back();
  } else if (!isAbsolute) {
    names.emplace_back("..");
  }
}

}  // namespace

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
