#include "backend/relay.h"

#include <poll.h>
#include <sys/ioctl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <new>
#include <utility>

#include "platform/io.h"
#include "platform/system.h"
#include "platform/thread.h"

namespace ferncrest {

namespace {

constexpr std::size_t chunkSize = std::size_t{64} << 10U;
constexpr std::size_t smallChunkSize = std::size_t{4} << 10U;

std::size_t bytesIn(int pipe) {
  int count = 0;
  return ::ioctl(pipe, FIONREAD, &count) == 0 && count > 0 ? static_cast<std::size_t>(count) : 0;
}

}  // namespace

Relay::Relay(Fd source, OutputStream& destination, std::shared_ptr<const Event> over)
    : source_(std::move(source)),
      destination_(destination),
      over_(std::move(over)),
      buffer_(chunkSize) {}

std::expected<std::shared_ptr<Relay>, Failure> Relay::start(Fd source, OutputStream& destination,
                                                            std::shared_ptr<const Event> over) {
  std::shared_ptr<Relay> relay;
  try {
    relay = std::make_shared<Relay>(std::move(source), destination, std::move(over));
  } catch (const std::bad_alloc&) {
    return std::unexpected(systemFailure(ENOMEM));
  }
  if (const Outcome started = startThread([relay] { relay->run(); }); !started) {
    return std::unexpected(started.error());
  }
  return relay;
}

Latch::TimePoint Relay::waitForEnd(Latch::TimePoint deadline) {
  while (!ended_.waitUntil(deadline) && lastCopied_.load() + hostPatience > deadline) {
    deadline = lastCopied_.load() + hostPatience;
  }
  return deadline;
}

void Relay::run() {
  joinBatchClass();  // many small events then cost one chunk
  std::array<pollfd, 2> waiting{{{.fd = source_.get(), .events = POLLIN, .revents = 0},
                                 {.fd = over_->fd(), .events = POLLIN, .revents = 0}}};
  for (bool isOpen = true; isOpen;) {
    const int ready = ::poll(waiting.data(), waiting.size(), -1);
    if (ready < 0) {
      isOpen = errno == EINTR;
    } else if (waiting[1].revents != 0) {
      // Asked first: a grandchild may keep the pipe full for ever.
      relayRest();
      isOpen = false;
    } else if (waiting[0].revents != 0) {
      isOpen = relayChunk(chunkSize) > 0;
    }
  }
  source_.reset();
  ended_.open();
}

// Copies what is available now; nothing is left to copy when that is nothing. A destination that
// fails does not stop the relay, so that the backend never stalls on a host that is gone.
std::size_t Relay::relayChunk(std::size_t most) {
  if (movesInSystem_) {
    const auto moved = OutputStream::Turn(destination_).moveFrom(source_.get(), most);
    if (moved >= 0) {
      return static_cast<std::size_t>(moved);
    }
    // After any other failure too, the bytes are still in the pipe and this chunk takes the long
    // way.
    movesInSystem_ = moved != -EINVAL;
  }
  const auto count = readSome(source_.get(), {buffer_.data(), std::min(most, chunkSize)});
  if (!count || *count == 0) {
    return 0;
  }
  static_cast<void>(destination_.write({buffer_.data(), *count}));
  return *count;
}

// No more than the pipe holds now: a grandchild that goes on writing must not keep the relay going.
// In small pieces, so that a host which reads slowly is seen to read.
void Relay::relayRest() {
  std::size_t rest = bytesIn(source_.get());
  while (rest > 0) {
    const std::size_t count = relayChunk(std::min(rest, smallChunkSize));
    rest = count > 0 ? rest - count : 0;
    lastCopied_ = std::chrono::steady_clock::now();
  }
}

}  // namespace ferncrest
