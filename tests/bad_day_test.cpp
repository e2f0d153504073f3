#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <memory>
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

// What a run gave away, to the last byte.
struct Result {
  int status;
  std::string output;
  std::string errors;
};

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

// One run of the service on a bad day, with a script as its backend or none.
class BadDay {
 public:
  BadDay(Environment kind, const std::string& script) {
    // Name and directory apart: in LD_PRELOAD a space ends a name.
    kind.insert({{"LD_PRELOAD", BAD_DAY_NAME},
                 {"LD_LIBRARY_PATH", BAD_DAY_DIRECTORY},
                 {"ASAN_OPTIONS", "verify_asan_link_order=0"},
                 {"BAD_DAY_REPORT", report_}});
    if (!script.empty()) {
      kind.emplace("FERNCREST_MANAGED_BRIDGE_BACKEND_PATH",
                   directory_.file("backend", "#!/bin/sh\n" + script + "\n", 0700));
    }
    service_ = std::make_unique<Service>(
        Service::Launch{.environment = kind, .executable = DYNAMIC_SERVICE_PATH});
  }

  Service* operator->() { return service_.get(); }
  [[nodiscard]] std::string backend() const { return directory_.path("backend"); }
  /// The call that failed, if one did.
  [[nodiscard]] std::string failedCall() const { return readFile(report_).value_or(""); }
  Result finish() {
    const int status = service_->finish();
    return {status, service_->readRest(), service_->readErrors()};
  }

 private:
  TemporaryDirectory directory_;
  std::string report_ = directory_.path("report");
  std::unique_ptr<Service> service_;
};

// Goes on where it stopped when the tests are repeated in one process.
int nextSeed() {
  static int seed = 0;
  return ++seed;
}

Environment seeded() {
  return {{"BAD_DAY_SEED", std::to_string(nextSeed())}};
}

constexpr int seeds = 8;

TEST(BadDay, losesNoByteOfTheStub) {
  for (int round = 0; round < seeds; ++round) {
    const Environment day = seeded();
    SCOPED_TRACE(day.at("BAD_DAY_SEED"));
    BadDay service(day, "");
    std::string requests;
    std::string events = greeting;
    for (int request = 0; request < 20; ++request) {
      requests += std::string(20000, ' ') + connectRequest;
      events += connectEvents();
    }
    service->write(requests);
    const auto [status, output, errors] = service.finish();
    EXPECT_EQ(status, 0);
    EXPECT_EQ(output, events);
    EXPECT_EQ(errors, "");
  }
}

TEST(BadDay, losesNoByteOfTheBackendOrOfTheStubAfterIt) {
  const std::string block(300'000, 'x');
  for (int round = 0; round < seeds; ++round) {
    const Environment day = seeded();
    SCOPED_TRACE(day.at("BAD_DAY_SEED"));
    BadDay service(day, "head -n 2; printf diagnostic >&2; head -c 100000 /dev/zero; exit 3");
    service->write(block + "\n" + connectRequest);
    const std::string expected =
        block + "\n" + connectRequest + std::string(100'000, '\0') + exitReport(3);
    EXPECT_TRUE(service->readBytes(expected.size()) == expected);
    service->write("not delivered\n" + connectRequest);
    const auto [status, output, errors] = service.finish();
    EXPECT_EQ(status, 0);
    EXPECT_EQ(output, greeting + connectEvents(" fallback"));
    EXPECT_EQ(errors, "diagnostic" + notRunningLine(service.backend()));
  }
}

TEST(BadDay, servesInASandboxThatRefusesCalls) {
  for (const std::string refused :
       {"pidfd_open", "ioctl", "preadv2", "splice", "pidfd_open ioctl preadv2 splice"}) {
    SCOPED_TRACE(refused);
    BadDay service({{"BAD_DAY_REFUSES", refused}},
                   "sleep 1000 & echo $!; head -n 1; head -c 100000 /dev/zero; exit 3");
    const Guest heir(service->readLine());
    service->write(connectRequest);
    const std::string expected = connectRequest + std::string(100'000, '\0') + exitReport(3);
    EXPECT_TRUE(service->readBytes(expected.size()) == expected);
    service->write("not delivered\n" + connectRequest);
    EXPECT_EQ(service->readBytes(takeover.size()), takeover);
    EXPECT_EQ(service->readErrorLine(), notRunningLine(service.backend()));
    service->closeInput();
    EXPECT_EQ(service->wait(), 0);
  }
}

// Runs the conversation with the first, second, ... call failing until none is left to fail.
void failEachCall(const std::string& script, const std::function<Result(BadDay&)>& converse,
                  const std::string& delegated, const std::string& stub) {
  const std::string firstWords = delegated.substr(0, delegated.find('\n') + 1);
  std::string failed = "none";
  for (int call = 1; !failed.empty(); ++call) {
    Environment day = seeded();
    day.emplace("BAD_DAY_FAILS", std::to_string(call));
    BadDay service(day, script);
    const auto [status, output, errors] = converse(service);
    failed = service.failedCall();
    SCOPED_TRACE(day.at("BAD_DAY_SEED") + ": " + failed + ", call " + std::to_string(call) + "\n" +
                 output + errors);
    const bool isRefused = status == 64 && output.empty() && errors == refusal;
    const bool fatal = status == 1 && errors.starts_with("[BridgeService] fatal error: ") &&
                       errors.find('\n') == errors.size() - 1 &&
                       (output.empty() || output.ends_with('\n')) &&
                       (stub.starts_with(output) || delegated.starts_with(output));
    // Words of the backend may have gone before it was found that it cannot be kept.
    const bool fellBack = !delegated.empty() && status == 0 &&
                          (output == stub || output == firstWords + stub) &&
                          errors.starts_with(fallbackLine("", "").substr(0, 40)) &&
                          errors.find('\n') == errors.size() - 1;
    const bool asEver =
        status == 0 && output == (delegated.empty() ? stub : delegated) && errors.empty();
    EXPECT_TRUE(failed.empty() ? asEver : isRefused || fatal || fellBack || asEver);
    EXPECT_TRUE(eventually([&] { return !runs(service.backend()); }));
    ASSERT_LT(call, 200);
  }
}

TEST(BadDay, endsAsItShouldWhicheverCallFails) {
  const std::string request =
      "{\"sendMessage\":{\"_0\":{\"platform\":\"whatsapp\",\"message\":"
      "{\"conversationId\":\"c\",\"text\":\"t\"}}}}\n";
  const std::string requests = std::string(300'000, ' ') + connectRequest + request;
  const auto askTheStub = [&](BadDay& service) {
    service->tryWrite(requests);
    Result result = service.finish();
    result.output = withoutIds(result.output);
    return result;
  };
  failEachCall("", askTheStub, "", greeting + connectEvents() + "an answer\n");

  const auto askTheBackend = [&](BadDay& service) {
    std::string output = service->readLine();
    service->tryWrite(std::string(300'000, ' ') + connectRequest);
    output += service->readLine();
    output += service->readLine();
    Result result = service.finish();
    return Result{result.status, output + result.output, result.errors};
  };
  failEachCall(
      "trap '' PIPE; exec 2>/dev/null; echo ready; read -r line && echo \"$line\" && echo more; "
      "while [ -e \"$0\" ]; do sleep 0.02; done",
      askTheBackend, "ready\n" + connectRequest + "more\n", greeting + connectEvents(" fallback"));
}

// The backend ends, the host writes and the host ends, in whatever order a seed makes of it.
TEST(BadDay, endsEveryRaceInOneOfTheKnownWays) {
  const std::vector<std::string> scripts{"exit 3", "read -r line; exit 3", "exec <&-; exit 3",
                                         "sleep 0.00$(($$ % 8)); exit 3"};
  for (int round = 0; round < 10 * seeds; ++round) {
    const Environment day = seeded();
    const std::string& script = scripts[static_cast<std::size_t>(round) % scripts.size()];
    SCOPED_TRACE(day.at("BAD_DAY_SEED") + ": " + script);
    BadDay service(day, script);
    const int lines = round / 4 % 5;
    for (int line = 0; line < lines; ++line) {
      service->tryWrite(connectRequest);
    }
    const auto [status, output, errors] = service.finish();
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
    EXPECT_EQ(status, 0);
    if (!fellBack) {
      EXPECT_EQ(errors, "");
      continue;
    }
    // One that closes its input first may take longer to end than is waited for.
    EXPECT_TRUE(reported || script.starts_with("exec <&-")) << output;
    EXPECT_TRUE(errors == brokenPipeLine(service.backend()) ||
                (reported && errors == notRunningLine(service.backend())))
        << errors;
  }
}

}  // namespace

}  // namespace ferncrest::testing
