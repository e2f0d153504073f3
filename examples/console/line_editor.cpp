#include "examples/console/line_editor.h"

#include <histedit.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <cwchar>

#include "platform/fd.h"
#include "platform/io.h"
#include "text/utf8.h"

namespace ferncrest {

namespace {

constexpr int historySize = 500;
constexpr wchar_t endOfTransmission = L'\x04';  // how the editor reports Ctrl-D on an empty line

wchar_t* promptOf(EditLine* editor) {
  std::wstring* prompt = nullptr;
  el_wget(editor, EL_CLIENTDATA, &prompt);
  return prompt->data();
}

std::wstring wide(std::string_view text) {
  std::wstring characters;
  while (!text.empty()) {
    const Utf8Step step = utf8StepAt(text);
    characters += static_cast<wchar_t>(step.codePoint);
    text.remove_prefix(step.length);
  }
  return characters;
}

// Encoded as the locale says.
std::string narrow(std::wstring_view characters) {
  std::string text;
  std::mbstate_t state{};
  std::array<char, MB_LEN_MAX> bytes{};
  for (const wchar_t character : characters) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): there is one thread
    const std::size_t length = std::wcrtomb(bytes.data(), character, &state);
    if (length != static_cast<std::size_t>(-1)) {
      text.append(bytes.data(), length);
    }
  }
  return text;
}

// In columns of the terminal; a control character is shown as two characters (^A).
int widthOf(std::wstring_view text) {
  int width = 0;
  for (const wchar_t character : text) {
    const int columns = ::wcwidth(character);
    width += columns < 0 ? 2 : columns;
  }
  return width;
}

}  // namespace

// libedit's wide-character interface: the narrow one encodes the whole line again at each key.
LineEditor::LineEditor(std::string_view prompt)
    : prompt_(wide(prompt)),
      editor_(el_init("ferncrest-console", stdin, stdout, stderr)),
      history_(history_winit()) {
  HistEventW event{};
  history_w(history_, &event, H_SETSIZE, historySize);
  el_wset(editor_, EL_CLIENTDATA, &prompt_);
  el_wset(editor_, EL_PROMPT, promptOf);
  el_wset(editor_, EL_EDITOR, L"emacs");
  el_wset(editor_, EL_HIST, history_w, history_);
  el_source(editor_, nullptr);
  // One key press a call, so that events can be shown in between.
  el_wset(editor_, EL_UNBUFFERED, 1);
}

LineEditor::~LineEditor() {
  hide();
  el_wset(editor_, EL_UNBUFFERED, 0);
  el_end(editor_);
  history_wend(history_);
}

bool LineEditor::readKey(LineBuffer& lines) {
  int length = 0;
  const wchar_t* const text = el_wgets(editor_, &length);
  if (text == nullptr || length <= 0) {
    return true;
  }
  const std::wstring_view typed(text, static_cast<std::size_t>(length));
  if (typed.size() == 1 && typed.front() == endOfTransmission) {
    return false;
  }
  if (typed.back() == L'\n') {
    lines.append(narrow(typed));
    HistEventW event{};
    history_w(history_, &event, H_ENTER, text);
    el_wset(editor_, EL_UNBUFFERED, 0);
    el_wset(editor_, EL_UNBUFFERED, 1);
  }
  return true;
}

void LineEditor::printAbove(std::string_view lines) {
  hide();
  static_cast<void>(writeAll(standardOutput, lines));
  el_wset(editor_, EL_REFRESH);
}

void LineEditor::refresh() {
  hide();
  el_resize(editor_);
  // Off and on again: libedit does not know that a shell may have changed the terminal's mode.
  el_wset(editor_, EL_PREP_TERM, 0);
  el_wset(editor_, EL_PREP_TERM, 1);
  el_wset(editor_, EL_REFRESH);
}

void LineEditor::hide() {
  const int row = rowOfCursor();
  const std::string up = row > 0 ? "\x1b[" + std::to_string(row) + "A" : "";
  static_cast<void>(writeAll(standardOutput, up + "\r\x1b[J"));
}

// Counted from the row of the prompt.
int LineEditor::rowOfCursor() const {
  int columns = 0;
  if (el_wget(editor_, EL_GETTC, "co", &columns, nullptr) != 0 || columns <= 0) {
    return 0;
  }
  const LineInfoW* const line = el_wline(editor_);
  const auto length = static_cast<std::size_t>(line->cursor - line->buffer);
  return (widthOf(prompt_) + widthOf({line->buffer, length})) / columns;
}

}  // namespace ferncrest
