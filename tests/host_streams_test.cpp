#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>
#include <thread>
#include <tuple>

#include "conversation.h"
#include "process.h"

// Hosts with streams of every kind that read promptly, slowly or never, while a backend runs.

namespace ferncrest::testing {

namespace {

class EveryStream : public ::testing::TestWithParam<StreamKind> {};

INSTANTIATE_TEST_SUITE_P(, EveryStream,
                         ::testing::Values(StreamKind::pipe, StreamKind::nonBlockingPipe,
                                           StreamKind::socket, StreamKind::terminal));

// With sockets, the service once made the backend impossible to kill.
TEST_P(EveryStream, reportsTheEndOfABackendWhoseOutputNobodyReads) {
  Service service({.script = "echo $$ >&2; exec head -c 1000000 /dev/zero", .streams = GetParam()});
  const std::string backend = service.readErrorLine();
  ASSERT_TRUE(eventually([&] { return bytesIn(service.outputFd()) > 0; }));
  ::kill(std::stoi(backend), SIGKILL);
  ASSERT_TRUE(ends(backend));
  service.write(takenOver().requests);
  service.closeInput();
  const std::string output = service.readRest();
  service.expectEnd("", notRunningLine());
  EXPECT_EQ(output.substr(output.find_first_not_of('\0')), exitReport(9) + takeover);
}

TEST_P(EveryStream, doesNotKeepTheBackendFromBeingAskedToEnd) {
  Service service({.script = "trap 'touch \"$0.asked\"; exit 7' TERM; head -c 60000 /dev/zero; "
                             "touch \"$0.done\"; while :; do sleep 0.01; done",
                   .streams = GetParam()});
  ASSERT_TRUE(eventually([&] { return std::filesystem::exists(service.script(".done")); }));
  service.closeInput();
  // So slowly that the rest would take minutes.
  std::string output;
  EXPECT_TRUE(eventually([&] {
    output += readPiece(service.outputFd(), 1);
    return std::filesystem::exists(service.script(".asked"));
  }));
  service.expectEnd(zeros(60000 - output.size()));
}

TEST_P(EveryStream, letsTheStubAnswerBeforeDiagnosticsAreRead) {
  Service service({.script = "head -c 120000 /dev/zero >&2; exit 3", .streams = GetParam()});
  // A terminal holds little, and the backend has to get rid of everything before it ends.
  const std::size_t readEarly = GetParam() == StreamKind::terminal ? 60000 : 0;
  service.expectErrors(zeros(readEarly));
  service.expect(exitReport(3));
  expectExchange(service, takenOver(""));
  service.expectEnd("", zeros(120000 - readEarly) + notRunningLine());
}

TEST_P(EveryStream, keepsItsMode) {
  // After the service, gives the number of streams that are in blocking mode.
  const std::string setUp =
      "\"$0\"; exec python3 -c 'import os; os._exit(sum(map(os.get_blocking, (0, 1, 2))))'";
  expectEach({{"",
               {.script = "echo diagnostic >&2; exec cat", .streams = GetParam(), .setUp = setUp},
               {{"a line\n", "a line\n", "diagnostic\n"}},
               GetParam() == StreamKind::nonBlockingPipe ? 0 : 3}});
}

// Reads less than what makes a stream writable again, for longer than a silent host is waited for.
TEST(HostStreams, giveASlowHostEveryByte) {
  // A socket tells by the piece of up to 8 KiB that its reader reads, which takes four readings.
  const std::tuple<StreamKind, std::size_t, std::size_t, std::string, std::string> rows[] = {
      {StreamKind::pipe, 120000, 1, "", "exec sleep 1000"},
      {StreamKind::socket, 200000, 2048, "", "exec sleep 1000"},
      {StreamKind::pipe, 120000, 1, ">&2", "exec sleep 1000"},
      {StreamKind::pipe, 120000, 1, ">&2", "exit 3"}};
  for (const auto& [kind, total, piece, stream, end] : rows) {
    const std::string script = "head -c " + std::to_string(total) + " /dev/zero " + stream +
                               "; echo done >\"$0.done\"; " + end;
    SCOPED_TRACE(script);
    Service service({.script = script, .streams = kind});
    ASSERT_TRUE(eventually([&] { return std::filesystem::exists(service.script(".done")); }));
    service.closeInput();
    std::string received;
    for (int round = 0; round < 40; ++round) {
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
      received += readPiece(stream.empty() ? service.outputFd() : service.errorsFd(), piece);
    }
    received += stream.empty() ? service.readRest() : service.readErrors();
    EXPECT_TRUE(received == zeros(total)) << received.size();
    EXPECT_EQ(service.wait(), 0);
  }
}

// It names a path twice, and the pipe has room for a part of it.
TEST(HostStreams, getALongDiagnosticInOnePiece) {
  const TemporaryDirectory directory;
  const std::string level = std::string(250, 'd') + "/";
  const std::string name = level + level + level + level + level + level + level + level;
  std::filesystem::create_directories(directory.path(name));
  const std::string path =
      directory.file(name + "backend", "#!/bin/sh\nhead -c 60000 /dev/zero >&2; exit 3\n", 0700);
  Service service({.environment = {{"FERNCREST_MANAGED_BRIDGE_BACKEND_PATH", path}}});
  service.expect(exitReport(3));
  expectExchange(service, takenOver(""));
  EXPECT_EQ(bytesIn(service.errorsFd()), 60000);
  service.expectEnd("", zeros(60000) + notRunningLine(path));
}

TEST(HostStreams, thatCanNeverBeReadyStallNothing) {
  // Output is the end of a pipe for reading, and the pipe never breaks.
  Service service(
      {.script = "echo $$ >&2; read go; head -c 1000000 /dev/zero; exit 3",
       .setUp = "cd \"${FERNCREST_HELPER_LAUNCH_TOKEN_FILE%token}\"; mkfifo p; exec 9<>p 1<p"});
  service.write("go\n");
  ASSERT_TRUE(ends(service.readErrorLine()));
  service.write("not delivered\n");
  service.expectEnd("", notRunningLine() + fatalLine("Bad file descriptor"), 1);
}

}  // namespace

}  // namespace ferncrest::testing
