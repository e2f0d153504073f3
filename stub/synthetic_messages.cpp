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

constexpr const char* stubSenderName = "Ferncrest Managed Bridge";
constexpr const char* echoSenderId = "managed-bridge-echo";

}  // namespace

std::expected<std::string, Failure> newMessageId(RandomBytes& random) {
  auto bytes = random.next();
  if (!bytes) {
    return std::unexpected(bytes.error());
  }
  (*bytes)[6] = static_cast<std::uint8_t>(((*bytes)[6] & 0x0FU) | 0x40U);  // version 4
  (*bytes)[8] = static_cast<std::uint8_t>(((*bytes)[8] & 0x3FU) | 0x80U);  // the standard variant
  std::string id = "00000000-0000-0000-0000-000000000000";
  auto to = id.begin();
  for (const std::uint8_t byte : *bytes) {
    if (*to == '-') {
      ++to;
    }
    *to++ = hexDigits[byte >> 4U];
    *to++ = hexDigits[byte & 0xFU];
  }
  return id;
}

std::string currentTimestamp() {
  const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
  const auto day = std::chrono::floor<std::chrono::days>(now);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss time(now - day);
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

std::expected<BridgeInboundMessageEvent, Failure> makeSelfTestMessage(RandomBytes& random,
                                                                      std::string title) {
  auto id = newMessageId(random);
  if (!id) {
    return std::unexpected(id.error());
  }
  return BridgeInboundMessageEvent{.messageId = std::move(*id),
                                   .conversationId = "managed-test-conversation",
                                   .conversationTitle = std::move(title),
                                   .senderId = "managed-bridge",
                                   .senderDisplayName = stubSenderName,
                                   .text = "/fern help",
                                   .timestampISO8601 = currentTimestamp(),
                                   .isDirectMessage = true,
                                   .rawReference = "managed-bridge-self-test"};
}

std::expected<BridgeInboundMessageEvent, Failure> makeEchoMessage(RandomBytes& random,
                                                                  BridgeOutboundMessage message) {
  auto id = newMessageId(random);
  if (!id) {
    return std::unexpected(id.error());
  }
  return BridgeInboundMessageEvent{.messageId = std::move(*id),
                                   .conversationId = std::move(message.conversationId),
                                   .conversationTitle = "Managed Bridge Echo",
                                   .senderId = echoSenderId,
                                   .senderDisplayName = stubSenderName,
                                   .text = std::move(message.text.insert(0, "echo: ")),
                                   .timestampISO8601 = currentTimestamp(),
                                   .isDirectMessage = false,
                                   .rawReference = echoSenderId};
}

}  // namespace ferncrest
