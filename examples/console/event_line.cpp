#include "examples/console/event_line.h"

#include <array>
#include <cstdio>
#include <variant>

#include "protocol/coding.h"
#include "text/utf8.h"

namespace ferncrest {

namespace {

constexpr std::string_view bold = "1";
constexpr std::string_view dim = "2";
constexpr std::string_view red = "31";
constexpr std::string_view green = "32";
constexpr std::string_view cyan = "36";

bool isShownAsIs(char32_t codePoint, const TextStyle& style) {
  const bool isControl = codePoint < 0x20 || (codePoint >= 0x7F && codePoint <= 0x9F);
  const bool changesLineOrDirection =
      codePoint == 0x061C || (codePoint >= 0x200E && codePoint <= 0x200F) ||
      (codePoint >= 0x2028 && codePoint <= 0x202E) || (codePoint >= 0x2066 && codePoint <= 0x2069);
  return !isControl && !changesLineOrDirection && (style.unicode || codePoint < 0x80);
}

std::string escapeOf(char32_t codePoint) {
  if (codePoint == U'\n') {
    return "\\n";
  }
  if (codePoint == U'\t') {
    return "\\t";
  }
  std::array<char, 16> text{};
  const int length =
      std::snprintf(text.data(), text.size(), "\\u{%X}", static_cast<unsigned>(codePoint));
  return {text.data(), static_cast<std::size_t>(length)};
}

// Builds one line from the console's own words, which may be coloured, and texts of messages, which
// are escaped.
class LineBuilder {
 public:
  LineBuilder(std::string_view time, const TextStyle& style) : style_(style) {
    coloured(dim, time);
    plain("  ");
  }

  LineBuilder& kind(std::string_view colour, std::string_view name) {
    coloured(colour, name);
    constexpr std::size_t width = 9;
    return plain(std::string(width - name.size(), ' '));
  }

  LineBuilder& plain(std::string_view words) {
    line_ += words;
    return *this;
  }

  LineBuilder& text(std::string_view text) { return plain(escaped(text, style_)); }

  LineBuilder& coloured(std::string_view colour, std::string_view text) {
    if (!style_.colour) {
      return this->text(text);
    }
    line_.append("\x1b[").append(colour).append("m");
    this->text(text);
    return plain("\x1b[0m");
  }

  [[nodiscard]] const std::string& line() const { return line_; }

 private:
  const TextStyle& style_;
  std::string line_;
};

void describe(LineBuilder& line, const BridgeDisconnectedState& /*state*/) {
  line.plain("disconnected");
}

void describe(LineBuilder& line, const BridgeConnectingState& /*state*/) {
  line.plain("connecting");
}

void describe(LineBuilder& line, const BridgeConnectedState& state) {
  line.plain("connected");
  if (state.accountDisplayName) {
    line.plain(" as ").text(*state.accountDisplayName);
  }
}

void describe(LineBuilder& line, const BridgeErrorState& state) {
  line.coloured(red, "error: ").text(state.message);
}

void describe(LineBuilder& line, const BridgeHello& hello) {
  line.kind(cyan, "hello").text(hello.platform).plain(", bridge ").text(hello.bridgeVersion);
}

void describe(LineBuilder& line, const BridgeStateChangedEvent& event) {
  line.kind(green, "state");
  std::visit([&](const auto& state) { describe(line, state); }, event.state);
}

// The identifiers, which an answer needs, come last.
void describe(LineBuilder& line, const BridgeInboundEvent& inbound) {
  const BridgeInboundMessageEvent& event = inbound.event;
  line.kind(cyan, "message").coloured(bold, event.senderDisplayName);
  line.plain(event.isDirectMessage ? " directly in " : " in ").text(event.conversationTitle);
  line.plain(": ").text(event.text).plain("  ");
  line.coloured(dim, "[" + event.conversationId + " " + event.messageId + "]");
}

void describe(LineBuilder& line, const BridgeErrorEvent& event) {
  line.kind(red, "error").text(event.message);
}

// Only a host should send requests; if a backend sends one, its line is shown.
template <typename Request>
void describe(LineBuilder& line, const Request& request) {
  line.kind(dim, "request").text(encodeEnvelope(request));
}

}  // namespace

std::string escaped(std::string_view text, const TextStyle& style) {
  std::string shown;
  while (!text.empty()) {
    const Utf8Step step = utf8StepAt(text);
    shown += isShownAsIs(step.codePoint, style) ? std::string(text.substr(0, step.length))
                                                : escapeOf(step.codePoint);
    text.remove_prefix(step.length);
  }
  return shown;
}

std::string eventLine(std::string_view time, const BridgeEnvelope& envelope,
                      const TextStyle& style) {
  LineBuilder line(time, style);
  std::visit([&](const auto& record) { describe(line, record); }, envelope);
  return line.line();
}

std::string otherLine(std::string_view time, std::string_view kind, std::string_view text,
                      const TextStyle& style) {
  return LineBuilder(time, style).kind(dim, kind).text(text).line();
}

}  // namespace ferncrest
