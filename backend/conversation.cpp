#include "backend/conversation.h"

#include <fcntl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "platform/fd.h"
#include "platform/io.h"
#include "platform/system.h"

namespace ferncrest {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr pollfd nothing{.fd = -1, .events = 0, .revents = 0};

// At the end, stop waiting for a host that has read nothing for this long.
constexpr milliseconds hostPatience{1000};

// The interval for checking what poll cannot report.
constexpr milliseconds lookInterval{50};

// After this many bytes of lines the relays get a turn. A short line counts as 1 KiB, so that is
// after 24 lines at the latest. With 64, an event waited 1.7 times as long, and lines were
// forwarded 1.02 times as fast.
constexpr std::ptrdiff_t burst = std::ptrdiff_t{24} << 10U;
constexpr std::size_t shortLine = std::size_t{1} << 10U;

void stepIfReady(Relay& relay, const pollfd& awaited) {
  if (awaited.revents != 0 || relay.isHeldBack()) {
    relay.step();
  }
}

milliseconds timeUntil(Clock::time_point deadline) {
  return std::max(std::chrono::ceil<milliseconds>(deadline - Clock::now()), milliseconds(0));
}

}  // namespace

Conversation::Conversation(LineBuffer& input)
    : input_(input), output_(standardOutput), errors_(standardError) {
  // Poll never reports a stream that was opened write-only, so it counts as ended.
  if ((::fcntl(standardInput, F_GETFL) & O_ACCMODE) == O_WRONLY) {
    input_.add(0);
  }
}

void Conversation::relay(Fd output, Fd errors) {
  output_.begin(std::move(output));
  errors_.begin(std::move(errors));
}

void Conversation::limitRelays() {
  output_.limit();
  errors_.limit();
}

const ChildProcess& Conversation::watch(ChildProcess child, EndHandler onEnd) {
  onEnd_ = std::move(onEnd);
  return child_.emplace(std::move(child));
}

std::optional<MessageLine> Conversation::nextLine() {
  for (;;) {
    if (const auto line = input_.next()) {
      leftOfBurst_ -= static_cast<std::ptrdiff_t>(std::max(line->terminated.size(), shortLine));
      if (leftOfBurst_ <= 0) {
        look();
      }
      return line;
    }
    if (input_.hasEnded()) {
      return std::nullopt;
    }
    readInput();
  }
}

// The only wait of a conversation with a backend.
bool Conversation::wait(pollfd wanted, milliseconds timeout) {
  leftOfBurst_ = burst;
  const int exitFd = child_ ? child_->exitFd() : -1;
  std::array<pollfd, 4> waiting{
      wanted, {.fd = exitFd, .events = POLLIN, .revents = 0}, output_.need(), errors_.need()};
  if (looksByTime()) {
    timeout = timeout < milliseconds(0) ? lookInterval : std::min(timeout, lookInterval);
  }
  if (::poll(waiting.data(), waiting.size(), static_cast<int>(timeout.count())) < 0) {
    return false;
  }
  if (child_ && (waiting[1].revents != 0 || exitFd < 0)) {
    noticeEnd(*child_);
  }
  stepIfReady(output_, waiting[2]);
  stepIfReady(errors_, waiting[3]);
  return waiting[0].revents != 0;
}

void Conversation::look() {
  wait(nothing, milliseconds(0));
}

void Conversation::waitForEnd(milliseconds timeout) {
  const auto deadline = Clock::now() + timeout;
  while (child_ && Clock::now() < deadline) {
    wait(nothing, timeUntil(deadline));
  }
}

void Conversation::finishOutput() {
  while (!output_.isDone()) {
    wait(nothing, forever);
  }
}

void Conversation::finish() {
  std::size_t before = outstanding();
  auto deadline = Clock::now() + hostPatience;
  while ((!output_.isDone() || !errors_.isDone()) && Clock::now() < deadline) {
    wait(nothing, std::min(timeUntil(deadline), lookInterval));
    const std::size_t now = outstanding();
    if (now < before) {
      deadline = Clock::now() + hostPatience;
    }
    before = now;
  }
}

void Conversation::readInput() {
  if (input_.holdsSpareMemory() && !isReadable(standardInput)) {
    input_.releaseSpareMemory();
  }
  if (!wait({.fd = standardInput, .events = POLLIN, .revents = 0}, forever)) {
    return;
  }
  const auto room = input_.room();
  const std::ptrdiff_t count = readNow(standardInput, room.data(), room.size());
  if (count != -EAGAIN && count != -EINTR) {
    input_.add(static_cast<std::size_t>(std::max<std::ptrdiff_t>(count, 0)));
  }
}

void Conversation::noticeEnd(ChildProcess& child) {
  if (const auto terminationStatus = child.reapIfEnded()) {
    child_.reset();
    if (onEnd_) {
      onEnd_(*terminationStatus);
    }
  }
}

bool Conversation::looksByTime() const {
  return (child_ && child_->exitFd() < 0) || output_.isHeldBack() || errors_.isHeldBack();
}

std::size_t Conversation::outstanding() {
  return output_.outstanding() + errors_.outstanding();
}

}  // namespace ferncrest
