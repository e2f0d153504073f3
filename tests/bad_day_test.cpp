#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <regex>
#include <string>
#include <string_view>
#include <vector>

#include "conversation.h"
#include "platform/files.h"
#include "process.h"

// Whole conversations while the system under the service has a bad day: see bad_day.cpp.

namespace ferncrest::testing {

namespace {

// Whether a process runs that was started with this path.
bool runs(const std::string& path) {
  for (const auto& process : std::filesystem::directory_iterator("/proc")) {
    if (readFile(process.path() / "cmdline").value_or("").contains(path)) {
      return true;
    }
  }
  return false;
}

// Ids and times differ from run to run, and no randomness is reported in the place of an id.
std::string withoutIds(const std::string& output) {
  return std::regex_replace(
      output, std::regex("\\{\"inboundEvent\".*|.*\"Input\\\\/output error\".*"), "an answer");
}

// How to launch the service on a bad day, with a script as its backend or none.
Service::Launch badDay(Environment kind, const std::string& script) {
  // Name and directory apart: in LD_PRELOAD a space ends a name.
  kind.insert({{"LD_PRELOAD", BAD_DAY_NAME},
               {"LD_LIBRARY_PATH", BAD_DAY_DIRECTORY},
               {"ASAN_OPTIONS", "verify_asan_link_order=0"}});
  return {.script = script, .environment = kind, .executable = DYNAMIC_SERVICE_PATH};
}

// Goes on where it stopped when the tests are repeated in one process.
std::string nextSeed() {
  static int seed = 0;
  return std::to_string(++seed);
}

constexpr int seeds = 8;

TEST(BadDay, losesNoByteOfTheStub) {
  for (int round = 0; round < seeds; ++round) {
    const std::string seed = nextSeed();
    SCOPED_TRACE(seed);
    Service service(badDay({{"BAD_DAY_SEED", seed}}, ""));
    std::string requests;
    std::string events = greeting;
    for (int request = 0; request < 20; ++request) {
      requests += std::string(20000, ' ') + connectRequest;
      events += connectEvents();
    }
    service.write(requests);
    service.expectEnd(events);
  }
}

TEST(BadDay, losesNoByteOfTheBackendOrOfTheStubAfterIt) {
  const std::string lines = std::string(300'000, 'x') + "\n" + connectRequest;
  for (int round = 0; round < seeds; ++round) {
    const std::string seed = nextSeed();
    SCOPED_TRACE(seed);
    Service service(badDay({{"BAD_DAY_SEED", seed}},
                           "head -n 2; printf diagnostic >&2; head -c 100000 /dev/zero; exit 3"));
    service.write(lines);
    service.expect(lines + std::string(100'000, '\0') + exitReport(3));
    expectTakeover(service);
    service.expectEnd("", "diagnostic" + notRunningLine(service.script()));
  }
}

TEST(BadDay, servesInASandboxThatRefusesCalls) {
  for (const std::string refused :
       {"pidfd_open", "ioctl", "preadv2", "splice", "pidfd_open ioctl preadv2 splice"}) {
    SCOPED_TRACE(refused);
    Service service(
        badDay({{"BAD_DAY_REFUSES", refused}},
               "sleep 1000 & echo $!; head -n 1; head -c 100000 /dev/zero; read end; exit 3"));
    const Guest heir(service.readLine());
    service.write(connectRequest);
    service.expect(connectRequest + std::string(100'000, '\0'));
    service.write("end\n");  // after which nothing but the time wakes a service without a pidfd
    service.expect(exitReport(3));
    expectTakeover(service);
    service.expectErrors(notRunningLine(service.script()));
    service.closeInput();
    EXPECT_EQ(service.wait(), 0);
  }
}

// Runs a conversation, a line a step, with the first, second, ... call failing until none is left
// to fail.
void failEachCall(const std::string& script, const std::string& requests,
                  const std::string& delegated, const std::string& stub) {
  const std::string firstWords = delegated.substr(0, delegated.find('\n') + 1);
  const auto isOneLine = [](const std::string& text, const std::string& begin) {
    return text.starts_with(begin) && text.find('\n') == text.size() - 1;
  };
  std::string failed = "none";
  for (int call = 1; !failed.empty(); ++call) {
    const TemporaryDirectory directory;
    const std::string seed = nextSeed();
    Service service(badDay({{"BAD_DAY_SEED", seed},
                            {"BAD_DAY_FAILS", std::to_string(call)},
                            {"BAD_DAY_REPORT", directory.path("report")}},
                           script));
    std::string output = delegated.empty() ? "" : service.readLine();
    service.write(requests);
    for (int line = 0; line < (delegated.empty() ? 0 : 2); ++line) {
      output += service.readLine();
    }
    service.closeInput();
    output = withoutIds(output + service.readRest());
    const std::string errors = service.readErrors();
    const int status = service.wait();
    failed = readFile(directory.path("report")).value_or("");
    SCOPED_TRACE(seed + ": " + failed + ", call " + std::to_string(call) + "\n" + output + errors);
    const bool isRefused = status == 64 && output.empty() && errors == refusal;
    const bool isFatal = status == 1 && isOneLine(errors, "[BridgeService] fatal error: ") &&
                         (output.empty() || output.ends_with('\n')) &&
                         (stub.starts_with(output) || delegated.starts_with(output));
    // Words of the backend may have gone before it was found that it cannot be kept.
    const bool fellBack = !delegated.empty() && status == 0 &&
                          (output == stub || output == firstWords + stub) &&
                          isOneLine(errors, fallbackLine("", "").substr(0, 40));
    const bool isAsEver =
        status == 0 && output == (delegated.empty() ? stub : delegated) && errors.empty();
    EXPECT_TRUE(isAsEver || (!failed.empty() && (isRefused || isFatal || fellBack)));
    EXPECT_TRUE(eventually([&] { return !runs(service.script()); }));
    ASSERT_LT(call, 200);
  }
}

TEST(BadDay, endsAsItShouldWhicheverCallFails) {
  const std::string requests = std::string(300'000, ' ') + connectRequest;
  failEachCall("",
               requests +
                   "{\"sendMessage\":{\"_0\":{\"platform\":\"whatsapp\",\"message\":"
                   "{\"conversationId\":\"c\",\"text\":\"t\"}}}}\n",
               "", greeting + connectEvents() + "an answer\n");
  failEachCall(
      "trap '' PIPE; exec 2>/dev/null; echo ready; read -r line && echo \"$line\" && echo more; "
      "while [ -e \"$0\" ]; do sleep 0.02; done",
      requests, "ready\n" + connectRequest + "more\n", takeover);
}

// The backend ends, the host writes and the host ends, in whatever order a seed makes of it.
TEST(BadDay, endsEveryRaceInOneOfTheKnownWays) {
  const std::vector<std::string> scripts{"exit 3", "read -r line; exit 3", "exec <&-; exit 3",
                                         "sleep 0.00$(($$ % 8)); exit 3"};
  for (int round = 0; round < 10 * seeds; ++round) {
    const std::string seed = nextSeed();
    const std::string& script = scripts[static_cast<std::size_t>(round) % scripts.size()];
    SCOPED_TRACE(seed + ": " + script);
    Service service(badDay({{"BAD_DAY_SEED", seed}}, script));
    const int lines = round / 4 % 5;
    for (int line = 0; line < lines; ++line) {
      service.write(connectRequest);
    }
    service.closeInput();
    const std::string output = service.readRest();
    const std::string errors = service.readErrors();
    EXPECT_EQ(service.wait(), 0);
    std::string_view rest = output;
    const auto take = [&rest](const std::string& part) {
      const bool found = rest.starts_with(part);
      rest.remove_prefix(found ? part.size() : 0);
      return found;
    };
    const bool reported = take(exitReport(3));
    const bool fellBack = take(greeting);
    int answers = 0;
    while (take(connectEvents(" fallback"))) {
      ++answers;
    }
    EXPECT_TRUE(rest.empty() && answers < std::max(lines, 1)) << output;
    // One that closes its input first may take longer to end than is waited for.
    const bool isExplained = !fellBack || reported || script.starts_with("exec <&-");
    EXPECT_TRUE(isExplained &&
                (fellBack ? errors == brokenPipeLine(service.script()) ||
                                (reported && errors == notRunningLine(service.script()))
                          : errors.empty()))
        << output << errors;
  }
}

}  // namespace

}  // namespace ferncrest::testing
