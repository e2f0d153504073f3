#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <list>
#include <string>
#include <thread>
#include <utility>

#include "conversation.h"
#include "process.h"

// Hosts with streams of every kind that read promptly, slowly or never, while a backend runs.

namespace ferncrest::testing {

namespace {

constexpr std::pair<const char*, StreamKind> kinds[] = {
    {"pipe", StreamKind::pipe},
    {"non-blocking pipe", StreamKind::nonBlockingPipe},
    {"socket", StreamKind::socket},
    {"terminal", StreamKind::terminal}};

std::string zeros(std::size_t count) {
  return std::string(count, '\0');
}

// With sockets, the service once made the backend impossible to kill.
TEST(HostStreams, reportTheEndOfABackendWhoseOutputNobodyReads) {
  for (const auto& [name, kind] : kinds) {
    SCOPED_TRACE(name);
    Service service({.script = "echo $$ >&2; exec head -c 1000000 /dev/zero", .streams = kind});
    const std::string number = service.readErrorLine();
    ASSERT_TRUE(eventually([&] { return bytesIn(service.outputFd()) > 0; }));
    Guest(number).end();
    ASSERT_TRUE(ends(number));
    service.write("not delivered\n" + connectRequest);
    service.closeInput();
    const std::string output = service.readRest();
    service.expectEnd("", notRunningLine(service.script()));
    const std::size_t count = std::min(output.find_first_not_of('\0'), output.size());
    EXPECT_EQ(output.substr(count), exitReport(9) + takeover);
  }
}

// Reads less than what makes a stream writable again, for longer than a silent host is waited for.
TEST(HostStreams, giveASlowHostEveryByte) {
  struct Row {
    StreamKind kind;
    std::size_t total;
    std::size_t piece;  // a socket tells by the piece of up to 8 KiB that its reader reads
    std::string stream;
    std::string end;
  };
  struct Host {
    Row row;
    Service service{{.script = "head -c " + std::to_string(row.total) + " /dev/zero " + row.stream +
                               "; echo done >\"$0.done\"; " + row.end,
                     .streams = row.kind}};
    std::string received = "";
    bool readsErrors = !row.stream.empty();
  };
  const std::string sleeps = "exec sleep 1000";
  std::list<Host> hosts;
  for (const Row& row : {Row{StreamKind::pipe, 120000, 1, "", sleeps},
                         Row{StreamKind::nonBlockingPipe, 120000, 1, "", sleeps},
                         Row{StreamKind::socket, 200000, 4096, "", sleeps},
                         Row{StreamKind::pipe, 120000, 1, ">&2", sleeps},
                         Row{StreamKind::pipe, 120000, 1, ">&2", "exit 3"}}) {
    const Host& host = hosts.emplace_back(row);
    ASSERT_TRUE(eventually([&] { return std::filesystem::exists(host.service.script(".done")); }));
  }
  for (Host& host : hosts) {
    host.service.closeInput();
  }
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(2500);
  while (std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    for (Host& host : hosts) {
      host.received += host.service.readPiece(host.row.piece, host.readsErrors);
    }
  }
  for (auto& [row, service, received, readsErrors] : hosts) {
    SCOPED_TRACE(std::to_string(row.total) + row.stream + row.end);
    received += readsErrors ? service.readErrors() : service.readRest();
    EXPECT_TRUE(received == zeros(row.total)) << received.size();
    EXPECT_EQ(service.wait(), 0);
  }
}

TEST(HostStreams, doNotKeepTheBackendFromBeingAskedToEnd) {
  for (const auto& [name, kind] : kinds) {
    SCOPED_TRACE(name);
    Service service({.script = "trap 'touch \"$0.asked\"; exit' TERM; head -c 60000 /dev/zero; "
                               "touch \"$0.done\"; while :; do sleep 0.01; done",
                     .streams = kind});
    ASSERT_TRUE(eventually([&] { return std::filesystem::exists(service.script(".done")); }));
    service.closeInput();
    // So slowly that the rest would take minutes.
    std::string output;
    EXPECT_TRUE(eventually([&] {
      output += service.readPiece(1);
      return std::filesystem::exists(service.script(".asked"));
    }));
    service.expectEnd(zeros(60000 - output.size()));
  }
}

TEST(HostStreams, nameAFailedWriteAlwaysTheSame) {
  for (int round = 0; round < 10; ++round) {
    Service service({.script = "echo $$; head -c 1; exec sleep 1000"});
    Guest backend(service.readLine());
    service.write(std::string(700'000, 'x') + "\n");
    // What was passed back shows that the write is under way, and its pipe is smaller than the
    // line.
    service.expect("x");
    backend.end();
    service.expect(exitReport(9));
    service.write(connectRequest);
    service.expectEnd(takeover, brokenPipeLine(service.script()));
  }
}

TEST(HostStreams, letTheStubAnswerBeforeDiagnosticsAreRead) {
  for (const auto& [name, kind] : kinds) {
    SCOPED_TRACE(name);
    Service service({.script = "head -c 120000 /dev/zero >&2; exit 3", .streams = kind});
    // A terminal holds little, and the backend has to get rid of everything before it ends.
    const std::size_t readEarly = kind == StreamKind::terminal ? 60000 : 0;
    service.expectErrors(zeros(readEarly));
    service.expect(exitReport(3));
    expectTakeover(service);
    service.write(connectRequest);
    service.expect(connectEvents(" fallback"));
    service.expectEnd("", zeros(120000 - readEarly) + notRunningLine(service.script()));
  }
}

// It names a path twice, and the pipe has room for a part of it.
TEST(HostStreams, getALongDiagnosticInOnePiece) {
  const TemporaryDirectory directory;
  std::string name;
  for (int level = 0; level < 12; ++level) {
    name += std::string(250, 'd') + "/";
  }
  std::filesystem::create_directories(directory.path(name));
  const std::string path =
      directory.file(name + "backend", "#!/bin/sh\nhead -c 60000 /dev/zero >&2; exit 3\n", 0700);
  Service service({.environment = {{"FERNCREST_MANAGED_BRIDGE_BACKEND_PATH", path}}});
  service.expect(exitReport(3));
  expectTakeover(service);
  EXPECT_EQ(bytesIn(service.errorsFd()), 60000);
  service.expectEnd("", zeros(60000) + notRunningLine(path));
}

TEST(HostStreams, thatCanNeverBeReadyStallNothing) {
  // Puts the wrong end of a pipe in a standard stream's place.
  const auto wrongEnd = [](std::size_t end, int stream) {
    return [=] {
      std::array<int, 2> ends{};
      EXPECT_EQ(::pipe(ends.data()), 0);
      ::dup2(ends.at(end), stream);
    };
  };
  Service output({.script = "echo $$ >&2; read go; head -c 1000000 /dev/zero; exit 3",
                  .inChild = wrongEnd(0, 1)});
  const std::string backend = output.readErrorLine();
  output.write("go\n");
  ASSERT_TRUE(ends(backend));
  output.write("not delivered\n");
  output.expectEnd("", notRunningLine(output.script()) + fatalLine("Bad file descriptor"), 1);

  Service input({.script = "exec cat", .inChild = wrongEnd(1, 0)});
  EXPECT_EQ(input.wait(), 0);
}

TEST(HostStreams, keepTheirMode) {
  for (const auto& [name, kind] : kinds) {
    SCOPED_TRACE(name);
    Service service(
        {.script = "echo diagnostic >&2; exec cat", .streams = kind, .keepsStreams = true});
    service.write("a line\n");
    service.expect("a line\n");
    service.expectErrors("diagnostic\n");
    for (const int stream : {0, 1, 2}) {
      EXPECT_EQ((::fcntl(service.kept(stream), F_GETFL) & O_NONBLOCK) != 0,
                kind == StreamKind::nonBlockingPipe);
    }
    service.closeInput();
    EXPECT_EQ(service.wait(), 0);
  }
}

}  // namespace

}  // namespace ferncrest::testing
