#pragma once

#include <string>
#include <string_view>

#include "protocol/line_buffer.h"

struct editline;
struct historyW;

namespace ferncrest {

/// The line that is being typed at the terminal, with its prompt. Changes the terminal's mode; the
/// destructor restores it.
class LineEditor {
 public:
  /// Shows `prompt`, printable UTF-8, on the terminal of the standard streams.
  explicit LineEditor(std::string_view prompt);
  LineEditor(const LineEditor&) = delete;
  LineEditor& operator=(const LineEditor&) = delete;
  /// Removes the prompt and restores the terminal's mode.
  ~LineEditor();

  /// Reads the next key press, which must be waiting, and appends a finished line to `lines`. False
  /// at the end of input.
  bool readKey(LineBuffer& lines);

  /// Shows whole lines above the prompt; what is being typed stays.
  void printAbove(std::string_view lines);

  /// Call when the terminal's size has changed, or this process continues after a stop.
  void refresh();

 private:
  void hide();
  [[nodiscard]] int rowOfCursor() const;

  std::wstring prompt_;
  editline* editor_;
  historyW* history_;
};

}  // namespace ferncrest
