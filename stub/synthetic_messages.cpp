#include "stub/synthetic_messages.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

namespace ferncrest {

namespace {

constexpr std::string_view hexDigits = "0123456789ABCDEF";

constexpr char digit(unsigned value) {
  return static_cast<char>('0' + value % 10);
}

unsigned countOf(auto duration) {
  return static_cast<unsigned>(duration.count());
}

std::string timestampOf(std::chrono::sys_seconds second) {
  const auto day = std::chrono::floor<std::chrono::days>(second);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss time(second - day);
  const auto year = static_cast<unsigned>(static_cast<int>(date.year()));
  std::string text = "0000-00-00T00:00:00Z";
  const auto put = [&](std::size_t position, unsigned value) {
    text[position] = digit(value / 10);
    text[position + 1] = digit(value);
  };
  put(0, year / 100);
  put(2, year % 100);
  put(5, static_cast<unsigned>(date.month()));
  put(8, static_cast<unsigned>(date.day()));
  put(11, countOf(time.hours()));
  put(14, countOf(time.minutes()));
  put(17, countOf(time.seconds()));
  return text;
}

constexpr const char* stubSenderName = "Ferncrest Managed Bridge";
constexpr const char* echoSenderId = "managed-bridge-echo";

}  // namespace

Outcome MessageStamps::newMessageId(std::string& id) {
  auto bytes = random_.next();
  if (!bytes) {
    return std::unexpected(bytes.error());
  }
  (*bytes)[6] = static_cast<std::uint8_t>(((*bytes)[6] & 0x0FU) | 0x40U);  // version 4
  (*bytes)[8] = static_cast<std::uint8_t>(((*bytes)[8] & 0x3FU) | 0x80U);  // the standard variant
  id = "00000000-0000-0000-0000-000000000000";
  auto to = id.begin();
  for (const std::uint8_t byte : *bytes) {
    if (*to == '-') {
      ++to;
    }
    *to++ = hexDigits[byte >> 4U];
    *to++ = hexDigits[byte & 0xFU];
  }
  return {};
}

const std::string& MessageStamps::currentTimestamp() {
  const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
  if (now != second_ || timestamp_.empty()) {
    second_ = now;
    timestamp_ = timestampOf(now);
  }
  return timestamp_;
}

Outcome makeSelfTestMessage(MessageStamps& stamps, std::string title,
                            BridgeInboundMessageEvent& event) {
  if (Outcome identified = stamps.newMessageId(event.messageId); !identified) {
    return identified;
  }
  event.conversationId = "managed-test-conversation";
  event.conversationTitle = std::move(title);
  event.senderId = "managed-bridge";
  event.senderDisplayName = stubSenderName;
  event.text = "/fern help";
  event.timestampISO8601 = stamps.currentTimestamp();
  event.isDirectMessage = true;
  event.rawReference = "managed-bridge-self-test";
  return {};
}

Outcome makeEchoMessage(MessageStamps& stamps, BridgeOutboundMessage message,
                        BridgeInboundMessageEvent& event) {
  if (Outcome identified = stamps.newMessageId(event.messageId); !identified) {
    return identified;
  }
  event.conversationId = std::move(message.conversationId);
  event.conversationTitle = "Managed Bridge Echo";
  event.senderId = echoSenderId;
  event.senderDisplayName = stubSenderName;
  event.text.assign("echo: ").append(message.text);
  event.timestampISO8601 = stamps.currentTimestamp();
  event.isDirectMessage = false;
  event.rawReference = echoSenderId;
  return {};
}

}  // namespace ferncrest
