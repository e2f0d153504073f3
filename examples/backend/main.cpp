// A backend to start from. The bridge service starts it with "--stdio --platform NAME" and relays
// between it and the host; environment variables give its platform and its data directory.
// Replace the answers by those of a messaging network.

#include <array>
#include <cstdio>
#include <ctime>
#include <string>
#include <utility>
#include <variant>

#include "examples/backend/message_count.h"
#include "platform/fd.h"
#include "platform/io.h"
#include "platform/process.h"
#include "protocol/coding.h"
#include "protocol/line_buffer.h"
#include "text/utf8.h"

namespace ferncrest {

namespace {

constexpr int exitServed = 0;
constexpr int exitFailed = 1;
constexpr int exitUsage = 64;

struct Backend {
  std::string platform;
  MessageCount sentMessages;
};

struct Conversation {
  std::string id;
  std::string title;
};

Outcome emit(const BridgeEnvelope& envelope) {
  return writeAll(standardOutput, encodeEnvelopeLine(envelope));
}

Outcome report(BridgeConnectionState state) {
  return emit(BridgeStateChangedEvent{std::move(state)});
}

std::string timestamp() {
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  ::gmtime_r(&now, &utc);
  std::array<char, 32> text{};
  return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &utc)};
}

Outcome deliver(std::string messageId, const Conversation& conversation, std::string text) {
  return emit(BridgeInboundEvent{{.messageId = std::move(messageId),
                                  .conversationId = conversation.id,
                                  .conversationTitle = conversation.title,
                                  .senderId = "example-backend",
                                  .senderDisplayName = "Example backend",
                                  .text = std::move(text),
                                  .timestampISO8601 = timestamp(),
                                  .isDirectMessage = false,
                                  .rawReference = {}}});
}

Outcome answer(Backend& backend, const BridgeConnectRequest& /*request*/) {
  if (Outcome reported = report(BridgeConnectingState{}); !reported) {
    return reported;
  }
  const std::string sent = std::to_string(backend.sentMessages.value());
  return report(BridgeConnectedState{"Example account, messages sent so far: " + sent});
}

Outcome answer(Backend& /*backend*/, const BridgeDisconnectRequest& /*request*/) {
  return report(BridgeDisconnectedState{});
}

Conversation conversationOf(const BridgeConversationScope& scope) {
  return {scope.id, scope.title};
}

Conversation conversationOf(const BridgeChannelScope& scope) {
  return {scope.id, scope.title};
}

Conversation conversationOf(const BridgeThreadScope& scope) {
  return {scope.id, scope.title.value_or("Thread")};
}

Conversation conversationOf(const BridgeTestOnlyScope& scope) {
  return {"example-test", scope.title};
}

// A real backend delivers the messages that arrive from now on; this one delivers a single message.
Outcome answer(Backend& /*backend*/, const BridgeStartListeningRequest& request) {
  const auto conversation =
      std::visit([](const auto& scope) { return conversationOf(scope); }, request.scope);
  return deliver("example-listening", conversation, "Listening here.");
}

Outcome answer(Backend& backend, const BridgeSendMessageRequest& request) {
  if (const Outcome counted = backend.sentMessages.increment(); !counted) {
    return emit(BridgeErrorEvent{"The message was not sent: " + counted.error().description});
  }
  return deliver("example-" + std::to_string(backend.sentMessages.value()),
                 {request.message.conversationId, "Example echo"}, "echo: " + request.message.text);
}

// Ignores requests for another platform, and messages that need no answer.
Outcome answerLine(Backend& backend, std::string_view text) {
  auto envelope = decodeEnvelope(text);
  if (!envelope) {
    return emit(BridgeErrorEvent{std::string(envelope.error().description())});
  }
  return answerRequest(*envelope, backend.platform,
                       [&](const auto& request) -> decltype(answer(backend, request)) {
                         return answer(backend, request);
                       });
}

Outcome answerLines(Backend& backend, LineBuffer& requests) {
  while (const auto line = requests.next()) {
    if (Outcome answered = answerLine(backend, line->text()); !answered) {
      return answered;
    }
  }
  return {};
}

Outcome serve(Backend& backend) {
  Outcome outcome = emit(BridgeHello{backend.platform, "example-backend-1"});
  if (outcome) {
    outcome = report(BridgeDisconnectedState{});
  }
  LineBuffer requests;
  while (outcome && !requests.hasEnded()) {
    requests.add(readSome(standardInput, requests.room()).value_or(0));
    outcome = answerLines(backend, requests);
  }
  return outcome;
}

int runBackend() {
  const Environment environment = readEnvironment();
  const std::string directory(valueOf(environment, "FERNCREST_MANAGED_BRIDGE_DATA_DIR"));
  if (directory.empty()) {
    std::fputs(
        "This program is started by the bridge service: set "
        "FERNCREST_MANAGED_BRIDGE_BACKEND_PATH to its path.\n",
        stderr);
    return exitUsage;
  }
  Backend backend{
      .platform = repairedUtf8(valueOf(environment, "FERNCREST_MANAGED_BRIDGE_PLATFORM")),
      .sentMessages = MessageCount(directory)};
  if (const Outcome served = serve(backend); !served) {
    std::fprintf(stderr, "Example backend: %s\n", served.error().description.c_str());
    return exitFailed;
  }
  return exitServed;
}

}  // namespace

}  // namespace ferncrest

int main() {
  ferncrest::reserveStandardStreams();
  ferncrest::ignoreBrokenPipeSignal();
  return ferncrest::runBackend();
}
