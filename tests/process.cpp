#include "process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <regex>
#include <stdexcept>
#include <thread>

#include "platform/io.h"

namespace ferncrest::testing {

namespace {

// In milliseconds. Only a fault reaches it; long enough for a sanitizer on a busy machine.
constexpr int deadline = 60'000;

// The service's end of a stream, and the host's.
using Ends = std::array<Fd, 2>;

Ends makeStream(StreamKind kind, bool isInput) {
  std::array<int, 2> fds{-1, -1};
  if (kind == StreamKind::terminal && !isInput) {
    fds[1] = ::posix_openpt(O_RDWR | O_NOCTTY);
    ::grantpt(fds[1]);
    ::unlockpt(fds[1]);
    fds[0] = ::open(::ptsname(fds[1]), O_RDWR | O_NOCTTY);
    termios mode{};
    ::tcgetattr(fds[0], &mode);
    ::cfmakeraw(&mode);
    ::tcsetattr(fds[0], TCSANOW, &mode);
  } else if (kind == StreamKind::socket) {
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, fds.data()), 0);
  } else {
    EXPECT_EQ(::pipe(fds.data()), 0);
    std::ranges::rotate(fds, fds.begin() + (isInput ? 0 : 1));
  }
  if (kind == StreamKind::nonBlockingPipe) {
    ::fcntl(fds[0], F_SETFL, O_NONBLOCK);
  }
  return {Fd(fds[0]), Fd(fds[1])};
}

// Shows of long texts only the place where they differ.
void expectSame(std::string_view found, std::string_view expected) {
  const auto place =
      static_cast<std::size_t>(std::ranges::mismatch(found, expected).in1 - found.begin());
  EXPECT_TRUE(found == expected) << "at byte " << place << ": " << found.substr(place, 600)
                                 << "\ninstead of: " << expected.substr(place, 600);
}

}  // namespace

void PrintTo(StreamKind kind, std::ostream* out) {
  constexpr std::array names{"pipe", "non-blocking pipe", "socket", "terminal"};
  *out << names.at(static_cast<std::size_t>(kind));
}

TemporaryDirectory::TemporaryDirectory() {
  std::string name = std::filesystem::temp_directory_path() / "ferncrest-test-XXXXXX";
  if (::mkdtemp(name.data()) == nullptr) {
    throw std::runtime_error("no temporary directory");
  }
  directory_ = std::filesystem::canonical(name);
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(directory_, ignored);
}

std::string TemporaryDirectory::path(std::string_view name) const {
  return name.empty() ? directory_ : directory_ + "/" + std::string(name);
}

std::string TemporaryDirectory::file(std::string_view name, std::string_view content,
                                     mode_t mode) const {
  std::ofstream(path(name), std::ios::binary) << content;
  ::chmod(path(name).c_str(), mode);
  return path(name);
}

std::string readPiece(int fd, std::size_t most) {
  std::string piece(most, '\0');
  piece.resize(readSome(fd, piece).value_or(0));
  return piece;
}

std::string readFrom(int fd, std::size_t most, bool stopsAtLine) {
  std::string bytes;
  while (bytes.size() < most && !(stopsAtLine && bytes.ends_with('\n'))) {
    pollfd waiting{.fd = fd, .events = POLLIN, .revents = 0};
    if (::poll(&waiting, 1, deadline) != 1) {
      throw std::runtime_error("nothing came before the deadline");
    }
    const std::size_t wanted = stopsAtLine ? 1 : most - bytes.size();
    const std::string piece = readPiece(fd, std::min<std::size_t>(wanted, 65536));
    if (piece.empty()) {
      break;
    }
    bytes += piece;
  }
  return bytes;
}

Service::Service(const Launch& launch) {
  const std::string token(32, 't');
  Environment environment = launch.environment;
  environment.insert({{"FERNCREST_MANAGED_BRIDGE_DATA_DIR", directory_.path("data")},
                      {"FERNCREST_HELPER_LAUNCH_TOKEN", token},
                      {"FERNCREST_HELPER_LAUNCH_TOKEN_FILE", directory_.file("token", token)}});
  if (!launch.script.empty()) {
    const std::string shell = launch.script.starts_with("#!") ? "" : "#!/bin/sh\n";
    environment.emplace("FERNCREST_MANAGED_BRIDGE_BACKEND_PATH",
                        directory_.file("back end", shell + launch.script + "\n", 0700));
  }
  std::array<Ends, 3> streams{makeStream(launch.streams, true), makeStream(launch.streams, false),
                              makeStream(launch.streams, false)};
  std::vector<std::string> arguments{"-c", launch.setUp + "\nexec \"$0\" \"$@\"",
                                     launch.executable};
  arguments.insert(arguments.end(), launch.arguments.begin(), launch.arguments.end());
  ignoreBrokenPipeSignal();
  group_ = pid_ = spawnChild({.executable = "/bin/sh",
                              .arguments = arguments,
                              .environment = environment,
                              .leadsGroup = true},
                             {streams[0][0].get(), streams[1][0].get(), streams[2][0].get()})
                      .value();
  input_ = std::move(streams[0][1]);
  output_ = std::move(streams[1][1]);
  errors_ = std::move(streams[2][1]);
}

Service::~Service() {
  ::kill(-group_, SIGKILL);
  if (pid_ > 0) {
    ::waitpid(pid_, nullptr, 0);
  }
}

std::string Service::script(const std::string& ending) const {
  return directory_.path("back end" + ending);
}

void Service::write(std::string_view bytes) const {
  static_cast<void>(writeAll(input_.get(), bytes).has_value());
}

void Service::expect(std::string_view output) {
  expectSame(readFrom(outputFd(), output.size()), output);
}

void Service::expectErrors(const std::string& errors) {
  const std::string expected = withPath(errors);
  expectSame(readFrom(errorsFd(), expected.size()), expected);
}

std::string Service::withPath(const std::string& errors) const {
  return std::regex_replace(errors, std::regex("\\$0"), script());
}

void Service::expectEnd(std::string_view output, const std::string& errors, int status) {
  closeInput();
  // The longer one first: at the end the service stops waiting for a host that has read nothing for
  // a second.
  const std::string early = errors.size() > output.size() ? readErrors() : "";
  expectSame(readRest(), output);
  expectSame(early + readErrors(), withPath(errors));
  EXPECT_EQ(wait(), status);
}

int Service::wait() {
  int status = 0;
  if (!eventually([&] { return ::waitpid(pid_, &status, WNOHANG) == pid_; })) {
    throw std::runtime_error("the service did not end before the deadline");
  }
  pid_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

int bytesIn(int readEnd) {
  int count = -1;
  ::ioctl(readEnd, FIONREAD, &count);
  return count;
}

bool eventually(const std::function<bool()>& holds) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(deadline);
  while (!holds()) {
    if (std::chrono::steady_clock::now() > end) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

}  // namespace ferncrest::testing
