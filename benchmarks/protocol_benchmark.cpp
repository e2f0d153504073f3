// Benchmarks of single operations: decoding, encoding, cutting lines.

#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>

#include "platform/io.h"
#include "protocol/coding.h"
#include "protocol/line_buffer.h"
#include "text/characters.h"
#include "text/utf8.h"

namespace {

std::string sendMessage(const std::string& text, const std::string& data) {
  return R"({"sendMessage":{"_0":{"message":{"attachments":[{"dataBase64":")" + data +
         R"(","fileName":"a.png","kind":"image","mimeType":"image\/png"}],)"
         R"("conversationId":"c","text":")" +
         text + R"("},"platform":"whatsapp"}}})";
}

// A solidus in 64 characters, as base64 has on average; the host escapes each.
std::string base64Like(std::size_t size) {
  std::string data;
  while (data.size() < size) {
    data += "QUJDREVGR0hJSktMTU5PUFFSU1RVVldYWVphYmNkZWZnaGlqa2xtbm9wcXJzdH\\/";
  }
  return data;
}

std::string shortRequest() {
  return R"({"sendMessage":{"_0":{"message":{"conversationId":"4915112345678@c.us",)"
         R"("text":"See you at the bridge at seven, bring the others"},"platform":"whatsapp"}}})";
}

void countBytes(benchmark::State& state, std::size_t size) {
  state.SetBytesProcessed(static_cast<std::int64_t>(size) * state.iterations());
}

void decode(benchmark::State& state, const std::string& text) {
  while (state.KeepRunning()) {
    benchmark::DoNotOptimize(ferncrest::decodeEnvelope(text));
  }
  countBytes(state, text.size());
}

void checkAttachment(benchmark::State& state, const std::string& text) {
  while (state.KeepRunning()) {
    benchmark::DoNotOptimize(ferncrest::decodeEnvelope(text, ferncrest::Attachments::dropped));
  }
  countBytes(state, text.size());
}

void encode(benchmark::State& state, const std::string& text) {
  const auto envelope = ferncrest::decodeEnvelope(text);
  std::size_t size = 0;
  while (state.KeepRunning()) {
    const std::string line = ferncrest::encodeEnvelopeLine(*envelope);
    size = line.size();
    benchmark::DoNotOptimize(line.data());
  }
  countBytes(state, size);
}

void readLines(benchmark::State& state, const std::string& line) {
  constexpr std::size_t total = std::size_t{16} << 20U;
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::tmpfile(), std::fclose);
  for (std::size_t written = 0; written < total; written += line.size()) {
    std::fwrite(line.data(), 1, line.size(), file.get());
  }
  std::fflush(file.get());
  while (state.KeepRunning()) {
    ::lseek(::fileno(file.get()), 0, SEEK_SET);
    ferncrest::LineBuffer lines;
    while (!lines.hasEnded()) {
      lines.add(ferncrest::readSome(::fileno(file.get()), lines.room()).value_or(0));
      while (const auto next = lines.next()) {
        benchmark::DoNotOptimize(next->terminated.data());
      }
    }
  }
  countBytes(state, total);
}

void trim(benchmark::State& state, const std::string& text) {
  while (state.KeepRunning()) {
    benchmark::DoNotOptimize(ferncrest::trimmed(text));
  }
}

void repair(benchmark::State& state, const std::string& text) {
  while (state.KeepRunning()) {
    benchmark::DoNotOptimize(ferncrest::repairedUtf8(text));
  }
  countBytes(state, text.size());
}

std::string repeated(const std::string& part, std::size_t size) {
  std::string text;
  while (text.size() < size) {
    text += part;
  }
  return text;
}

constexpr std::size_t mebibyte = std::size_t{1} << 20U;

BENCHMARK_CAPTURE(decode, short_request, shortRequest());
BENCHMARK_CAPTURE(decode, plain_megabyte, sendMessage(std::string(mebibyte, 'a'), ""));
BENCHMARK_CAPTURE(decode, base64_megabyte, sendMessage("", base64Like(mebibyte)));
BENCHMARK_CAPTURE(decode, cyrillic_megabyte,
                  sendMessage(repeated("\xD0\x9C\xD0\xBE\xD1\x81\xD1\x82 ", mebibyte), ""));
BENCHMARK_CAPTURE(checkAttachment, base64_megabyte, sendMessage("", base64Like(mebibyte)));
BENCHMARK_CAPTURE(checkAttachment, base64_megabyte_in_lines,
                  sendMessage("", repeated(base64Like(76) + "\\r\\n", mebibyte)));
BENCHMARK_CAPTURE(encode, short_request, shortRequest());
BENCHMARK_CAPTURE(encode, plain_megabyte, sendMessage(std::string(mebibyte, 'a'), ""));
BENCHMARK_CAPTURE(encode, base64_megabyte, sendMessage("", base64Like(mebibyte)));
BENCHMARK_CAPTURE(readLines, of_200_bytes, std::string(199, 'a') + '\n');
BENCHMARK_CAPTURE(readLines, of_a_megabyte, std::string(mebibyte - 1, 'a') + '\n');
BENCHMARK_CAPTURE(readLines, of_200_cyrillic_bytes, repeated("\xD0\x9C", 199) + '\n');
BENCHMARK_CAPTURE(trim, nothing, shortRequest());
BENCHMARK_CAPTURE(trim, spaces_and_carriage_return, "  " + shortRequest() + "\r");
BENCHMARK_CAPTURE(repair, plain_megabyte, std::string(mebibyte, 'a'));
BENCHMARK_CAPTURE(repair, every_64th_byte_wrong, repeated(std::string(63, 'a') + '\xFF', mebibyte));

}  // namespace
