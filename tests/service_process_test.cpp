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
    service.expectEnd(greeting + answers);
  }
}

TEST(ServiceProcess, answersEachLineBeforeTheNextIsThere) {
  Service service({.arguments = {"--platform", "tele/gram\xFF"}});
  const std::string disconnected = greeting.substr(greeting.find('\n') + 1);
  service.expect(
      "{\"hello\":{\"_0\":{\"bridgeVersion\":\"managed-process-3\","
      "\"platform\":\"tele\\/gram\xEF\xBF\xBD\"}}}\n" +
      disconnected);
  service.write("{\"disconnect\":{\"_0\":{\"platform\":\"tele/gram\xEF\xBF\xBD\"}}}\n");
  service.expect(disconnected);
  service.expectEnd("");
}

TEST(ServiceProcess, answersAPlatformThatIsCanonicallyItsOwn) {
  Service service({.arguments = {"--platform", "caf\u00E9"}});
  service.write("{\"connect\":{\"_0\":{\"platform\":\"cafe\u0301\"}}}\n");
  service.readLine();
  service.expectEnd(greeting.substr(greeting.find('\n') + 1) + connectEvents());
}

TEST(ServiceProcess, refusesALaunchThatTheHostDidNotMake) {
  Service service({.authorized = false});
  service.expectEnd("", refusal, 64);
}

TEST(ServiceProcess, failsOnceMoreIsAskedOfAClosedOutput) {
  for (const bool asked : {false, true}) {
    Service service;
    service.expect(greeting);
    service.closeOutput();
    service.write(asked ? connectRequest : "");
    service.closeInput();
    EXPECT_EQ(service.readErrors(), asked ? fatalLine("Broken pipe") : "");
    EXPECT_EQ(service.wait(), asked ? 1 : 0);
  }
}

TEST(ServiceProcess, keepsEveryByteOnNonBlockingStreams) {
  Service service({.streams = StreamKind::nonBlockingPipe});
  service.expect(greeting);
  // The host writes everything first: the answers fill the pipe, so the service has to wait for
  // room on one stream and, at the start, for bytes on the other.
  std::string requests;
  std::string answers;
  for (int request = 0; request < 1000; ++request) {
    requests += connectRequest;
    answers += connectEvents();
  }
  service.write(requests);
  service.expectEnd(answers);
}

}  // namespace

}  // namespace ferncrest::testing
