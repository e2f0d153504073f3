#include "examples/console/line_buffer.h"

#include "text/trimmed.h"
#include "text/utf8.h"

namespace ferncrest {

void LineBuffer::finish() {
  bytes_ += '\n';
}

std::optional<std::string> LineBuffer::next() {
  for (;;) {
    const std::size_t lineFeed = bytes_.find('\n', searched_);
    if (lineFeed == std::string::npos) {
      searched_ = bytes_.size();
      return std::nullopt;
    }
    std::string line = repairedUtf8(trimmed(std::string_view(bytes_).substr(0, lineFeed)));
    bytes_.erase(0, lineFeed + 1);
    searched_ = 0;
    if (!line.empty()) {
      return line;
    }
  }
}

}  // namespace ferncrest
