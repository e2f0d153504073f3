#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <tuple>
#include <utility>

#include "conversation.h"
#include "process.h"

// The real program with small scripts as backends.

namespace ferncrest::testing {

namespace {

TEST(Delegation, forwardsTrimmedLinesAndRelaysEveryByte) {
  DelegatedService service("printf 'no end of line'; printf 'diag\\0nostic' >&2; exec cat");
  EXPECT_EQ(service->readBytes(14), "no end of line");
  service->write(" \t{\"x\": 1} \r\n\n  \r\n\xFF\xE2\x82\n");
  EXPECT_EQ(service->readBytes(16), "{\"x\": 1}\n\xEF\xBF\xBD\xEF\xBF\xBD\n");
  EXPECT_EQ(service->finish(), 0);
  EXPECT_EQ(service->readErrors(), std::string("diag\0nostic", 11));
}

TEST(Delegation, endsSilentlyWithTheInput) {
  DelegatedService service(
      "trap 'touch \"$0.asked\"; exit 7' TERM; echo ready; while :; do sleep 0.01; done");
  EXPECT_EQ(service->readLine(), "ready\n");
  EXPECT_EQ(service->finish(), 0);
  EXPECT_TRUE(eventually([&] { return std::filesystem::exists(service.path() + ".asked"); }));
  EXPECT_EQ(service->readRest(), "");
  EXPECT_EQ(service->readErrors(), "");
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
    DelegatedService service(script);
    const std::string expected = lastWords + exitReport(status);
    EXPECT_EQ(service->readBytes(expected.size()), expected);
    service->write("not delivered\n" + connectRequest);
    EXPECT_EQ(service->finish(), 0);
    EXPECT_EQ(service->readRest(), takeover);
    EXPECT_EQ(service->readErrors(), notRunningLine(service.path()));
  }
}

TEST(Delegation, relaysNotForEverWhatAGrandchildGoesOnWriting) {
  DelegatedService service("echo $$ >&2; yes & read end; exit 3");
  const pid_t backend = std::stoi(service->readErrorLine());
  ASSERT_TRUE(eventually([&] { return bytesIn(service->outputFd()) > 60000; }));
  service->write("end\n");
  ASSERT_TRUE(eventually([&] { return !exists(backend); }));
  service->closeInput();
  // The pipes stay full from here on, since they are emptied in small pieces.
  std::string output;
  std::array<char, 64> piece{};
  for (ssize_t count = 1; count > 0 && output.size() < 400'000;) {
    count = ::read(service->outputFd(), piece.data(), piece.size());
    output.append(piece.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  }
  EXPECT_TRUE(output.ends_with(exitReport(3))) << output.size();
}

TEST(Delegation, leavesALineThatWaitsForAReaderThatNeverReads) {
  DelegatedService service("exec 3<&0; sleep 1000 <&3 >&- 2>&- & echo $!; echo $$; exec sleep 1000",
                           {.keepsStreams = true});
  const Guest heirOfTheInput(service->readLine());
  Guest backend(service->readLine());
  // The first line fills the pipe, so the second one has to wait; it is under way once the service
  // has read it.
  service->write(std::string(200000, 'x') + "\n" + std::string(200000, 'y') + "\n");
  ASSERT_TRUE(eventually([&] { return service->unreadInput() == 0; }));
  backend.end();
  EXPECT_EQ(service->readBytes(exitReport(9).size()), exitReport(9));
  service->write(connectRequest);
  EXPECT_EQ(service->readBytes(takeover.size()), takeover);
  EXPECT_EQ(service->readErrorLine(), notRunningLine(service.path()));
  EXPECT_EQ(service->finish(), 0);
}

TEST(Delegation, endsInBoundedTimeThoughTheHostReadsNothing) {
  for (const std::string stream : {"", " >&2"}) {
    DelegatedService service("exec head -c 1000000 /dev/zero" + stream);
    const int full = stream.empty() ? service->outputFd() : service->errorsFd();
    ASSERT_TRUE(eventually([&] { return bytesIn(full) > 60000; }));
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(service->finish(), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(15));
    EXPECT_LT(service->processorSeconds(), 0.3) << "it does not wait but tries again and again";
  }
}

TEST(Delegation, endsThoughTheBackendDoesNot) {
  DelegatedService idle("trap '' TERM; echo $$; while :; do sleep 0.01; done");
  const Guest idleBackend(idle->readLine());
  EXPECT_EQ(idle->finish(), 0);

  DelegatedService busy("trap '' TERM; echo $$ >&2; exec yes");
  const Guest busyBackend(busy->readErrorLine());
  busy->closeInput();
  EXPECT_LT(busy->readRest().size(), 1'000'000U);
  EXPECT_EQ(busy->wait(), 0);
}

TEST(Delegation, reportsTheEndThoughAnotherProcessHoldsTheStreams) {
  DelegatedService service("sleep 1000 & echo $!; exit 3");
  const Guest heir(service->readLine());
  EXPECT_EQ(service->readBytes(exitReport(3).size()), exitReport(3));
}

TEST(Delegation, relaysAllThatAnUnusuallyLargePipeHolds) {
#ifndef F_SETPIPE_SZ
  GTEST_SKIP() << "pipes have one size here";
#else
  DelegatedService service("echo $$ >&2; '" INSPECTOR_PATH "' fill 1000000; exit 3");
  const pid_t backend = std::stoi(service->readErrorLine());
  ASSERT_TRUE(eventually([&] { return !exists(backend); }));
  EXPECT_TRUE(service->readBytes(1000000) == std::string(1000000, 'x'));
  EXPECT_EQ(service->readBytes(exitReport(3).size()), exitReport(3));
#endif
}

TEST(Delegation, tellsEverythingInOrderToAHostThatReadsLate) {
  // Which thread comes first when the host starts to read is luck, so it is tried several times.
  for (int round = 0; round < 10; ++round) {
    DelegatedService service("echo $$ >&2; head -c 120000 /dev/zero | tr '\\0' x; exit 3");
    const pid_t backend = std::stoi(service->readErrorLine());
    ASSERT_TRUE(eventually([&] { return !exists(backend); }));
    service->write("not delivered\n" + connectRequest);
    service->closeInput();
    // Once longer than a host is waited for at the end: here it is waited for as long as it takes.
    pollfd diagnostics{.fd = service->errorsFd(), .events = POLLIN, .revents = 0};
    EXPECT_EQ(::poll(&diagnostics, 1, round == 0 ? 2500 : 0), 0);
    EXPECT_EQ(service->readRest(), std::string(120000, 'x') + exitReport(3) + takeover);
    EXPECT_EQ(service->wait(), 0);
  }
}

TEST(Delegation, reportsTheEndBeforeItEndsItself) {
  // The report has no room until the host reads, and the input has ended before that.
  DelegatedService service("echo $$ >&2; head -c 65500 /dev/zero; exit 3");
  const pid_t backend = std::stoi(service->readErrorLine());
  ASSERT_TRUE(eventually([&] { return !exists(backend); }));
  service->closeInput();
  EXPECT_EQ(service->readRest(), std::string(65500, '\0') + exitReport(3));
  EXPECT_EQ(service->wait(), 0);
}

TEST(Delegation, relaysTheLastDiagnosticsOfABackendThatEnded) {
  DelegatedService service("head -c 120000 /dev/zero >&2; exit 3");
  EXPECT_EQ(service->readBytes(exitReport(3).size()), exitReport(3));
  service->closeInput();
  EXPECT_EQ(service->readErrors(), std::string(120000, '\0'));
  EXPECT_EQ(service->wait(), 0);
}

TEST(Delegation, relaysWhatWasWrittenBeforeTheInputEnded) {
  DelegatedService service("head -c 120000 /dev/zero | tr '\\0' x; echo done >&2; exec sleep 1000");
  // Both pipes on the way hold the bytes: the backend got rid of them, and nobody has read any.
  EXPECT_EQ(service->readErrorLine(), "done\n");
  service->closeInput();
  EXPECT_EQ(service->readRest(), std::string(120000, 'x'));
  EXPECT_EQ(service->wait(), 0);
}

TEST(Delegation, keepsEachStreamGoingWhileAnotherIsFull) {
  DelegatedService service("head -c 1000000 /dev/zero & exec cat >&2");
  service->write("still forwarded\n");
  EXPECT_EQ(service->readErrorLine(), "still forwarded\n");

  DelegatedService other("head -c 1000000 /dev/zero >&2 & exec cat");
  other->write("still forwarded\n");
  EXPECT_EQ(other->readLine(), "still forwarded\n");
}

TEST(Delegation, consumesTheBackendsOutputAfterTheHostClosedIts) {
  DelegatedService service("read go; head -c 1000000 /dev/zero && echo done >&2");
  service->closeOutput();
  service->write("go\n");
  EXPECT_EQ(service->readErrorLine(), "done\n");
}

TEST(Delegation, answersTheHostThoughItDoesNotReadDiagnostics) {
  DelegatedService service("head -c 1000000 /dev/zero >&2 & read line; kill $!; exit 3");
  service->write("end\n");
  EXPECT_EQ(service->readBytes(exitReport(3).size()), exitReport(3));
  service->write("not delivered\n" + connectRequest);
  EXPECT_EQ(service->readBytes(takeover.size()), takeover);
}

TEST(Delegation, fallsBackWhenTheBackendClosesItsInput) {
  DelegatedService service("exec <&-; echo $$; exec sleep 1000");
  const pid_t backend = std::stoi(service->readLine());
  service->write("not delivered\n" + connectRequest);
  EXPECT_EQ(service->readBytes(takeover.size()), takeover);
  EXPECT_EQ(service->readErrorLine(), brokenPipeLine(service.path()));
  // It was asked to end, so that is not reported.
  ASSERT_TRUE(eventually([&] { return !exists(backend); }));
  EXPECT_EQ(service->finish(), 0);
  EXPECT_EQ(service->readRest(), "");
}

TEST(Delegation, reportsAnEndSoonAfterAFailedWriteAndNoneThatItAskedFor) {
  // The backend's end may take longer than it is waited for, but not each time.
  bool isReported = false;
  for (int round = 0; round < 20 && !isReported; ++round) {
    DelegatedService service("exec <&-; echo closed; sleep 0.02; exit 3");
    EXPECT_EQ(service->readLine(), "closed\n");
    service->write("not delivered\n");
    isReported = service->readLine() == exitReport(3).substr(0, exitReport(3).find('\n') + 1);
  }
  EXPECT_TRUE(isReported);

  DelegatedService service("exec <&-; echo $$ >&2; head -c 100000 /dev/zero; exec sleep 1000");
  const pid_t backend = std::stoi(service->readErrorLine());
  ASSERT_TRUE(eventually([&] { return bytesIn(service->outputFd()) > 60000; }));
  service->write("not delivered\n" + connectRequest);
  ASSERT_TRUE(eventually([&] { return !exists(backend); }));
  service->closeInput();
  EXPECT_TRUE(service->readRest() == std::string(100000, '\0') + takeover);
  EXPECT_EQ(service->wait(), 0);
}

TEST(Delegation, relaysToAFileThatOnlyGrows) {
  const TemporaryDirectory directory;
  const std::string log = directory.file("log", "before\n");
  DelegatedService service(
      "echo one; head -c 1000000 /dev/zero; echo two; echo done >&2; read end",
      {.inChild = [&] { ::dup2(::open(log.c_str(), O_WRONLY | O_APPEND), 1); }});
  EXPECT_EQ(service->readErrorLine(), "done\n");
  EXPECT_EQ(service->finish(), 0);
  std::ifstream content(log);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(content), {}),
            "before\none\n" + std::string(1000000, '\0') + "two\n");
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
  EXPECT_EQ(service.readLine(), "arguments: --stdio --platform whatsapp\n");
  EXPECT_EQ(service.readLine(), "platform: whatsapp\n");
  EXPECT_EQ(service.readBytes(exitReport(8).size()), exitReport(8));
}

TEST(Delegation, fallsBackWithTheSystemsWordsWhenALaunchFails) {
  const TemporaryDirectory directory;
  const std::string otherProcessor(
      "\x7F"
      "ELF\2\1\1\0\0\0\0\0\0\0\0\0\2\0\x7E",
      19);
  expectTakeover(directory.file("text", "no program at all\n", 0700), "Exec format error");
  expectTakeover(directory.file("foreign", otherProcessor, 0700), "Exec format error");
  expectTakeover(directory.file("script", "#!/no/such/program\n", 0700),
                 "No such file or directory");
  expectTakeover(directory.path(), "Permission denied");
}

TEST(Delegation, fallsBackWhenTheDataDirectoryCannotBeMade) {
  const TemporaryDirectory directory;
  const std::string file = directory.file("file", "");
  Service service({.environment = {{"FERNCREST_MANAGED_BRIDGE_BACKEND_PATH", "/bin/cat"},
                                   {"FERNCREST_MANAGED_BRIDGE_DATA_DIR", file + "/data"}}});
  service.write(
      "{\"startListening\":{\"_0\":{\"platform\":\"whatsapp\","
      "\"scope\":{\"thread\":{\"id\":\"1\"}}}}}\n");
  EXPECT_EQ(service.finish(), 0);
  EXPECT_EQ(
      service.readRest(),
      greeting +
          "{\"error\":{\"_0\":{\"message\":\"Managed bridge backend is unavailable for "
          "'Thread': Delegated backend launch failed at \\/bin\\/cat: Not a directory\"}}}\n");
}

}  // namespace

}  // namespace ferncrest::testing
