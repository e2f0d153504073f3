#include "process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
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
#include <iterator>
#include <stdexcept>
#include <thread>

#include "platform/io.h"

extern char** environ;  // NOLINT(readability-redundant-declaration): macOS headers have none

namespace ferncrest::testing {

namespace {

// Only a fault reaches it; long enough for a sanitizer on a busy machine.
constexpr std::chrono::seconds deadline{60};
constexpr int deadlineMilliseconds = 60'000;

const std::string launchToken = "0123456789abcdef0123456789abcdef";

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

[[noreturn]] void execute(const std::string& executable, std::vector<std::string> arguments,
                          const Environment& environment) {
  arguments.insert(arguments.begin(), executable);
  std::vector<char*> pointers;
  std::ranges::transform(arguments, std::back_inserter(pointers),
                         [](auto& text) { return text.data(); });
  pointers.push_back(nullptr);
  char* none = nullptr;
  environ = &none;
  for (const auto& [name, value] : environment) {
    ::setenv(name.c_str(), value.c_str(), 1);
  }
  ::execv(executable.c_str(), pointers.data());
  ::_exit(126);
}

// Shows of long texts the end alone.
void expectSame(std::string_view found, std::string_view expected) {
  constexpr std::size_t most = 600;
  const auto end = [=](std::string_view text) {
    return text.substr(text.size() - std::min(most, text.size()));
  };
  EXPECT_TRUE(found == expected) << found.size() << " bytes: " << end(found) << "\ninstead of "
                                 << expected.size() << ": " << end(expected);
}

}  // namespace

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

Service::Service(const Launch& launch) {
  Environment environment = launch.environment;
  environment.emplace("FERNCREST_MANAGED_BRIDGE_DATA_DIR", directory_.path("data"));
  if (launch.authorized) {
    environment.emplace("FERNCREST_HELPER_LAUNCH_TOKEN", launchToken);
    environment.emplace("FERNCREST_HELPER_LAUNCH_TOKEN_FILE",
                        directory_.file("token", launchToken + "\n"));
  }
  if (!launch.script.empty()) {
    environment.emplace("FERNCREST_MANAGED_BRIDGE_BACKEND_PATH",
                        directory_.file("back end", "#!/bin/sh\n" + launch.script + "\n", 0700));
  }
  std::array<Ends, 3> streams{makeStream(launch.streams, true), makeStream(launch.streams, false),
                              makeStream(launch.streams, false)};
  ::signal(SIGPIPE, SIG_IGN);
  pid_ = ::fork();
  if (pid_ == 0) {
    ::signal(SIGPIPE, SIG_DFL);
    for (int stream = 0; stream < 3; ++stream) {
      ::dup2(streams.at(static_cast<std::size_t>(stream))[0].get(), stream);
    }
    for (int leaked = 3; leaked < 256; ++leaked) {
      ::close(leaked);  // of whoever runs the tests; what is to be open is opened by the test
    }
    if (launch.inChild) {
      launch.inChild();
    }
    execute(launch.executable, launch.arguments, environment);
  }
  if (launch.keepsStreams) {
    std::ranges::transform(streams, kept_.begin(), [](Ends& ends) { return std::move(ends[0]); });
  }
  input_ = std::move(streams[0][1]);
  output_ = {std::move(streams[1][1])};
  errors_ = {std::move(streams[2][1])};
}

Service::~Service() {
  if (pid_ > 0) {
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
  }
}

std::string Service::script(const std::string& ending) const {
  return directory_.path("back end" + ending);
}

void Service::write(std::string_view bytes) const {
  static_cast<void>(writeAll(input_.get(), bytes).has_value());
}

// False at the end of the stream.
bool Service::Stream::readMore() {
  pollfd waiting{.fd = fd.get(), .events = POLLIN, .revents = 0};
  if (::poll(&waiting, 1, deadlineMilliseconds) != 1) {
    throw std::runtime_error("nothing came before the deadline");
  }
  std::string block(65536, '\0');
  block.resize(readSome(fd.get(), block).value_or(0));
  ahead += block;
  return !block.empty();
}

std::string Service::Stream::take(std::size_t count) {
  std::string taken = ahead.substr(0, count);
  ahead.erase(0, count);
  return taken;
}

std::string Service::readLine(Stream& stream) {
  std::size_t lineFeed = stream.ahead.find('\n');
  while (lineFeed == std::string::npos) {
    const std::size_t searched = stream.ahead.size();
    if (!stream.readMore()) {
      return stream.take(std::string::npos);
    }
    lineFeed = stream.ahead.find('\n', searched);
  }
  return stream.take(lineFeed + 1);
}

std::string Service::readRest(Stream& stream) {
  while (stream.readMore()) {
  }
  return stream.take(std::string::npos);
}

std::string Service::readPiece(std::size_t most, bool ofErrors) {
  std::string piece(most, '\0');
  piece.resize(readSome(ofErrors ? errorsFd() : outputFd(), piece).value_or(0));
  return piece;
}

void Service::expect(Stream& stream, std::string_view bytes) {
  while (stream.ahead.size() < bytes.size() && stream.readMore()) {
  }
  expectSame(stream.take(bytes.size()), bytes);
}

void Service::expectEnd(std::string_view output, std::string_view errors, int status) {
  closeInput();
  // The longer one first: at the end a host that reads nothing is given up after a second.
  const std::string early = errors.size() > output.size() ? readErrors() : "";
  expectSame(readRest(), output);
  expectSame(early + readErrors(), errors);
  EXPECT_EQ(wait(), status);
}

int Service::wait() {
  int status = 0;
  rusage used{};
  if (!eventually([&] { return ::wait4(pid_, &status, WNOHANG, &used) == pid_; })) {
    throw std::runtime_error("the service did not end before the deadline");
  }
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  processorSeconds_ = seconds(used.ru_utime) + seconds(used.ru_stime);
  pid_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

int bytesIn(int readEnd) {
  int count = -1;
  ::ioctl(readEnd, FIONREAD, &count);
  return count;
}

bool eventually(const std::function<bool()>& holds) {
  const auto end = std::chrono::steady_clock::now() + deadline;
  while (!holds()) {
    if (std::chrono::steady_clock::now() > end) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

}  // namespace ferncrest::testing
