#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
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

std::string readPiece(int fd, std::size_t most) {
  std::string piece(most, '\0');
  piece.resize(static_cast<std::size_t>(std::max<ssize_t>(::read(fd, piece.data(), most), 0)));
  return piece;
}

// With sockets, the service once made the backend impossible to kill.
TEST(HostStreams, reportTheEndOfABackendWhoseOutputNobodyReads) {
  for (const auto& [name, kind] : kinds) {
    SCOPED_TRACE(name);
    DelegatedService service("echo $$ >&2; exec head -c 1000000 /dev/zero", {.streams = kind});
    Guest backend(service->readErrorLine());
    const pid_t pid = backend.pid();
    ASSERT_TRUE(eventually([&] { return bytesIn(service->outputFd()) > 0; }));
    backend.end();
    ASSERT_TRUE(eventually([&] { return !exists(pid); }));
    service->write("not delivered\n" + connectRequest);
    service->closeInput();
    const std::string output = service->readRest();
    const std::string end = exitReport(9) + takeover;
    EXPECT_TRUE(output.ends_with(end)) << output.substr(output.find_first_not_of('\0'));
    EXPECT_EQ(output.find_first_not_of('\0'), output.size() - end.size());
    EXPECT_EQ(service->wait(), 0);
    EXPECT_EQ(service->readErrors(), notRunningLine(service.path()));
  }
}

// Reads less than what makes a stream writable again, for longer than a silent host is waited for.
TEST(HostStreams, giveASlowHostEveryByte) {
  struct Row {
    StreamKind kind;
    std::size_t total;
    std::size_t piece;  // a socket tells by the piece of up to 8 KiB that its reader reads
    std::string redirection;
    std::string end;
  };
  const std::string sleeps = "; exec sleep 1000";
  const Row rows[] = {{StreamKind::pipe, 120000, 1, "", sleeps},
                      {StreamKind::nonBlockingPipe, 120000, 1, "", sleeps},
                      {StreamKind::socket, 200000, 4096, "", sleeps},
                      {StreamKind::pipe, 120000, 1, " >&2", sleeps},
                      {StreamKind::pipe, 120000, 1, " >&2", "; exit 3"}};
  std::list<DelegatedService> services;
  std::list<std::string> received;
  const auto streamOf = [](DelegatedService& service, const Row& row) {
    return row.redirection.empty() ? service->outputFd() : service->errorsFd();
  };
  for (const Row& row : rows) {
    auto& service =
        services.emplace_back("head -c " + std::to_string(row.total) + " /dev/zero" +
                                  row.redirection + "; echo done >\"$0.done\"" + row.end,
                              Service::Launch{.streams = row.kind});
    received.emplace_back();
    ASSERT_TRUE(eventually([&] { return std::filesystem::exists(service.path() + ".done"); }));
  }
  for (DelegatedService& service : services) {
    service->closeInput();
  }
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(2500);
  while (std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    auto text = received.begin();
    auto service = services.begin();
    for (const Row& row : rows) {
      *text++ += readPiece(streamOf(*service++, row), row.piece);
    }
  }
  auto text = received.begin();
  auto service = services.begin();
  for (const Row& row : rows) {
    SCOPED_TRACE(std::to_string(row.total) + row.redirection + row.end);
    const bool isOutput = row.redirection.empty();
    *text += isOutput ? (*service)->readRest() : (*service)->readErrors();
    EXPECT_TRUE(*text++ == zeros(row.total));
    EXPECT_EQ((*service++)->wait(), 0);
  }
}

TEST(HostStreams, doNotKeepTheBackendFromBeingAskedToEnd) {
  for (const auto& [name, kind] : kinds) {
    SCOPED_TRACE(name);
    DelegatedService service(
        "trap 'touch \"$0.asked\"; exit' TERM; head -c 60000 /dev/zero; touch \"$0.done\"; "
        "while :; do sleep 0.01; done",
        {.streams = kind});
    ASSERT_TRUE(eventually([&] { return std::filesystem::exists(service.path() + ".done"); }));
    service->closeInput();
    // So slowly that the rest would take minutes.
    std::string output;
    EXPECT_TRUE(eventually([&] {
      output += readPiece(service->outputFd(), 1);
      return std::filesystem::exists(service.path() + ".asked");
    }));
    EXPECT_TRUE(output + service->readRest() == zeros(60000));
    EXPECT_EQ(service->wait(), 0);
  }
}

TEST(HostStreams, nameAFailedWriteAlwaysTheSame) {
  for (int round = 0; round < 10; ++round) {
    DelegatedService service("echo $$; head -c 1; exec sleep 1000");
    Guest backend(service->readLine());
    service->write(std::string(700'000, 'x') + "\n");
    // What was passed back shows that the write is under way, and its pipe is smaller than the
    // line.
    EXPECT_EQ(service->readBytes(1), "x");
    backend.end();
    EXPECT_EQ(service->readBytes(exitReport(9).size()), exitReport(9));
    service->write(connectRequest);
    EXPECT_EQ(service->readBytes(takeover.size()), takeover);
    EXPECT_EQ(service->readErrorLine(), brokenPipeLine(service.path()));
    EXPECT_EQ(service->finish(), 0);
  }
}

TEST(HostStreams, letTheStubAnswerBeforeDiagnosticsAreRead) {
  for (const auto& [name, kind] : kinds) {
    SCOPED_TRACE(name);
    DelegatedService service("head -c 120000 /dev/zero >&2; exit 3", {.streams = kind});
    // A terminal holds little, and the backend has to get rid of everything before it ends.
    const std::size_t readEarly = kind == StreamKind::terminal ? 60000 : 0;
    EXPECT_TRUE(service->readErrorBytes(readEarly) == zeros(readEarly));
    EXPECT_EQ(service->readBytes(exitReport(3).size()), exitReport(3));
    service->write("not delivered\n" + connectRequest);
    EXPECT_EQ(service->readBytes(takeover.size()), takeover);
    service->write(connectRequest);
    EXPECT_EQ(service->readBytes(connectEvents(" fallback").size()), connectEvents(" fallback"));
    service->closeInput();
    EXPECT_TRUE(service->readErrors() ==
                zeros(120000 - readEarly) + notRunningLine(service.path()));
    EXPECT_EQ(service->wait(), 0);
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
  EXPECT_EQ(service.readBytes(exitReport(3).size()), exitReport(3));
  service.write("not delivered\n" + connectRequest);
  EXPECT_EQ(service.readBytes(takeover.size()), takeover);
  EXPECT_EQ(bytesIn(service.errorsFd()), 60000);
  service.closeInput();
  EXPECT_TRUE(service.readErrors() == zeros(60000) + notRunningLine(path));
  EXPECT_EQ(service.wait(), 0);
}

TEST(HostStreams, thatCanNeverBeReadyStallNothing) {
  DelegatedService readEnd("echo $$ >&2; read go; head -c 1000000 /dev/zero; exit 3",
                           {.inChild = [] {
                             std::array<int, 2> ends{};
                             EXPECT_EQ(::pipe(ends.data()), 0);
                             ::dup2(ends[0], 1);
                           }});
  const pid_t backend = std::stoi(readEnd->readErrorLine());
  readEnd->write("go\n");
  ASSERT_TRUE(eventually([&] { return !exists(backend); }));
  readEnd->write("not delivered\n");
  EXPECT_EQ(readEnd->finish(), 1);
  EXPECT_EQ(readEnd->readErrors(),
            notRunningLine(readEnd.path()) + fatalLine("Bad file descriptor"));

  DelegatedService writeEnd("echo ready; exec cat", {.inChild = [] {
                              std::array<int, 2> ends{};
                              EXPECT_EQ(::pipe(ends.data()), 0);
                              ::dup2(ends[1], 0);
                            }});
  EXPECT_EQ(writeEnd->wait(), 0);
}

TEST(HostStreams, keepTheirMode) {
  for (const auto& [name, kind] : kinds) {
    SCOPED_TRACE(name);
    DelegatedService service("echo diagnostic >&2; exec cat",
                             {.streams = kind, .keepsStreams = true});
    service->write("a line\n");
    EXPECT_EQ(service->readLine(), "a line\n");
    EXPECT_EQ(service->readErrorLine(), "diagnostic\n");
    const bool isNonBlocking = kind == StreamKind::nonBlockingPipe;
    EXPECT_EQ(service->areNonBlocking(), (std::array{isNonBlocking, isNonBlocking, isNonBlocking}));
    EXPECT_EQ(service->finish(), 0);
  }
}

}  // namespace

}  // namespace ferncrest::testing
