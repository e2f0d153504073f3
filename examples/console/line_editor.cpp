#include "examples/console/line_editor.h"

#include <histedit.h>
#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <cwchar>
#include <utility>

#include "platform/io.h"
#include "platform/standard_streams.h"
#include "text/utf8.h"

namespace ferncrest {

namespace {

constexpr int historySize = 500;
constexpr char endOfTransmission = '\x04';  // how the editor reports Ctrl-D on an empty line

char* promptOf(EditLine* editor) {
  std::string* prompt = nullptr;
  el_get(editor, EL_CLIENTDATA, &prompt);
  return prompt->data();
}

// In columns of the terminal; what it shows as two characters (^A) counts two.
int widthOf(std::string_view text) {
  int width = 0;
  while (!text.empty()) {
    const Utf8Step step = utf8StepAt(text);
    const int columns = ::wcwidth(static_cast<wchar_t>(step.codePoint));
    width += columns < 0 ? 2 : columns;
    text.remove_prefix(step.length);
  }
  return width;
}

}  // namespace

LineEditor::LineEditor(std::string prompt)
    : prompt_(std::move(prompt)),
      editor_(el_init("ferncrest-console", stdin, stdout, stderr)),
      history_(history_init()) {
  HistEvent event{};
  ::history(history_, &event, H_SETSIZE, historySize);
  el_set(editor_, EL_CLIENTDATA, &prompt_);
  el_set(editor_, EL_PROMPT, promptOf);
  el_set(editor_, EL_EDITOR, "emacs");
  el_set(editor_, EL_HIST, ::history, history_);
  el_source(editor_, nullptr);
  // One key press a call, so that events can be shown in between.
  el_set(editor_, EL_UNBUFFERED, 1);
}

LineEditor::~LineEditor() {
  hide();
  el_set(editor_, EL_UNBUFFERED, 0);
  el_end(editor_);
  history_end(history_);
}

bool LineEditor::readKey(LineBuffer& lines) {
  int length = 0;
  const char* const text = el_gets(editor_, &length);
  if (text == nullptr || length <= 0) {
    return true;
  }
  const std::string_view typed(text, static_cast<std::size_t>(length));
  if (typed.size() == 1 && typed.front() == endOfTransmission) {
    return false;
  }
  if (typed.back() == '\n') {
    lines.append(typed);
    HistEvent event{};
    ::history(history_, &event, H_ENTER, text);
    el_set(editor_, EL_UNBUFFERED, 0);
    el_set(editor_, EL_UNBUFFERED, 1);
  }
  return true;
}

void LineEditor::printAbove(std::string_view lines) {
  hide();
  static_cast<void>(writeAll(standardOutput, lines));
  el_set(editor_, EL_REFRESH);
}

void LineEditor::refresh() {
  hide();
  el_resize(editor_);
  // Both: the editor does not know that a shell has changed the mode in the meantime.
  el_set(editor_, EL_PREP_TERM, 0);
  el_set(editor_, EL_PREP_TERM, 1);
  el_set(editor_, EL_REFRESH);
}

void LineEditor::hide() {
  const int row = rowOfCursor();
  const std::string up = row > 0 ? "\x1b[" + std::to_string(row) + "A" : "";
  static_cast<void>(writeAll(standardOutput, up + "\r\x1b[J"));
}

// Counted from the row of the prompt.
int LineEditor::rowOfCursor() const {
  int columns = 0;
  if (el_get(editor_, EL_GETTC, "co", &columns) != 0 || columns <= 0) {
    return 0;
  }
  const LineInfo* const line = el_line(editor_);
  const auto length = static_cast<std::size_t>(line->cursor - line->buffer);
  return (widthOf(prompt_) + widthOf({line->buffer, length})) / columns;
}

}  // namespace ferncrest
