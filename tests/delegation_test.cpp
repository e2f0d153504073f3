#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>
#include <tuple>

#include "conversation.h"
#include "platform/files.h"
#include "process.h"

// The real program with small scripts as backends.

namespace ferncrest::testing {

namespace {

TEST(Delegation, forwardsTrimmedLinesAndRelaysEveryByte) {
  Service service({.script = "printf 'no end of line'; printf 'diag\\0nostic' >&2; exec cat"});
  service.expect("no end of line");
  service.write(" \t{\"x\": 1} \r\n\n  \r\n\xFF\xE2\x82\n");
  service.expect("{\"x\": 1}\n\xEF\xBF\xBD\xEF\xBF\xBD\n");
  service.expectEnd("", {"diag\0nostic", 11});
}

TEST(Delegation, endsSilentlyWithTheInput) {
  Service service(
      {.script =
           "trap 'touch \"$0.asked\"; exit 7' TERM; echo ready; while :; do sleep 0.01; done"});
  service.expect("ready\n");
  service.expectEnd("");
  EXPECT_TRUE(eventually([&] { return std::filesystem::exists(service.script(".asked")); }));
}

TEST(Delegation, reportsAnUnexpectedEndAndLetsTheStubTakeOver) {
  const std::tuple<const char*, std::string, int> endings[] = {
      {"exit 3", "", 3},
      {"printf 'a\\nhalf a line'; exit 0", "a\nhalf a line", 0},
      {"kill -9 $$", "", 9},
      {"head -c 60000 /dev/zero; exit 255", std::string(60000, '\0'), 255},
      {"exec >&-; exit 4", "", 4},
      {"exec 2>&- >&- <&-; exit 5", "", 5},
      {"exec 3<&0; cat <&3 & exit 6", "", 6},  // holds every stream open
  };
  for (const auto& [script, lastWords, status] : endings) {
    SCOPED_TRACE(script);
    Service service({.script = script});
    service.expect(lastWords + exitReport(status));
    expectTakeover(service);
    service.expectEnd("", notRunningLine(service.script()));
  }
}

TEST(Delegation, relaysNotForEverWhatAGrandchildGoesOnWriting) {
  Service service({.script = "echo $$ >&2; yes & read end; exit 3"});
  const std::string backend = service.readErrorLine();
  ASSERT_TRUE(eventually([&] { return bytesIn(service.outputFd()) > 60000; }));
  service.write("end\n");
  ASSERT_TRUE(ends(backend));
  service.closeInput();
  // The pipes stay full from here on, since they are emptied in small pieces.
  std::string output;
  for (std::string piece = "first"; !piece.empty() && output.size() < 400'000; output += piece) {
    piece = service.readPiece(64);
  }
  EXPECT_TRUE(output.ends_with(exitReport(3))) << output.size();
}

TEST(Delegation, leavesALineThatWaitsForAReaderThatNeverReads) {
  Service service(
      {.script = "exec 3<&0; sleep 1000 <&3 >&- 2>&- & echo $!; echo $$; exec sleep 1000",
       .keepsStreams = true});
  const Guest heirOfTheInput(service.readLine());
  Guest backend(service.readLine());
  // The first line fills the pipe, so the second one has to wait; it is under way once the service
  // has read it.
  service.write(std::string(200000, 'x') + "\n" + std::string(200000, 'y') + "\n");
  ASSERT_TRUE(eventually([&] { return bytesIn(service.kept(0)) == 0; }));
  backend.end();
  service.expect(exitReport(9));
  service.write(connectRequest);
  service.expect(takeover);
  service.expectErrors(notRunningLine(service.script()));
  service.closeInput();
  EXPECT_EQ(service.wait(), 0);
}

TEST(Delegation, endsInBoundedTimeThoughTheHostReadsNothing) {
  for (const std::string stream : {"", " >&2"}) {
    Service service({.script = "exec head -c 1000000 /dev/zero" + stream});
    const int full = stream.empty() ? service.outputFd() : service.errorsFd();
    ASSERT_TRUE(eventually([&] { return bytesIn(full) > 60000; }));
    const auto begin = std::chrono::steady_clock::now();
    service.closeInput();
    EXPECT_EQ(service.wait(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(15));
    EXPECT_LT(service.processorSeconds(), 0.3) << "it does not wait but tries again and again";
  }
}

TEST(Delegation, endsThoughTheBackendDoesNot) {
  for (const std::string script : {"while :; do sleep 0.01; done", "exec yes"}) {
    Service service({.script = "trap '' TERM; echo $$ >&2; " + script});
    const Guest backend(service.readErrorLine());
    service.closeInput();
    EXPECT_LT(service.readRest().size(), 1'000'000U);
    EXPECT_EQ(service.wait(), 0);
  }
}

TEST(Delegation, tellsEverythingInOrderToAHostThatReadsLate) {
  // The second one leaves no room for the report before the host reads.
  for (const std::string count : {"120000", "65500"}) {
    Service service({.script = "echo $$ >&2; head -c " + count + " /dev/zero; exit 3"});
    ASSERT_TRUE(ends(service.readErrorLine()));
    const bool isTakenOver = count == "120000";
    service.write(isTakenOver ? "not delivered\n" + connectRequest : "");
    service.closeInput();
    // Longer than a host is waited for at the end: here it is waited for as long as it takes.
    pollfd diagnostics{.fd = service.errorsFd(), .events = POLLIN, .revents = 0};
    EXPECT_EQ(::poll(&diagnostics, 1, isTakenOver ? 2500 : 0), 0);
    service.expectEnd(
        std::string(std::stoul(count), '\0') + exitReport(3) + (isTakenOver ? takeover : ""),
        isTakenOver ? notRunningLine(service.script()) : "");
  }
}

TEST(Delegation, relaysWhatWasWrittenBeforeTheInputEnded) {
  Service service({.script = "head -c 120000 /dev/zero; echo done >&2; exec sleep 1000"});
  // Both pipes on the way hold the bytes: the backend got rid of them, and nobody has read any.
  service.expectErrors("done\n");
  service.expectEnd(std::string(120000, '\0'));
}

TEST(Delegation, keepsEachStreamGoingWhileAnotherIsFull) {
  const std::string zeros = "head -c 1000000 /dev/zero";
  const std::string line = "still forwarded\n";
  Service output({.script = zeros + " & exec cat >&2"});
  output.write(line);
  output.expectErrors(line);

  Service errors({.script = zeros + " >&2 & exec cat"});
  errors.write(line);
  errors.expect(line);

  Service ended({.script = zeros + " >&2 & read line; kill $!; exit 3"});
  ended.write("end\n");
  ended.expect(exitReport(3));
  expectTakeover(ended);

  Service closed({.script = "read go; " + zeros + " && echo done >&2"});
  closed.closeOutput();
  closed.write("go\n");
  closed.expectErrors("done\n");
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
  const std::string backend = service.readErrorLine();
  ASSERT_TRUE(eventually([&] { return bytesIn(service.outputFd()) > 60000; }));
  service.write("not delivered\n" + connectRequest);
  ASSERT_TRUE(ends(backend));
  service.expectEnd(std::string(100000, '\0') + takeover, brokenPipeLine(service.script()));
}

TEST(Delegation, relaysToAFileThatOnlyGrows) {
  const TemporaryDirectory directory;
  const std::string log = directory.file("log", "before\n");
  Service service(
      {.script = "echo one; head -c 1000000 /dev/zero; echo two; echo done >&2; read end",
       .inChild = [&] { ::dup2(::open(log.c_str(), O_WRONLY | O_APPEND), 1); }});
  service.expectErrors("done\n");
  service.expectEnd("");
  EXPECT_TRUE(readFile(log) == "before\none\n" + std::string(1000000, '\0') + "two\n");
}

TEST(Delegation, startsTheBackendCleanWhateverTheHostDid) {
  const auto spoil = [] {
    for (const int signal : {SIGCHLD, SIGPIPE, SIGTERM, SIGINT}) {
      ::signal(signal, SIG_IGN);
    }
    sigset_t all;
    sigfillset(&all);
    sigprocmask(SIG_BLOCK, &all, nullptr);
    ::dup2(0, 9);
  };
  Service service({.environment = {{"FERNCREST_MANAGED_BRIDGE_BACKEND_PATH", INSPECTOR_PATH}},
                   .inChild = spoil});
  service.expect("arguments: --stdio --platform whatsapp\nplatform: whatsapp\n" + exitReport(8));
}

TEST(Delegation, fallsBackWhenTheDataDirectoryCannotBeMade) {
  const TemporaryDirectory directory;
  const std::string file = directory.file("file", "");
  Service service({.environment = {{"FERNCREST_MANAGED_BRIDGE_BACKEND_PATH", "/bin/cat"},
                                   {"FERNCREST_MANAGED_BRIDGE_DATA_DIR", file + "/data"}}});
  service.write(
      "{\"startListening\":{\"_0\":{\"platform\":\"whatsapp\","
      "\"scope\":{\"thread\":{\"id\":\"1\"}}}}}\n");
  service.expectEnd(
      greeting +
          "{\"error\":{\"_0\":{\"message\":\"Managed bridge backend is unavailable for "
          "'Thread': Delegated backend launch failed at \\/bin\\/cat: Not a directory\"}}}\n",
      fallbackLine("/bin/cat", "Not a directory"));
}

}  // namespace

}  // namespace ferncrest::testing
