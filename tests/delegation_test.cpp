#include <gtest/gtest.h>
#include <poll.h>
#include <sys/times.h>

#include <chrono>
#include <csignal>
#include <ctime>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "conversation.h"
#include "platform/files.h"
#include "process.h"

// The real program with small scripts as backends.

namespace ferncrest::testing {

namespace {

TEST(Delegation, relaysEveryByteAndFallsBackToTheStub) {
  std::vector<Scenario> scenarios{
      {"every byte",
       {.script = "printf 'no end of line'; printf 'diag\\0nostic' >&2; exec cat"},
       {{"", "no end of line", {"diag\0nostic", 11}},
        {" \t{\"x\": 1} \r\n\n  \r\n\xFF\xE2\x82\n", "{\"x\": 1}\n\xEF\xBF\xBD\xEF\xBF\xBD\n"}}},
      {"an input that cannot be read", {.script = "exec cat", .setUp = "exec 0>&1"}, {}},
      // It was asked to end, so that is not reported.
      {"every stream closed",
       {.script = "exec <&-; echo closed; exec >&- 2>&-; exec sleep 1000"},
       {{"", "closed\n"}, takenOver(brokenPipeLine())}},
      {"no data directory",
       {.environment = {{"FERNCREST_MANAGED_BRIDGE_BACKEND_PATH", "/bin/cat"},
                        {"FERNCREST_MANAGED_BRIDGE_DATA_DIR", "/dev/null/data"}}},
       {{"{\"startListening\":{\"_0\":{\"platform\":\"whatsapp\","
         "\"scope\":{\"thread\":{\"id\":\"1\"}}}}}\n",
         greeting +
             "{\"error\":{\"_0\":{\"message\":\"Managed bridge backend is unavailable for "
             "'Thread': Delegated backend launch failed at \\/bin\\/cat: Not a directory\"}}}\n",
         fallbackLine("/bin/cat", "Not a directory")}}}};
  const std::tuple<const char*, std::string, int> endings[] = {
      {"exit 3", "", 3},
      {"printf 'a\\nhalf a line'; exit 0", "a\nhalf a line", 0},
      {"kill -9 $$", "", 9},
      {"head -c 60000 /dev/zero; exit 255", zeros(60000), 255},
      {"exec >&-; exit 4", "", 4},
      {"exec 2>&- >&- <&-; exit 5", "", 5},
      {"exec 3<&0; cat <&3 & exit 6", "", 6},  // holds every stream open
  };
  for (const auto& [script, lastWords, status] : endings) {
    scenarios.push_back(
        {script, {.script = script}, {{"", lastWords + exitReport(status)}, takenOver()}});
  }
  expectEach(scenarios);
}

TEST(Delegation, stopsRelayingWhatAGrandchildGoesOnWriting) {
  Service service({.script = "echo $$ >&2; yes & read end; exit 3"});
  ASSERT_TRUE(eventually([&] { return bytesIn(service.outputFd()) > 60000; }));
  service.write("end\n");
  ASSERT_TRUE(ends(service.readErrorLine()));
  service.closeInput();
  // The pipes stay full from here on, since they are emptied in small pieces.
  std::string output;
  for (std::string piece = "first"; !piece.empty() && output.size() < 400'000; output += piece) {
    piece = readPiece(service.outputFd(), 64);
  }
  EXPECT_TRUE(output.ends_with(exitReport(3))) << output.size();
}

// In clock ticks, hundredths of a second.
std::clock_t processorTimeOfChildren() {
  tms used{};
  ::times(&used);
  return used.tms_cutime + used.tms_cstime;
}

TEST(Delegation, endsInBoundedTimeThoughTheHostReadsNothing) {
  for (const std::string stream : {"", " >&2"}) {
    const std::clock_t usedBefore = processorTimeOfChildren();
    Service service({.script = "exec head -c 1000000 /dev/zero" + stream});
    const int full = stream.empty() ? service.outputFd() : service.errorsFd();
    ASSERT_TRUE(eventually([&] { return bytesIn(full) > 60000; }));
    const auto begin = std::chrono::steady_clock::now();
    service.closeInput();
    EXPECT_EQ(service.wait(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(15));
    EXPECT_LT(processorTimeOfChildren() - usedBefore, 30) << "it tries again and again";
  }
}

TEST(Delegation, endsThoughTheBackendDoesNot) {
  for (const std::string script : {"while :; do sleep 0.01; done", "exec yes"}) {
    Service service({.script = "trap '' TERM; echo ready >&2; " + script});
    service.expectErrors("ready\n");
    service.closeInput();
    EXPECT_LT(service.readRest().size(), 1'000'000U);
    EXPECT_EQ(service.wait(), 0);
  }
}

TEST(Delegation, tellsEverythingInOrderToAHostThatReadsLate) {
  // The first is waited for as long as it takes, longer than any host is at the end. The second
  // leaves no room for the report before the host reads.
  const std::tuple<std::size_t, Exchange, int> rows[] = {{120000, takenOver(), 2500},
                                                         {65500, {}, 0}};
  for (const auto& [count, last, silentMilliseconds] : rows) {
    Service service(
        {.script = "echo $$ >&2; head -c " + std::to_string(count) + " /dev/zero; exit 3"});
    ASSERT_TRUE(ends(service.readErrorLine()));
    service.write(last.requests);
    service.closeInput();
    pollfd diagnostics{.fd = service.errorsFd(), .events = POLLIN, .revents = 0};
    EXPECT_EQ(::poll(&diagnostics, 1, silentMilliseconds), 0);
    service.expectEnd(zeros(count) + exitReport(3) + last.output, last.errors);
  }
}

TEST(Delegation, keepsEachStreamGoingWhileAnotherIsFull) {
  const std::string fill = "head -c 1000000 /dev/zero";
  Service output({.script = fill + " & exec cat >&2"});
  expectExchange(output, {"still forwarded\n", "", "still forwarded\n"});

  Service errors({.script = fill + " >&2 & exec cat"});
  expectExchange(errors, {"still forwarded\n", "still forwarded\n"});

  Service closed({.script = "read go; " + fill + " && echo done >&2"});
  closed.closeOutput();
  expectExchange(closed, {"go\n", "", "done\n"});
}

TEST(Delegation, reportsAnEndSoonAfterAFailedWriteAndNoneThatItAskedFor) {
  // The backend's end may take longer than it is waited for, but not each time.
  bool isReported = false;
  for (int round = 0; round < 20 && !isReported; ++round) {
    Service service({.script = "exec <&-; echo closed; sleep 0.02; exit 3"});
    service.expect("closed\n");
    service.write("not delivered\n");
    isReported = service.readLine().contains("exited unexpectedly with status 3.");
  }
  EXPECT_TRUE(isReported);

  Service service({.script = "exec <&-; echo $$ >&2; head -c 100000 /dev/zero; exec sleep 1000"});
  ASSERT_TRUE(eventually([&] { return bytesIn(service.outputFd()) > 60000; }));
  service.write("not delivered\n" + connectRequest);
  ASSERT_TRUE(ends(service.readErrorLine()));
  service.expectEnd(zeros(100000) + takeover, brokenPipeLine());
}

TEST(Delegation, givesTheSameReasonForAFailedWriteEachTime) {
  const std::pair<std::string, std::string> rows[] = {
      {"", brokenPipeLine()},
      // Another process keeps the pipe open and never reads.
      {"exec 3<&0; sleep 1000 <&3 >&- 2>&- & ", notRunningLine()}};
  for (const auto& [heir, errors] : rows) {
    for (int round = 0; round < 10; ++round) {
      Service service({.script = heir + "echo $$; head -c 1; exec sleep 1000"});
      const std::string backend = service.readLine();
      // What was passed back shows that the write is under way, and its pipe is smaller than the
      // line.
      expectExchange(service, {std::string(700'000, 'x') + "\n", "x"});
      ::kill(std::stoi(backend), SIGKILL);
      service.expect(exitReport(9));
      expectExchange(service, {connectRequest, takeover, errors});
      service.expectEnd("");
    }
  }
}

TEST(Delegation, relaysToAFileThatOnlyGrows) {
  const TemporaryDirectory directory;
  const std::string log = directory.file("log", "before\n");
  expectEach({{"",
               {.script = "echo one; head -c 1000000 /dev/zero; echo two; echo done >&2; read end",
                .setUp = "exec >>'" + log + "'"},
               {{"", "", "done\n"}}}});
  EXPECT_TRUE(readFile(log) == "before\none\n" + zeros(1000000) + "two\n");
}

TEST(Delegation, startsTheBackendCleanWhateverTheHostDid) {
  const std::string script =
      "echo \"$@\" $FERNCREST_MANAGED_BRIDGE_PLATFORM; exec 2>/dev/null\n"
      "for signal in HUP INT QUIT PIPE ALRM TERM USR1; do\n"
      "  sh -c \"kill -$signal \\$\\$; echo $signal is ignored\"\n"
      "done\n"
      "for fd in 3 4 5 6 7 8 9; do (: <&$fd) && echo $fd is open; done; exit 8";
  // A shell may unblock signals.
  const std::string blocked =
      "#!/usr/bin/env python3\nfrom signal import *\nprint(pthread_sigmask(SIG_BLOCK, []))";
  const std::string setUp = "exec 9<&0; " + noSignals;
  expectEach({{"ignored, open",
               {.script = script, .setUp = setUp},
               {{"", "--stdio --platform whatsapp whatsapp\n" + exitReport(8)}}},
              {"blocked", {.script = blocked, .setUp = setUp}, {{"", "set()\n" + exitReport(0)}}}});
}

}  // namespace

}  // namespace ferncrest::testing
