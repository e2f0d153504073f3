#pragma once

#include <string>
#include <string_view>

#include "protocol/line_buffer.h"

struct editline;
struct historyW;

namespace ferncrest {

/// The line that is being typed at the terminal, with its prompt. Takes over the terminal's mode
/// while it lives.
class LineEditor {
 public:
  /// Shows `prompt`, printable UTF-8, on the terminal of the standard streams.
  explicit LineEditor(std::string_view prompt);
  LineEditor(const LineEditor&) = delete;
  LineEditor& operator=(const LineEditor&) = delete;
  /// Takes the prompt away and gives the terminal back as it was.
  ~LineEditor();

  /// Takes the next key press, which must be waiting; a finished line goes to `lines`. False at the
  /// end of input.
  bool readKey(LineBuffer& lines);

  /// Shows whole lines above the prompt and leaves what is being typed as it is.
  void printAbove(std::string_view lines);

  /// After the terminal changed its size, or this process was stopped and goes on.
  void refresh();

 private:
  void hide();
  [[nodiscard]] int rowOfCursor() const;

  std::wstring prompt_;
  editline* editor_;
  historyW* history_;
};

}  // namespace ferncrest
