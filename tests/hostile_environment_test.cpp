#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <functional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "conversation.h"
#include "platform/fd.h"
#include "platform/files.h"
#include "process.h"
#include "text/utf8.h"

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
    service.write(connectRequest);
    service.expectEnd(output, errors, status);
  }
}

TEST(HostileEnvironment, endsInWordsWhenALineDoesNotFitIntoMemory) {
  if (isSanitized) {
    GTEST_SKIP() << "a sanitizer needs more than that";
  }
  Service service({.inChild = limited(RLIMIT_AS, std::size_t{16} << 20U)});
  service.write(connectRequest + std::string(std::size_t{20} << 20U, 'x'));
  service.expectEnd(greeting + connectEvents(), fatalLine("Cannot allocate memory"), 1);
}

TEST(HostileEnvironment, givesTheMemoryOfALongLineBack) {
  if (isSanitized) {
    GTEST_SKIP() << "a sanitizer keeps memory";
  }
  using Row = std::pair<std::string, std::string>;
  for (const auto& [script, end] :
       {Row{"", "\n"}, Row{"", "\xFF\n"}, Row{"exec cat >/dev/null", "\n"}}) {
    SCOPED_TRACE(script + " " + end);
    Service service({.script = script});
    // Almost all of it has been read when the write returns.
    service.write(std::string(std::size_t{30} << 20U, 'x') + end);
    EXPECT_TRUE(eventually([&] {
      const std::string pages =
          readFile("/proc/" + std::to_string(service.pid()) + "/statm").value();
      return std::stoul(pages.substr(pages.find(' '))) < (std::size_t{10} << 20U) / 4096;
    }));
  }
}

// Root may have any number of processes, so another user is taken, who must reach all that is
// needed.
TEST(HostileEnvironment, fallsBackWhenThereMayBeNoMoreProcesses) {
  const TemporaryDirectory directory;
  ::chmod(directory.path().c_str(), 0777);
  std::filesystem::copy_file(SERVICE_PATH, directory.path("service"));
  const std::string token(32, 't');
  Service service(
      {.environment = {{"FERNCREST_MANAGED_BRIDGE_BACKEND_PATH", "/bin/cat"},
                       {"FERNCREST_MANAGED_BRIDGE_DATA_DIR", directory.path("data")},
                       {"FERNCREST_HELPER_LAUNCH_TOKEN", token},
                       {"FERNCREST_HELPER_LAUNCH_TOKEN_FILE", directory.file("token", token, 0644)},
                       {"ASAN_OPTIONS", "detect_leaks=0"}},
       .inChild =
           [] {
             EXPECT_TRUE(::geteuid() != 0 || ::setuid(65534) == 0);
             limited(RLIMIT_NPROC, 0)();
           },
       .executable = directory.path("service")});
  service.write(connectRequest);
  service.expectEnd(takeover, fallbackLine("/bin/cat", "Resource temporarily unavailable"));
}

TEST(HostileEnvironment, fallsBackFromABackendThatCannotStart) {
  const TemporaryDirectory directory;
  const std::string otherProcessor(
      "\x7F"
      "ELF\2\1\1\0\0\0\0\0\0\0\0\0\2\0\x7E",
      19);
  const std::string busy = directory.file("busy\xFF", "#!/bin/sh\nexit 3\n", 0700);
  const Fd writer(::open(busy.c_str(), O_WRONLY | O_CLOEXEC));
  std::vector<std::tuple<std::string, std::string, Conditions>> cases{
      {directory.file("text", "no program at all\n", 0700), "Exec format error", {}},
      {directory.file("foreign", otherProcessor, 0700), "Exec format error", {}},
      {directory.file("script", "#!/no/such/program\n", 0700), "No such file or directory", {}},
      {directory.path(), "Permission denied", {}},
      {busy, "Text file busy", {}}};
  for (const rlim_t most : {rlim_t{4}, rlim_t{7}, rlim_t{8}}) {
    if (!isSanitized) {
      cases.push_back({"/bin/cat", "Too many open files", limited(RLIMIT_NOFILE, most)});
    }
  }
  for (const auto& [path, reason, condition] : cases) {
    SCOPED_TRACE(path + ": " + reason);
    Service service(
        {.environment = {{"FERNCREST_MANAGED_BRIDGE_BACKEND_PATH", path}}, .inChild = condition});
    service.write(connectRequest);
    service.expectEnd(takeover, fallbackLine(repairedUtf8(path), reason));
  }
}

TEST(HostileEnvironment, relaysWithoutADirectoryAndWithoutRoomForOutput) {
  const std::string script = "read go; head -c 1000000 /dev/zero; echo $go >&2";
  Service full({.script = script, .inChild = opened(1, "/dev/full", O_WRONLY)});
  full.write("go\n");
  full.expectErrors("go\n");
  Service nowhere({.script = script, .inChild = standInNoDirectory});
  nowhere.write("go\n");
  nowhere.expect(std::string(1'000'000, '\0'));
}

TEST(HostileEnvironment, relaysAllThatAnUnusuallyLargePipeHolds) {
  Service service({.script =
                       "echo $$ >&2; python3 -c 'import fcntl, os; "
                       "fcntl.fcntl(1, 1031, 1 << 20); os.write(1, bytes(1000000))'; exit 3"});
  ASSERT_TRUE(ends(service.readErrorLine()));
  service.expect(std::string(1'000'000, '\0') + exitReport(3));
}

TEST(HostileEnvironment, outlivesABackendThatClosesItsStreamsInAnyOrder) {
  std::vector<std::string> closings{"exec 0<&-; ", "exec 1>&-; ", "exec 2>&-; "};
  do {
    const std::string script = closings[0] + closings[1] + closings[2];
    SCOPED_TRACE(script);
    Service service({.script = script + "mkdir \"$0.closed\"; exec sleep 1000"});
    ASSERT_TRUE(eventually([&] { return std::filesystem::exists(service.script(".closed")); }));
    service.write("not delivered\n" + connectRequest);
    // It was asked to end, so that is not reported.
    service.expectEnd(takeover, brokenPipeLine(service.script()));
  } while (std::ranges::next_permutation(closings).found);
}

}  // namespace

}  // namespace ferncrest::testing
