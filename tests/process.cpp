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
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "platform/io.h"

namespace ferncrest::testing {

namespace {

// Only a fault reaches it; long enough for a sanitizer on a busy machine.
constexpr std::chrono::seconds deadline{60};
constexpr int deadlineMilliseconds = 60'000;

const std::string launchToken = "0123456789abcdef0123456789abcdef";

// Both ends of one stream, out of the way of the standard ones.
struct Ends {
  Fd services;
  Fd hosts;
};

Ends endsOf(int services, int hosts) {
  Ends ends{Fd(::fcntl(services, F_DUPFD_CLOEXEC, 3)), Fd(::fcntl(hosts, F_DUPFD_CLOEXEC, 3))};
  ::close(services);
  ::close(hosts);
  if (!ends.services.isOpen() || !ends.hosts.isOpen()) {
    throw std::runtime_error("no stream");
  }
  return ends;
}

Ends terminal() {
  const int host = ::posix_openpt(O_RDWR | O_NOCTTY);
  if (::grantpt(host) != 0 || ::unlockpt(host) != 0) {
    throw std::runtime_error("no terminal");
  }
  const int service = ::open(::ptsname(host), O_RDWR | O_NOCTTY);
  termios mode{};
  ::tcgetattr(service, &mode);
  ::cfmakeraw(&mode);
  ::tcsetattr(service, TCSANOW, &mode);
  return endsOf(service, host);
}

Ends stream(StreamKind kind, bool isInput) {
  std::array<int, 2> fds{-1, -1};
  if (kind == StreamKind::terminal && !isInput) {
    return terminal();
  }
  if (kind == StreamKind::socket) {
    static_cast<void>(::socketpair(AF_UNIX, SOCK_STREAM, 0, fds.data()));
    return endsOf(fds[0], fds[1]);
  }
  if (::pipe(fds.data()) != 0) {
    throw std::runtime_error("no pipe");
  }
  Ends ends = isInput ? endsOf(fds[0], fds[1]) : endsOf(fds[1], fds[0]);
  if (kind == StreamKind::nonBlockingPipe) {
    ::fcntl(ends.services.get(), F_SETFL, O_NONBLOCK);
  }
  return ends;
}

[[noreturn]] void execute(const std::vector<std::string>& arguments,
                          const Environment& environment) {
  std::vector<std::string> entries;
  for (const auto& [name, value] : environment) {
    entries.push_back(name + "=" + value);
  }
  const auto pointers = [](auto& texts) {
    std::vector<char*> list;
    for (auto& text : texts) {
      list.push_back(const_cast<char*>(text.c_str()));
    }
    list.push_back(nullptr);
    return list;
  };
  ::execve(arguments.front().c_str(), pointers(arguments).data(), pointers(entries).data());
  ::_exit(126);
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
  std::vector<std::string> arguments{launch.executable};
  arguments.insert(arguments.end(), launch.arguments.begin(), launch.arguments.end());
  Environment environment = launch.environment;
  environment.emplace("FERNCREST_MANAGED_BRIDGE_DATA_DIR", directory_.path("data"));
  if (launch.authorized) {
    environment.emplace("FERNCREST_HELPER_LAUNCH_TOKEN", launchToken);
    environment.emplace("FERNCREST_HELPER_LAUNCH_TOKEN_FILE",
                        directory_.file("token", launchToken + "\n"));
  }
  Ends in = stream(launch.streams, true);
  Ends out = stream(launch.streams, false);
  Ends err = stream(launch.streams, false);
  ::signal(SIGPIPE, SIG_IGN);
  pid_ = ::fork();
  if (pid_ == 0) {
    ::signal(SIGPIPE, SIG_DFL);
    ::dup2(in.services.get(), 0);
    ::dup2(out.services.get(), 1);
    ::dup2(err.services.get(), 2);
    for (int leaked = 3; leaked < 256; ++leaked) {
      ::close(leaked);  // of whoever runs the tests; what is to be open is opened by the test
    }
    if (launch.inChild) {
      launch.inChild();
    }
    execute(arguments, environment);
  }
  input_ = std::move(in.hosts);
  if (launch.keepsStreams) {
    kept_ = {std::move(in.services), std::move(out.services), std::move(err.services)};
  }
  output_.fd = std::move(out.hosts);
  errors_.fd = std::move(err.hosts);
}

Service::~Service() {
  if (pid_ > 0) {
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
  }
}

int Service::unreadInput() const {
  return bytesIn(kept_[0].get());
}

std::array<bool, 3> Service::areNonBlocking() const {
  std::array<bool, 3> modes{};
  std::ranges::transform(kept_, modes.begin(), [](const Fd& fd) {
    return (::fcntl(fd.get(), F_GETFL) & O_NONBLOCK) != 0;
  });
  return modes;
}

void Service::write(std::string_view bytes) const {
  ASSERT_TRUE(writeAll(input_.get(), bytes).has_value());
}

void Service::tryWrite(std::string_view bytes) const {
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

std::string Service::readBytes(Stream& stream, std::size_t count) {
  while (stream.ahead.size() < count && stream.readMore()) {
  }
  return stream.take(count);
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

int Service::finish() {
  closeInput();
  return wait();
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
