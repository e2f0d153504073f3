// The stub's answers from a short C++ program on simdjson: parses a line and writes the answers.
#include <simdjson.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <random>
#include <string>
#include <string_view>

namespace {

constexpr std::string_view greeting =
    R"({"hello":{"_0":{"bridgeVersion":"managed-process-3","platform":"whatsapp"}}}
{"stateChanged":{"_0":{"state":{"disconnected":{}}}}}
)";
constexpr std::string_view connecting = R"({"stateChanged":{"_0":{"state":{"connecting":{}}}}}
)";
constexpr std::string_view connected =
    R"json({"stateChanged":{"_0":{"state":{"connected":{"accountDisplayName":"Ferncrest Managed Bridge (stub)"}}}}}
)json";

void emit(std::string_view envelope) {
  while (!envelope.empty()) {
    const ssize_t count = ::write(STDOUT_FILENO, envelope.data(), envelope.size());
    if (count < 0) {
      std::_Exit(EXIT_FAILURE);
    }
    envelope.remove_prefix(static_cast<std::size_t>(count));
  }
}

constexpr std::string_view digits = "0123456789ABCDEF";

void appendEscape(std::string& json, char character) {
  switch (character) {
    case '"':
      json += "\\\"";
      return;
    case '\\':
      json += "\\\\";
      return;
    case '\n':
      json += "\\n";
      return;
    default:
      json += "\\u00";
      json += digits[static_cast<unsigned char>(character) >> 4U];
      json += digits[static_cast<unsigned char>(character) & 15U];
  }
}

bool needsEscape(char character) {
  return character == '"' || character == '\\' || static_cast<unsigned char>(character) < 0x20;
}

void appendEscaped(std::string& json, std::string_view text) {
  for (;;) {
    const auto plainEnd = std::ranges::find_if(text, needsEscape);
    json.append(text.begin(), plainEnd);
    if (plainEnd == text.end()) {
      return;
    }
    appendEscape(json, *plainEnd);
    text = {plainEnd + 1, text.end()};
  }
}

// A random UUID of version 4.
void appendUuid(std::string& json) {
  static std::mt19937_64 random(std::random_device{}());
  std::array<std::uint64_t, 2> halves = {random(), random()};
  halves[0] = (halves[0] & ~0xF000ULL) | 0x4000ULL;
  halves[1] = (halves[1] & ~(3ULL << 62U)) | (1ULL << 63U);
  std::array<char, 36> text{};
  char* next = text.data();
  for (unsigned digit = 0; digit < 32; ++digit) {
    if (digit == 8 || digit == 12 || digit == 16 || digit == 20) {
      *next++ = '-';
    }
    *next++ = digits[(halves[digit / 16] >> (60U - 4U * (digit % 16U))) & 15U];
  }
  json.append(text.data(), text.size());
}

void appendTime(std::string& json) {
  const time_t now = ::time(nullptr);
  tm parts{};
  ::gmtime_r(&now, &parts);
  std::array<char, 32> text{};
  json.append(text.data(), ::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts));
}

void emitEcho(std::string_view conversation, std::string_view text) {
  static std::string json;
  json = R"({"inboundEvent":{"_0":{"event":{"conversationId":")";
  appendEscaped(json, conversation);
  json += R"(","conversationTitle":"Managed Bridge Echo","isDirectMessage":false,"messageId":")";
  appendUuid(json);
  json +=
      R"(","rawReference":"managed-bridge-echo","senderDisplayName":"Ferncrest Managed Bridge",)"
      R"("senderId":"managed-bridge-echo","text":"echo: )";
  appendEscaped(json, text);
  json += R"(","timestampISO8601":")";
  appendTime(json);
  json += "\"}}}}\n";
  emit(json);
}

void answer(simdjson::dom::object request) {
  simdjson::dom::element record;
  if (request["connect"].get(record) == simdjson::SUCCESS) {
    emit(connecting);
    emit(connected);
  } else if (request["sendMessage"].get(record) == simdjson::SUCCESS) {
    const simdjson::dom::object message = record["_0"]["message"];
    emitEcho(message["conversationId"], message["text"]);
  }
}

}  // namespace

int main() {
  std::ios::sync_with_stdio(false);
  emit(greeting);
  simdjson::dom::parser parser;
  for (std::string line; std::getline(std::cin, line);) {
    try {
      answer(parser.parse(line));
    } catch (const simdjson::simdjson_error& error) {
      std::cerr << error.what() << '\n';
    }
  }
}
