#include "service/output.h"

#include <poll.h>

#include <cerrno>
#include <chrono>
#include <cstddef>

#include "platform/fd.h"
#include "platform/output_stream.h"

namespace ferncrest {

void writeDiagnostic(std::string_view text) {
  using Clock = std::chrono::steady_clock;
  constexpr std::chrono::seconds patience{1};
  constexpr int pauseMilliseconds = 10;
  const OutputStream diagnostics(standardError);
  const auto deadline = Clock::now() + patience;
  while (!text.empty() && Clock::now() < deadline) {
    const std::ptrdiff_t count = diagnostics.writeLine(text);
    if (count >= 0) {
      text.remove_prefix(static_cast<std::size_t>(count));
    } else if (count == -EAGAIN || count == -EINTR) {
      ::poll(nullptr, 0, pauseMilliseconds);
    } else {
      return;
    }
  }
}

}  // namespace ferncrest
