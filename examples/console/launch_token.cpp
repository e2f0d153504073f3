#include "examples/console/launch_token.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "platform/fd.h"
#include "platform/io.h"
#include "platform/process.h"
#include "platform/random.h"

namespace ferncrest {

namespace {

constexpr std::size_t tokenBytes = 32;  // 64 digits; the service requires 32 characters

std::expected<std::string, Failure> makePrivateDirectory() {
  const Environment environment = readEnvironment();
  const std::string_view temporary = valueOf(environment, "TMPDIR");
  std::string path(temporary.empty() ? "/tmp" : temporary);
  path += "/ferncrest-console.XXXXXX";
  if (::mkdtemp(path.data()) == nullptr) {
    const int errorNumber = errno;
    return std::unexpected(Failure{"Cannot create the directory " + path + ": " +
                                   systemFailure(errorNumber).description +
                                   ". Set TMPDIR to a directory that you can write to."});
  }
  return path;
}

}  // namespace

std::expected<LaunchToken, Failure> LaunchToken::create() {
  auto directory = makePrivateDirectory();
  if (!directory) {
    return std::unexpected(std::move(directory.error()));
  }
  LaunchToken token(std::move(*directory));
  if (const Outcome made = token.makeText(); !made) {
    return std::unexpected(made.error());
  }
  if (const Outcome written = token.writeFile(); !written) {
    return std::unexpected(
        Failure{"Cannot write " + token.path() + ": " + written.error().description});
  }
  return token;
}

LaunchToken::LaunchToken(LaunchToken&& other) noexcept
    : directory_(std::exchange(other.directory_, {})), text_(std::exchange(other.text_, {})) {}

LaunchToken::~LaunchToken() {
  if (!directory_.empty()) {
    ::unlink(path().c_str());
    ::rmdir(directory_.c_str());
  }
}

Outcome LaunchToken::makeText() {
  constexpr std::string_view digits = "0123456789abcdef";
  std::array<std::uint8_t, tokenBytes> bytes{};
  if (Outcome filled = fillWithRandomBytes(bytes); !filled) {
    return filled;
  }
  for (const std::uint8_t byte : bytes) {
    text_ += digits[byte >> 4U];
    text_ += digits[byte & 0xFU];
  }
  return {};
}

Outcome LaunchToken::writeFile() const {
  const Fd file(::open(path().c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  return file.isOpen() ? writeAll(file.get(), text_ + "\n") : std::unexpected(systemFailure(errno));
}

}  // namespace ferncrest
