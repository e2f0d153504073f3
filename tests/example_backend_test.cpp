#include <gtest/gtest.h>

#include <string>

#include "process.h"

// The service with the example backend, which does everything right.

namespace ferncrest::testing {

namespace {

TEST(ExampleBackend, answersThroughTheServiceAndKeepsItsData) {
  const TemporaryDirectory directory;
  const auto state = [](const std::string& text) {
    return R"({"stateChanged":{"_0":{"state":)" + text + "}}}\n";
  };
  for (const std::string sent : {"0", "1"}) {
    Service service(
        {.arguments = {"--platform", "telegram"},
         .environment = {{"FERNCREST_MANAGED_BRIDGE_BACKEND_PATH", EXAMPLE_BACKEND_PATH},
                         {"FERNCREST_MANAGED_BRIDGE_DATA_DIR", directory.path("data")}}});
    service.write("{\"connect\":{\"_0\":{\"platform\":\"telegram\"}}}\n");
    service.expect(
        "{\"hello\":{\"_0\":{\"bridgeVersion\":\"example-backend-1\",\"platform\":\"telegram\"}}}"
        "\n" +
        state(R"({"disconnected":{}})") + state(R"({"connecting":{}})") +
        state(R"({"connected":{"accountDisplayName":"Example account, messages sent so far: )" +
              sent + "\"}}"));
    service.write(
        "{\"sendMessage\":{\"_0\":{\"platform\":\"telegram\","
        "\"message\":{\"conversationId\":\"7\",\"text\":\"hi\"}}}}\n");
    const std::string echo = service.readLine();
    EXPECT_TRUE(echo.contains("\"text\":\"echo: hi\"")) << echo;
    service.expectEnd("");
  }
}

}  // namespace

}  // namespace ferncrest::testing
