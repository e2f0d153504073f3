#include "stub/message_identity.h"

#include <chrono>
#include <cstddef>

#include "platform/clock.h"

namespace ferncrest {

namespace {

void appendDigits(std::string& text, unsigned value, unsigned divisor) {
  for (; divisor != 0; divisor /= 10) {
    text += static_cast<char>('0' + value / divisor % 10);
  }
}

unsigned countOf(auto duration) {
  return static_cast<unsigned>(duration.count());
}

}  // namespace

std::expected<std::string, Failure> newMessageId(RandomBytes& random) {
  auto bytes = random.next();
  if (!bytes) {
    return std::unexpected(bytes.error());
  }
  (*bytes)[6] = static_cast<std::uint8_t>(((*bytes)[6] & 0x0FU) | 0x40U);  // version 4
  (*bytes)[8] = static_cast<std::uint8_t>(((*bytes)[8] & 0x3FU) | 0x80U);  // the standard variant
  constexpr std::string_view hexDigits = "0123456789ABCDEF";
  std::string id;
  id.reserve(36);
  for (std::size_t index = 0; index < bytes->size(); ++index) {
    if (index == 4 || index == 6 || index == 8 || index == 10) {
      id += '-';
    }
    id += hexDigits[(*bytes)[index] >> 4U];
    id += hexDigits[(*bytes)[index] & 0xFU];
  }
  return id;
}

std::string currentTimestamp() {
  const std::chrono::sys_seconds now = currentTime();
  const auto day = std::chrono::floor<std::chrono::days>(now);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss time(now - day);
  std::string text;
  text.reserve(20);
  appendDigits(text, static_cast<unsigned>(static_cast<int>(date.year())), 1000);
  text += '-';
  appendDigits(text, static_cast<unsigned>(date.month()), 10);
  text += '-';
  appendDigits(text, static_cast<unsigned>(date.day()), 10);
  text += 'T';
  appendDigits(text, countOf(time.hours()), 10);
  text += ':';
  appendDigits(text, countOf(time.minutes()), 10);
  text += ':';
  appendDigits(text, countOf(time.seconds()), 10);
  text += 'Z';
  return text;
}

}  // namespace ferncrest
