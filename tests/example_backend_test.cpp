#include <gtest/gtest.h>

#include <string>

#include "process.h"

// The service with the example backend, which does everything right.

namespace ferncrest::testing {

namespace {

const std::string greeting =
    "{\"hello\":{\"_0\":{\"bridgeVersion\":\"example-backend-1\",\"platform\":\"telegram\"}}}\n"
    "{\"stateChanged\":{\"_0\":{\"state\":{\"disconnected\":{}}}}}\n";

std::string connectEvents(int sent) {
  return "{\"stateChanged\":{\"_0\":{\"state\":{\"connecting\":{}}}}}\n"
         "{\"stateChanged\":{\"_0\":{\"state\":{\"connected\":{\"accountDisplayName\":"
         "\"Example account, messages sent so far: " +
         std::to_string(sent) + "\"}}}}}\n";
}

TEST(ExampleBackend, answersThroughTheServiceAndKeepsItsData) {
  const TemporaryDirectory directory;
  for (int sent = 0; sent < 2; ++sent) {
    Service service(
        {.arguments = {"--platform", "telegram"},
         .environment = {{"FERNCREST_MANAGED_BRIDGE_BACKEND_PATH", EXAMPLE_BACKEND_PATH},
                         {"FERNCREST_MANAGED_BRIDGE_DATA_DIR", directory.path("data")}}});
    EXPECT_EQ(service.readBytes(greeting.size()), greeting);
    service.write("{\"connect\":{\"_0\":{\"platform\":\"telegram\"}}}\n");
    EXPECT_EQ(service.readBytes(connectEvents(sent).size()), connectEvents(sent));
    service.write(
        "{\"sendMessage\":{\"_0\":{\"platform\":\"telegram\","
        "\"message\":{\"conversationId\":\"7\",\"text\":\"hi\"}}}}\n");
    const std::string echo = service.readLine();
    EXPECT_NE(echo.find("\"text\":\"echo: hi\""), std::string::npos) << echo;
    EXPECT_EQ(service.finish(), 0);
    EXPECT_EQ(service.readRest() + service.readErrors(), "");
  }
}

}  // namespace

}  // namespace ferncrest::testing
