#include "examples/backend/message_count.h"

#include <fcntl.h>

#include <cerrno>
#include <charconv>
#include <cstdio>

#include "platform/fd.h"
#include "platform/files.h"
#include "platform/io.h"

namespace ferncrest {

namespace {

Outcome writeFile(const std::string& path, const std::string& content) {
  const Fd file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
  return file.isOpen() ? writeAll(file.get(), content) : std::unexpected(systemFailure(errno));
}

}  // namespace

MessageCount::MessageCount(const std::string& directory) : path_(directory + "/sent-messages") {
  if (const auto content = readFile(path_)) {
    std::from_chars(content->data(), content->data() + content->size(), value_);
  }
}

Outcome MessageCount::increment() {
  // SIGTERM can end this process at any point. rename replaces the file atomically, so it always
  // holds either the old count or the new one.
  const std::string replacement = path_ + ".new";
  if (Outcome written = writeFile(replacement, std::to_string(value_ + 1) + "\n"); !written) {
    return written;
  }
  if (std::rename(replacement.c_str(), path_.c_str()) != 0) {
    return std::unexpected(systemFailure(errno));
  }
  ++value_;
  return {};
}

}  // namespace ferncrest
