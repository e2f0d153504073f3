#include "stub/synthetic_messages.h"

#include <array>
#include <bit>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

#include "platform/random.h"

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

// A different number in each process, so that no two give the same identifiers: random bytes, or
// the time if the operating system has none.
std::uint64_t seed() {
  std::array<std::uint8_t, sizeof(std::uint64_t)> bytes{};
  if (fillWithRandomBytes(bytes)) {
    return std::bit_cast<std::uint64_t>(bytes);
  }
  return static_cast<std::uint64_t>(std::chrono::system_clock::now().time_since_epoch().count());
}

constexpr const char* stubSenderName = "Ferncrest Managed Bridge";
constexpr const char* echoSenderId = "managed-bridge-echo";

}  // namespace

MessageStamps::MessageStamps() : random_(seed()) {}

void MessageStamps::newMessageId(std::string& id) {
  const std::uint64_t front = (random_() & ~0xF000ULL) | 0x4000ULL;         // version 4
  const std::uint64_t back = (random_() & ~(3ULL << 62U)) | (2ULL << 62U);  // the standard variant
  id = "00000000-0000-0000-0000-000000000000";
  const auto putDigits = [&](std::size_t position, std::size_t count, std::uint64_t value) {
    for (; count > 0; --count, value >>= 4U) {
      id[position + count - 1] = hexDigits[value & 0xFU];
    }
  };
  putDigits(0, 8, front >> 32U);
  putDigits(9, 4, front >> 16U);
  putDigits(14, 4, front);
  putDigits(19, 4, back >> 48U);
  putDigits(24, 12, back);
}

const std::string& MessageStamps::currentTimestamp() {
  const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
  if (now != second_ || timestamp_.empty()) {
    second_ = now;
    timestamp_ = timestampOf(now);
  }
  return timestamp_;
}

void makeSelfTestMessage(MessageStamps& stamps, std::string title,
                         BridgeInboundMessageEvent& event) {
  stamps.newMessageId(event.messageId);
  event.conversationId = "managed-test-conversation";
  event.conversationTitle = std::move(title);
  event.senderId = "managed-bridge";
  event.senderDisplayName = stubSenderName;
  event.text = "/fern help";
  event.timestampISO8601 = stamps.currentTimestamp();
  event.isDirectMessage = true;
  event.rawReference = "managed-bridge-self-test";
}

void makeEchoMessage(MessageStamps& stamps, BridgeOutboundMessage message,
                     BridgeInboundMessageEvent& event) {
  stamps.newMessageId(event.messageId);
  event.conversationId = std::move(message.conversationId);
  event.conversationTitle = "Managed Bridge Echo";
  event.senderId = echoSenderId;
  event.senderDisplayName = stubSenderName;
  event.text.assign("echo: ").append(message.text);
  event.timestampISO8601 = stamps.currentTimestamp();
  event.isDirectMessage = false;
  event.rawReference = echoSenderId;
}

}  // namespace ferncrest
