#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "conversation.h"
#include "platform/fd.h"
#include "process.h"

// Hosts and backends that do everything wrong that the system lets them do.

namespace ferncrest::testing {

namespace {

using Conditions = std::function<void()>;

Conditions opened(int fd, const std::string& path, int flags) {
  return [=] { ::dup2(::open(path.c_str(), flags | O_CLOEXEC, 0600), fd); };
}

// A sanitizer takes memory and descriptors for itself, even to be loaded.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool isSanitized = true;
#else
constexpr bool isSanitized = false;
#endif

Conditions limited(decltype(RLIMIT_FSIZE) resource, rlim_t most) {
  return [=] {
    const rlimit limit{.rlim_cur = most, .rlim_max = most};
    ::setrlimit(resource, &limit);
  };
}

void noSignals() {
  sigset_t all;
  sigfillset(&all);
  sigprocmask(SIG_BLOCK, &all, nullptr);
  for (int signal = 1; signal < 32; ++signal) {
    ::signal(signal, SIG_IGN);
  }
}

void standInNoDirectory() {
  const TemporaryDirectory directory;
  EXPECT_EQ(::chdir(directory.path().c_str()), 0);
}

TEST(HostileEnvironment, isAnsweredOrRefusedInWords) {
  const TemporaryDirectory directory;
  const auto fullOutput = opened(1, "/dev/full", O_WRONLY);
  const auto grow = opened(1, directory.path("file"), O_WRONLY | O_CREAT);
  const auto small = limited(RLIMIT_FSIZE, 10);
  const std::string answers = greeting + connectEvents();
  using Case = std::tuple<const char*, std::vector<Conditions>, int, std::string, std::string>;
  std::vector<Case> cases{
      {"all closed", {[] { ::close(0), ::close(1), ::close(2); }}, 1, "", ""},
      {"input closed", {[] { ::close(0); }}, 0, greeting, ""},
      {"output closed", {[] { ::close(1); }}, 1, "", fatalLine("Bad file descriptor")},
      {"errors closed", {[] { ::close(2); }}, 0, answers, ""},
      {"input write-only", {opened(0, "/dev/null", O_WRONLY)}, 0, greeting, ""},
      {"input a directory", {opened(0, "/", O_RDONLY)}, 0, greeting, ""},
      {"output read-only", {opened(1, "/", O_RDONLY)}, 1, "", fatalLine("Bad file descriptor")},
      {"errors read-only", {opened(2, "/", O_RDONLY)}, 0, answers, ""},
      {"output full", {fullOutput}, 1, "", fatalLine("No space left on device")},
      {"nowhere to complain", {fullOutput, opened(2, "/dev/full", O_WRONLY)}, 1, "", ""},
      {"output may not grow", {grow, small}, -SIGXFSZ, "", ""},
      {"no growth, no signals", {grow, small, noSignals}, 1, "", fatalLine("File too large")},
      {"signals off", {noSignals}, 0, answers, ""},
      {"no directory", {standInNoDirectory}, 0, answers, ""},
  };
  if (!isSanitized) {
    cases.push_back({"three descriptors", {limited(RLIMIT_NOFILE, 3)}, 64, "", refusal});
    cases.push_back({"four descriptors", {limited(RLIMIT_NOFILE, 4)}, 0, answers, ""});
  }
  for (const auto& [name, conditions, status, output, errors] : cases) {
    SCOPED_TRACE(name);
    Service service({.inChild = [&all = conditions] {
      std::ranges::for_each(all, [](const Conditions& condition) { condition(); });
    }});
    service.tryWrite(connectRequest);
    EXPECT_EQ(service.finish(), status);
    EXPECT_EQ(service.readRest(), output);
    EXPECT_EQ(service.readErrors(), errors);
  }
}

TEST(HostileEnvironment, endsInWordsWhenALineDoesNotFitIntoMemory) {
  if (isSanitized) {
    GTEST_SKIP() << "a sanitizer needs more than that";
  }
  Service service({.inChild = limited(RLIMIT_AS, std::size_t{16} << 20U)});
  service.tryWrite(connectRequest + std::string(std::size_t{20} << 20U, 'x'));
  EXPECT_EQ(service.finish(), 1);
  EXPECT_EQ(service.readRest(), greeting + connectEvents());
  EXPECT_EQ(service.readErrors(), fatalLine("Cannot allocate memory"));
}

TEST(HostileEnvironment, fallsBackFromABackendThatCannotStart) {
  const TemporaryDirectory directory;
  const std::string busy = directory.file("busy\xFF", "#!/bin/sh\nexit 3\n", 0700);
  const Fd writer(::open(busy.c_str(), O_WRONLY | O_CLOEXEC));
  expectTakeover(busy, "Text file busy");

  for (const rlim_t most : {rlim_t{4}, rlim_t{7}, rlim_t{8}}) {
    if (isSanitized) {
      break;
    }
    expectTakeover("/bin/cat", "Too many open files", limited(RLIMIT_NOFILE, most));
  }
}

TEST(HostileEnvironment, fallsBackWhenThereMayBeNoMoreProcesses) {
  if (::geteuid() == 0) {
    GTEST_SKIP() << "root may have any number of processes";
  }
  expectTakeover("/bin/cat", "Resource temporarily unavailable", limited(RLIMIT_NPROC, 1));
}

TEST(HostileEnvironment, relaysWithoutADirectoryAndWithoutRoomForOutput) {
  const TemporaryDirectory directory;
  const std::string path = directory.file(
      "backend", "#!/bin/sh\nread go; head -c 1000000 /dev/zero; echo $go >&2\n", 0700);
  const Environment environment{{"FERNCREST_MANAGED_BRIDGE_BACKEND_PATH", path}};
  Service full({.environment = environment, .inChild = opened(1, "/dev/full", O_WRONLY)});
  full.write("go\n");
  EXPECT_EQ(full.readErrorLine(), "go\n");
  Service nowhere({.environment = environment, .inChild = standInNoDirectory});
  nowhere.write("go\n");
  EXPECT_EQ(nowhere.readBytes(1'000'000), std::string(1'000'000, '\0'));
}

TEST(HostileEnvironment, outlivesABackendThatClosesItsStreamsInAnyOrder) {
  std::vector<std::string> closings{"exec 0<&-", "exec 1>&-", "exec 2>&-"};
  do {
    const TemporaryDirectory directory;
    const std::string script = closings[0] + "; " + closings[1] + "; " + closings[2];
    SCOPED_TRACE(script);
    const std::string path =
        directory.file("backend",
                       "#!/bin/sh\n" + script +
                           "; mkdir \"$0.closed\"; while [ -e \"$0\" ]; do sleep 0.02; done\n",
                       0700);
    Service service({.environment = {{"FERNCREST_MANAGED_BRIDGE_BACKEND_PATH", path}}});
    ASSERT_TRUE(eventually([&] { return std::filesystem::exists(path + ".closed"); }));
    service.write("not delivered\n" + connectRequest);
    EXPECT_EQ(service.finish(), 0);
    EXPECT_EQ(service.readRest(), takeover);
    EXPECT_EQ(service.readErrors(), brokenPipeLine(path));
  } while (std::ranges::next_permutation(closings).found);
}

}  // namespace

}  // namespace ferncrest::testing
