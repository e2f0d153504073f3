#include "platform/output_stream.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdlib>

#include "platform/io.h"
#include "platform/system.h"

namespace ferncrest {

namespace {

// A Unix socket counts a piece as unread until its last byte was read. With small pieces the count
// also shrinks while a slow host reads.
constexpr std::size_t socketPiece = std::size_t{8} << 10U;

// Poll reports a terminal as ready when it has room for one byte. A longer write could block.
constexpr std::size_t terminalPiece = 1;

// A write to a terminal can block although poll has reported it as ready. O_NONBLOCK prevents that,
// but on the host's open file description the host would get it too, so we open our own.
Fd reopenedTerminal(int fd) {
  std::array<char, PATH_MAX> name{};
  // The master side of a pseudo-terminal cannot be opened again: its name, /dev/ptmx, makes a new
  // pair.
  const bool isMaster = ::ptsname(fd) != nullptr;  // NOLINT(concurrency-mt-unsafe): one thread
  if (isMaster || ::ttyname_r(fd, name.data(), name.size()) != 0) {
    return {};
  }
  return Fd(::open(name.data(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

}  // namespace

OutputStream::OutputStream(int fd)
    : fd_(fd), kind_(kindOf(fd)), tellsUnread_(kind_ == Kind::pipe || kind_ == Kind::socket) {
  if (kind_ == Kind::terminal) {
    own_ = reopenedTerminal(fd);
  }
}

OutputStream::Kind OutputStream::kindOf(int fd) {
  struct stat status{};
  const int flags = ::fcntl(fd, F_GETFL);
  // Poll never reports a stream that was opened read-only, so a wait for it would not end.
  if (flags < 0 || (flags & O_ACCMODE) == O_RDONLY || ::fstat(fd, &status) != 0) {
    return Kind::unwritable;
  }
  if (S_ISFIFO(status.st_mode)) {
    return Kind::pipe;
  }
  if (S_ISSOCK(status.st_mode)) {
    return Kind::socket;
  }
  return ::isatty(fd) == 1 ? Kind::terminal : Kind::file;
}

std::ptrdiff_t OutputStream::writeSome(std::string_view bytes) const {
  switch (kind_) {
    case Kind::pipe: {
      // Asked right before the write: standard output and standard error may be the same pipe, so
      // an earlier answer may be too high.
      const std::size_t room = pipeRoom(fd_);
      return room == 0 ? -EAGAIN : ferncrest::writeSome(fd_, bytes.substr(0, room));
    }
    case Kind::socket: {
      const ssize_t count =
          ::send(fd_, bytes.data(), std::min(bytes.size(), socketPiece), MSG_DONTWAIT);
      if (count < 0 && (errno == ENOBUFS || errno == ENOMEM)) {
        return -EAGAIN;
      }
      return count >= 0 ? count : -errno;
    }
    case Kind::terminal:
      if (own_.isOpen()) {
        return ferncrest::writeSome(own_.get(), bytes);
      }
      if (isHungUp(fd_)) {
        return -EIO;
      }
      return isWritable(fd_) ? ferncrest::writeSome(fd_, bytes.substr(0, terminalPiece)) : -EAGAIN;
    case Kind::file:
      return ferncrest::writeSome(fd_, bytes);
    case Kind::unwritable:
      return -EBADF;
  }
  return -EBADF;
}

std::ptrdiff_t OutputStream::writeLine(std::string_view line) const {
  if (kind_ == Kind::pipe && pipeRoom(fd_) < std::min(line.size(), pipeCapacity(fd_))) {
    return -EAGAIN;
  }
  return writeSome(line);
}

std::ptrdiff_t OutputStream::moveFrom(int pipe, std::size_t most) const {
  return kind_ == Kind::pipe ? moveBytes(pipe, fd_, most) : -EINVAL;
}

std::size_t OutputStream::unread() {
  const auto count = tellsUnread_ ? unreadBytes(fd_) : std::nullopt;
  // Never asked again after a failure: counts that come and go would look like a host that reads.
  tellsUnread_ = count.has_value();
  return count.value_or(0);
}

}  // namespace ferncrest
