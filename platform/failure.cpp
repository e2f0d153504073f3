#include "platform/failure.h"

#include <array>
#include <cstring>

namespace ferncrest {

namespace {

// strerror_r has two forms: that of POSIX fills the buffer and returns a status, that of GNU
// returns the text. Overloads pick the one that the C library has.
[[maybe_unused]] const char* messageOf(int status, const char* buffer) {
  return status == 0 ? buffer : "Unknown error";
}
[[maybe_unused]] const char* messageOf(const char* text, const char* /*buffer*/) {
  return text;
}

}  // namespace

Failure systemFailure(int errorNumber) {
  std::array<char, 256> buffer{};
  return Failure{messageOf(strerror_r(errorNumber, buffer.data(), buffer.size()), buffer.data())};
}

}  // namespace ferncrest
