#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "process.h"

// What only the running program can show.

namespace ferncrest::testing {

namespace {

const std::string greeting =
    "{\"hello\":{\"_0\":{\"bridgeVersion\":\"managed-process-3\",\"platform\":\"whatsapp\"}}}\n"
    "{\"stateChanged\":{\"_0\":{\"state\":{\"disconnected\":{}}}}}\n";
const std::string connectRequest = "{\"connect\":{\"_0\":{\"platform\":\"whatsapp\"}}}\n";
const std::string connectEvents =
    "{\"stateChanged\":{\"_0\":{\"state\":{\"connecting\":{}}}}}\n"
    "{\"stateChanged\":{\"_0\":{\"state\":{\"connected\":"
    "{\"accountDisplayName\":\"Ferncrest Managed Bridge (stub)\"}}}}}\n";
const std::string wrongFormat =
    "{\"error\":{\"_0\":{\"message\":"
    "\"The request could not be read because it is not in the correct format.\"}}}\n";
const std::string missingData =
    "{\"error\":{\"_0\":{\"message\":"
    "\"The request could not be read because data in it is missing.\"}}}\n";
const std::string refusal = "This component must be launched by Ferncrest.\n";

void setNonBlocking(int fd) {
  ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
}

struct Conversation {
  const char* name;
  std::string requests;
  std::string answers;
};

TEST(ServiceProcess, answersOnlyWhatItServes) {
  const std::vector<Conversation> conversations{
      {"nothing", "", ""},
      {"blank lines", "\n  \t\n\r\n\xE2\x80\xA8\n", ""},
      {"carriage return and blanks", "  " + connectRequest.substr(0, 43) + " \r\n", connectEvents},
      {"last line without its end", connectRequest.substr(0, 43), connectEvents},
      {"twice", connectRequest + connectRequest, connectEvents + connectEvents},
      {"another platform", "{\"connect\":{\"_0\":{\"platform\":\"WhatsApp\"}}}\n", ""},
      {"no request",
       R"({"hello":{"_0":{"platform":"whatsapp","bridgeVersion":"1"}}})"
       "\n"
       R"({"stopListening":{"_0":{"platform":"whatsapp"}}})"
       "\n"
       R"({"error":{"_0":{"message":"x"}}})"
       "\n",
       ""},
      {"bad lines", "{\n{\"hello\":{}}\nnull\n" + connectRequest,
       wrongFormat + missingData + missingData + connectEvents},
      {"a NUL byte", std::string("{}\0\n", 4) + connectRequest, wrongFormat + connectEvents},
      {"invalid UTF-8 comes back repaired",
       "{\"startListening\":{\"_0\":{\"platform\":\"whatsapp\",\"scope\":"
       "{\"channel\":{\"id\":\"\",\"title\":\"\xE2\x82\"}}}}}\n",
       "{\"error\":{\"_0\":{\"message\":\"Managed bridge service is running, but real WhatsApp "
       "capture for '\xEF\xBF\xBD' is not implemented yet.\"}}}\n"},
  };
  for (const auto& [name, requests, answers] : conversations) {
    SCOPED_TRACE(name);
    Service service;
    service.write(requests);
    EXPECT_EQ(service.finish(), 0);
    EXPECT_EQ(service.readRest(), greeting + answers);
    EXPECT_EQ(service.readErrors(), "");
  }
}

TEST(ServiceProcess, answersEachLineBeforeTheNextIsThere) {
  Service service({.arguments = {"--platform", "tele/gram\xFF"}});
  EXPECT_EQ(service.readLine(),
            "{\"hello\":{\"_0\":{\"bridgeVersion\":\"managed-process-3\","
            "\"platform\":\"tele\\/gram\xEF\xBF\xBD\"}}}\n");
  service.readLine();
  service.write("{\"disconnect\":{\"_0\":{\"platform\":\"tele/gram\xEF\xBF\xBD\"}}}\n");
  EXPECT_EQ(service.readLine(), "{\"stateChanged\":{\"_0\":{\"state\":{\"disconnected\":{}}}}}\n");
  EXPECT_EQ(service.finish(), 0);
}

TEST(ServiceProcess, refusesALaunchThatTheHostDidNotMake) {
  Service service({.authorized = false});
  EXPECT_EQ(service.wait(), 64);
  EXPECT_EQ(service.readRest(), "");
  EXPECT_EQ(service.readErrors(), refusal);
}

TEST(ServiceProcess, endsWithAFatalLineWhenTheHostStopsReading) {
  Service service;
  EXPECT_EQ(service.readBytes(greeting.size()), greeting);
  service.closeOutput();
  service.write(connectRequest);
  EXPECT_EQ(service.wait(), 1);
  EXPECT_EQ(service.readErrors(), "[BridgeService] fatal error: Broken pipe\n");
}

TEST(ServiceProcess, endsNormallyWhenNoMoreIsAskedOfAClosedOutput) {
  Service service;
  EXPECT_EQ(service.readBytes(greeting.size()), greeting);
  service.closeOutput();
  EXPECT_EQ(service.finish(), 0);
}

TEST(ServiceProcess, keepsEveryByteOnNonBlockingStreams) {
  constexpr int requests = 2000;
  Service service({.inChild = [] {
    setNonBlocking(0);
    setNonBlocking(1);
  }});
  std::string expected = greeting;
  EXPECT_EQ(service.readBytes(greeting.size()), greeting);
  // The host writes everything first: the answers fill the pipe, so the service has to wait for
  // room on one stream and, at the start, for bytes on the other.
  std::string all;
  std::string answers;
  for (int request = 0; request < requests; ++request) {
    all += connectRequest;
    answers += connectEvents;
  }
  const std::size_t half = all.size() / 2 + 7;
  ASSERT_LT(all.size(), 2 * 65536U);
  service.write(all.substr(0, half));
  EXPECT_EQ(service.readBytes(answers.size() / 4), answers.substr(0, answers.size() / 4));
  service.write(all.substr(half));
  service.closeInput();
  EXPECT_EQ(service.readRest(), answers.substr(answers.size() / 4));
  EXPECT_EQ(service.wait(), 0);
}

struct ClosedStream {
  int fd;
  int status;
  std::string output;
  std::string errors;
};

TEST(ServiceProcess, livesWithStreamsThatTheHostLeftClosed) {
  const std::vector<ClosedStream> closed{
      {0, 0, greeting, ""},
      {1, 1, "", "[BridgeService] fatal error: Bad file descriptor\n"},
      {2, 0, greeting + connectEvents, ""},
  };
  for (const auto& [fd, status, output, errors] : closed) {
    SCOPED_TRACE(fd);
    Service service({.inChild = [standard = fd] { ::close(standard); }});
    service.tryWrite(connectRequest);
    EXPECT_EQ(service.finish(), status);
    EXPECT_EQ(service.readRest(), output);
    EXPECT_EQ(service.readErrors(), errors);
  }
}

TEST(ServiceProcess, answersOneHugeLine) {
  const std::string text(std::size_t{3} << 20U, 'x');
  Service service;
  EXPECT_EQ(service.readBytes(greeting.size()), greeting);
  service.write(
      "{\"sendMessage\":{\"_0\":{\"platform\":\"whatsapp\",\"message\":{"
      "\"conversationId\":\"c\",\"text\":\"" +
      text + "\"}}}}\n");
  EXPECT_NE(service.readLine().find("\"text\":\"echo: " + text + "\""), std::string::npos);
  service.write(connectRequest);
  EXPECT_EQ(service.readBytes(connectEvents.size()), connectEvents);
  EXPECT_EQ(service.finish(), 0);
}

}  // namespace

}  // namespace ferncrest::testing
