#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "conversation.h"
#include "platform/files.h"
#include "process.h"
#include "text/utf8.h"

// Unusual conditions at the start, backends that cannot be started, and system calls that fail: see
// fault_injection.cpp.

namespace ferncrest::testing {

namespace {

// A sanitizer takes memory and descriptors for itself, even to be loaded, and keeps memory.
constexpr bool isSanitized = IS_SANITIZED;

const std::string noDirectory = "cd \"$(mktemp -d)\" && rmdir \"$PWD\"";
const std::string answers = greeting + connectEvents();

// A host that connects, without a backend.
Scenario stub(const std::string& setUp, int status, const std::string& output,
              const std::string& errors = "") {
  return {setUp, {.setUp = setUp}, {{connectRequest, output, errors}}, status};
}

// A backend that cannot be started.
Scenario unstarted(const std::string& path, const std::string& reason) {
  return {path,
          {.environment = {{"FERNCREST_MANAGED_BRIDGE_BACKEND_PATH", path}}},
          {{connectRequest, takeover, fallbackLine(repairedUtf8(path), reason)}}};
}

TEST(HostileEnvironment, isAnsweredOrRefusedInWords) {
  std::string marks;
  for (std::size_t size = 0; size < std::size_t{8} << 20U; size += 2) {
    marks += "\u0344";
  }
  const std::string small = "exec >\"$FERNCREST_HELPER_LAUNCH_TOKEN_FILE.out\"; ulimit -f 0; ";
  expectEach({
      stub("exec <&- >&- 2>&-", 1, ""),
      stub("exec <&-", 0, greeting),
      stub("exec >&-", 1, "", fatalLine("Bad file descriptor")),
      stub("exec 2>&-", 0, answers),
      stub("exec 0>/dev/null", 0, greeting),
      stub("exec </", 0, greeting),
      stub("exec 1</", 1, "", fatalLine("Bad file descriptor")),
      stub("exec 2</", 0, answers),
      stub("exec >/dev/full", 1, "", fatalLine("No space left on device")),
      stub("exec >/dev/full 2>&1", 1, ""),
      stub(small, -SIGXFSZ, ""),
      stub(small + noSignals, 1, "", fatalLine("File too large")),
      stub(noSignals, 0, answers),
      stub(noDirectory, 0, answers),
      stub(isSanitized ? "" : "ulimit -n 4", 0, answers),
      {"a name of combining marks, in less memory than 25 times its size",
       {.setUp = isSanitized ? "" : "ulimit -v 200000 2>/dev/null"},
       {{"{\"connect\":{\"_0\":{\"platform\":\"" + marks + "\"}}}\n" + connectRequest, answers}}},
      {"output full, with a backend",
       {.script = "read go; head -c 1000000 /dev/zero; echo $go >&2", .setUp = "exec >/dev/full"},
       {{"go\n", "", "go\n"}}},
  });
  Service service({.script = "exec cat", .setUp = noDirectory});
  expectExchange(service, {"line\n", "line\n"});  // on errors the shell may complain, too
}

TEST(HostileEnvironment, endsThoughNobodyReadsWhy) {
  Service service({.setUp = "unset FERNCREST_HELPER_LAUNCH_TOKEN; head -c 65536 /dev/zero >&2"});
  EXPECT_EQ(service.wait(), 64);
}

TEST(HostileEnvironment, fallsBackFromABackendThatCannotStart) {
  const TemporaryDirectory directory;
  expectEach({
      unstarted(directory.file("text", "no program at all\n", 0700), "Exec format error"),
      unstarted(directory.file("bad\xFF", "#!/no/such\n", 0700), "No such file or directory"),
      unstarted(directory.path(), "Permission denied"),
  });
}

TEST(HostileEnvironment, givesTheMemoryOfALongLineBack) {
  if (isSanitized) {
    GTEST_SKIP();
  }
  constexpr std::size_t size = std::size_t{30} << 20U;
  const std::string send =
      "{\"sendMessage\":{\"_0\":{\"platform\":\"whatsapp\",\"message\":"
      "{\"conversationId\":\"c\",\"text\":\"";
  const std::tuple<std::string, std::string, std::string, std::size_t> rows[] = {
      {"", "", "\n", 0},
      {"", "", "\xFF\n", 0},
      {"", send, "\"}}}}\n", size},
      {"exec cat >/dev/null", "", "\n", 0}};
  for (const auto& [script, begin, end, answer] : rows) {
    SCOPED_TRACE(script + begin + end);
    Service service({.script = script});
    // Almost all of it has been read when the write returns.
    service.write(begin + std::string(size, 'x') + end);
    EXPECT_EQ(readFrom(service.outputFd(), answer).size(), answer);
    EXPECT_TRUE(eventually([&] {
      const std::string pages =
          readFile("/proc/" + std::to_string(service.pid()) + "/statm").value();
      return std::stoul(pages.substr(pages.find(' '))) < (std::size_t{10} << 20U) / 4096;
    }));
  }
}

TEST(HostileEnvironment, relaysAllThatAnUnusuallyLargePipeHolds) {
  Service service({.script =
                       "echo $$ >&2; python3 -c 'import fcntl, os; "
                       "fcntl.fcntl(1, 1031, 1 << 20); os.write(1, bytes(1000000))'; exit 3"});
  ASSERT_TRUE(ends(service.readErrorLine()));
  service.expect(zeros(1'000'000) + exitReport(3));
}

// How to launch the service with faults, and with a script as its backend or none.
Launch withFaults(const std::string& script, const Environment& kind) {
  // Name and directory apart: in LD_PRELOAD a space ends a name.
  return {.script = script,
          .environment = kind,
          .setUp =
              "export LD_PRELOAD=" FAULT_LIBRARY_NAME " LD_LIBRARY_PATH='" FAULT_LIBRARY_DIRECTORY
              "' ASAN_OPTIONS=verify_asan_link_order=0",
          .executable = DYNAMIC_SERVICE_PATH};
}

// Goes on where it stopped when the tests are repeated in one process.
std::string nextSeed() {
  static int seed = 0;
  return std::to_string(++seed);
}

TEST(FaultInjection, losesNoByte) {
  std::vector<Exchange> exchanges(20, {std::string(20000, ' ') + connectRequest, connectEvents()});
  exchanges.front().output.insert(0, greeting);
  const std::string lines = std::string(300'000, 'x') + "\n" + connectRequest;
  // The pipes stay open, so nothing but the time wakes a service without a pidfd at the end.
  const std::string script =
      "sleep 1000 & head -n 2; printf diagnostic >&2; read end; head -c 100000 /dev/zero >&2; exit "
      "3";
  std::vector<std::pair<std::string, std::string>> faults;
  for (const char* const calls :
       {"syscall", "ioctl", "preadv2", "splice", "syscall ioctl preadv2 splice"}) {
    faults.emplace_back("FAULT_CALLS", calls);
  }
  for (int round = 0; round < 8; ++round) {
    faults.emplace_back("FAULT_SEED", nextSeed());
  }
  for (const auto& fault : faults) {
    expectEach(
        {{fault.second + ", stub", withFaults("", {fault}), exchanges},
         {fault.second + ", backend",
          withFaults(script, {fault}),
          {{lines, lines, "diagnostic"}, {"end\n", exitReport(3), zeros(100'000)}, takenOver()}}});
  }
}

TEST(FaultInjection, givesIdentifiersThatNoOtherServiceGives) {
  std::set<std::string> identifiers;
  for (const char* const failing : {"", "", "getentropy", "getentropy"}) {
    Service service(withFaults("", {{"FAULT_CALLS", failing}}));
    service.write(
        "{\"startListening\":{\"_0\":{\"platform\":\"whatsapp\","
        "\"scope\":{\"testOnly\":{\"title\":\"t\"}}}}}\n");
    service.expect(greeting);
    const std::string line = service.readLine();
    const std::string key = "\"messageId\":";
    ASSERT_NE(line.find(key), std::string::npos) << line;
    identifiers.insert(line.substr(line.find(key), key.size() + 38));
  }
  EXPECT_EQ(identifiers.size(), 4);
}

TEST(FaultInjection, fallsBackOrEndsInWordsWhenACallFails) {
  const auto failing = [](const std::string& script, const std::string& call, int spared) {
    return withFaults(script, {{"FAULT_CALLS", call}, {"FAULT_SPARED", std::to_string(spared)}});
  };
  const std::tuple<std::string, int, std::string> rows[] = {
      {"pipe2", 3, "Too many open files"},
      {"mkdir", 1, "No space left on device"},
      {"posix_spawn_file_actions_adddup2", 3, "Cannot allocate memory"},
      {"posix_spawn", 1, "Resource temporarily unavailable"}};
  for (const auto& [call, count, reason] : rows) {
    for (int spared = 0; spared < count; ++spared) {
      expectEach({{call + " after " + std::to_string(spared),
                   failing("exec cat", call, spared),
                   {{connectRequest, takeover, fallbackLine("$0", reason)}}}});
    }
  }
  const std::string noMemory = fatalLine("Cannot allocate memory");
  const std::string longLine = std::string(300'000, ' ') + connectRequest;
  expectEach({{"open", failing("", "open", 0), {{"", "", refusal}}, 64},
              {"mmap", failing("", "mmap", 0), {{"", "", noMemory}}, 1},
              {"mmap, backend", failing("exec cat", "mmap", 1), {{"", "", noMemory}}, 1},
              {"second mmap, backend", failing("exec cat", "mmap", 2), {{"", "", noMemory}}, 1},
              {"mremap", failing("", "mremap", 0), {{longLine, greeting, noMemory}}, 1}});
  const std::string asked =
      "trap 'touch \"$0.asked\"; exit' TERM; echo ready; while :; do sleep 0.01; done";
  Service service(failing(asked, "mremap", 0));
  service.expect("ready\n");
  expectExchange(service, {longLine, "", noMemory});
  service.expectEnd("", "", 1);
  EXPECT_TRUE(eventually([&] { return std::filesystem::exists(service.script(".asked")); }));
}

// The backend ends, the host writes and the host ends, in whatever order a seed makes of it.
TEST(FaultInjection, endsEveryRaceInOneOfTheKnownWays) {
  const std::vector<std::string> scripts{"exit 3", "read -r line; exit 3", "exec <&-; exit 3",
                                         "sleep 0.00$(($$ % 8)); exit 3"};
  for (int round = 0; round < 80; ++round) {
    const std::string seed = nextSeed();
    const std::string& script = scripts[static_cast<std::size_t>(round) % scripts.size()];
    SCOPED_TRACE(seed + ": " + script);
    Service service(withFaults(script, {{"FAULT_SEED", seed}}));
    const int lines = round / 4 % 5;
    std::string events = greeting;
    std::set<std::pair<std::string, std::string>> known{{"", ""}, {exitReport(3), ""}};
    for (int line = 0; line < lines; ++line) {
      service.write(connectRequest);
      known.insert({exitReport(3) + events, notRunningLine(service.script())});
      // One that closes its input first may take longer to end than is waited for.
      for (const bool isReported : {true, !script.starts_with("exec <&-")}) {
        known.insert(
            {(isReported ? exitReport(3) : "") + events, brokenPipeLine(service.script())});
      }
      events += connectEvents(" fallback");
    }
    service.closeInput();
    const std::string output = service.readRest();
    const std::string errors = service.readErrors();
    EXPECT_EQ(service.wait(), 0);
    EXPECT_TRUE(known.contains({output, errors})) << output << errors;
  }
}

}  // namespace

}  // namespace ferncrest::testing
