#include <fcntl.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "conversation.h"
#include "process.h"

// What only the running program can show.

namespace ferncrest::testing {

namespace {

std::string error(const std::string& message) {
  return R"({"error":{"_0":{"message":")" + message + "\"}}}\n";
}

TEST(ServiceProcess, answersOnlyWhatItServes) {
  const std::string connect = connectRequest.substr(0, connectRequest.size() - 1);
  const std::string events = connectEvents();
  const std::string bad =
      error("The request could not be read because it is not in the correct format.");
  const std::string missing = error("The request could not be read because data in it is missing.");
  const std::string repaired = error(
      "Managed bridge service is running, but real WhatsApp capture for '\xEF\xBF\xBD' is not "
      "implemented yet.");
  const std::pair<std::string, std::string> conversations[] = {
      {"", ""},
      {"\n  \t\n\r\n\xE2\x80\xA8\n", ""},
      {"  " + connect + " \r\n", events},
      {connect, events},
      {connectRequest + connectRequest, events + events},
      {"{\"connect\":{\"_0\":{\"platform\":\"WhatsApp\"}}}\n", ""},
      {R"({"hello":{"_0":{"platform":"whatsapp","bridgeVersion":"1"}}})", ""},
      {R"({"stopListening":{"_0":{"platform":"whatsapp"}}})", ""},
      {R"({"error":{"_0":{"message":"x"}}})", ""},
      {"{\n{\"hello\":{}}\nnull\n" + connect, bad + missing + missing + events},
      {std::string("{}\0\n", 4) + connect, bad + events},
      {"{\"startListening\":{\"_0\":{\"platform\":\"whatsapp\",\"scope\":"
       "{\"channel\":{\"id\":\"\",\"title\":\"\xE2\x82\"}}}}}\n",
       repaired}};
  for (const auto& [requests, answers] : conversations) {
    SCOPED_TRACE(requests);
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

TEST(ServiceProcess, failsOnceMoreIsAskedOfAClosedOutput) {
  for (const bool asked : {false, true}) {
    Service service;
    EXPECT_EQ(service.readBytes(greeting.size()), greeting);
    service.closeOutput();
    service.write(asked ? connectRequest : "");
    EXPECT_EQ(service.finish(), asked ? 1 : 0);
    EXPECT_EQ(service.readErrors(), asked ? fatalLine("Broken pipe") : "");
  }
}

TEST(ServiceProcess, keepsEveryByteOnNonBlockingStreams) {
  Service service({.inChild = [] {
    for (const int fd : {0, 1}) {
      ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
    }
  }});
  EXPECT_EQ(service.readBytes(greeting.size()), greeting);
  // The host writes everything first: the answers fill the pipe, so the service has to wait for
  // room on one stream and, at the start, for bytes on the other.
  std::string requests;
  std::string answers;
  for (int request = 0; request < 2000; ++request) {
    requests += connectRequest;
    answers += connectEvents();
  }
  const std::size_t half = requests.size() / 2 + 7;
  ASSERT_LT(requests.size(), 2 * 65536U);
  service.write(requests.substr(0, half));
  EXPECT_EQ(service.readBytes(answers.size() / 4), answers.substr(0, answers.size() / 4));
  service.write(requests.substr(half));
  service.closeInput();
  EXPECT_EQ(service.readRest(), answers.substr(answers.size() / 4));
  EXPECT_EQ(service.wait(), 0);
}

}  // namespace

}  // namespace ferncrest::testing
