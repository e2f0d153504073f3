#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace ferncrest {

/// Cuts bytes that arrive in pieces into lines, without ever waiting for the rest of a line.
class LineBuffer {
 public:
  void append(std::string_view bytes) { bytes_ += bytes; }

  /// At the end of input: what came last is a line also without its line feed.
  void finish();

  /// The next line that is not blank, trimmed and valid UTF-8, or nothing until more bytes come.
  std::optional<std::string> next();

 private:
  std::string bytes_;
  std::size_t searched_ = 0;  // up to here there is no line feed
};

}  // namespace ferncrest
