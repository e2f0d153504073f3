#include "examples/console/commands.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>
#include <vector>

#include "examples/console/attachment.h"
#include "text/characters.h"

namespace ferncrest {

namespace {

using Parsed = std::expected<Command, Failure>;

std::unexpected<Failure> instead(const std::string& sentence) {
  return std::unexpected(Failure{sentence});
}

// Removes the first word, or the text in a first pair of quotation marks, and returns it.
std::string takeWord(std::string_view& rest) {
  rest = trimmed(rest);
  const bool quoted = rest.starts_with('"') && rest.find('"', 1) != std::string_view::npos;
  const std::size_t begin = quoted ? 1 : 0;
  const std::size_t end = std::min(rest.find_first_of(quoted ? "\"" : " \t", begin), rest.size());
  std::string word(rest.substr(begin, end - begin));
  rest = trimmed(rest.substr(quoted ? end + 1 : end));
  return word;
}

Parsed parseConnect(std::string_view /*arguments*/, const std::string& platform) {
  return BridgeConnectRequest{platform};
}

Parsed parseDisconnect(std::string_view /*arguments*/, const std::string& platform) {
  return BridgeDisconnectRequest{platform};
}

Parsed parseStop(std::string_view /*arguments*/, const std::string& platform) {
  return BridgeStopListeningRequest{platform};
}

std::optional<BridgeScope> scopeOf(const std::string& kind, const std::string& id,
                                   const std::string& title) {
  const std::string& knownTitle = title.empty() ? id : title;
  if (kind == "conversation") {
    return BridgeConversationScope{id, knownTitle};
  }
  if (kind == "channel") {
    return BridgeChannelScope{id, knownTitle};
  }
  if (kind == "thread") {
    return BridgeThreadScope{id, title.empty() ? std::nullopt : std::optional(title)};
  }
  return std::nullopt;
}

Parsed parseListen(std::string_view arguments, const std::string& platform) {
  const std::string kind = takeWord(arguments);
  if (kind == "test") {
    const std::string title(arguments.empty() ? "Test" : arguments);
    return BridgeStartListeningRequest{platform, BridgeTestOnlyScope{title}};
  }
  const std::string id = takeWord(arguments);
  auto scope = scopeOf(kind, id, std::string(arguments));
  if (!scope) {
    return instead("What to listen to? Try: listen test, or: listen conversation ID");
  }
  if (id.empty()) {
    return instead("Which " + kind + "? Try: listen " + kind + " ID TITLE");
  }
  return BridgeStartListeningRequest{platform, std::move(*scope)};
}

Parsed parseSend(std::string_view arguments, const std::string& platform) {
  BridgeOutboundMessage message;
  std::vector<BridgeAttachment> attachments;
  // An ID that begins with "--" has to be put in quotation marks.
  while (arguments.starts_with("--")) {
    const std::string option = takeWord(arguments);
    if (option != "--reply-to" && option != "--file") {
      return instead("There is no option " + option + " for send. Type help for a list.");
    }
    if (arguments.empty()) {
      return instead("The option " + option + " needs a value. Type help for details.");
    }
    std::string value = takeWord(arguments);
    if (option == "--reply-to") {
      message.replyToMessageId = std::move(value);
      continue;
    }
    auto attachment = readAttachment(value);
    if (!attachment) {
      return std::unexpected(attachment.error());
    }
    attachments.push_back(std::move(*attachment));
  }
  if (!attachments.empty()) {
    message.attachments = std::move(attachments);
  }
  message.conversationId = takeWord(arguments);
  message.text = arguments;
  if (message.conversationId.empty() || (message.text.empty() && !message.attachments)) {
    return instead("What to send, and where? Try: send family Dinner is ready");
  }
  return BridgeSendMessageRequest{platform, std::move(message)};
}

Parsed parseRaw(std::string_view arguments, const std::string& /*platform*/) {
  return RawLine{std::string(arguments)};
}

Parsed parseHelp(std::string_view /*arguments*/, const std::string& /*platform*/) {
  return ShowHelp{};
}

Parsed parseQuit(std::string_view /*arguments*/, const std::string& /*platform*/) {
  return Quit{};
}

struct CommandParser {
  std::string_view name;
  Parsed (*parse)(std::string_view arguments, const std::string& platform);
};

constexpr std::array<CommandParser, 12> commandParsers{{{"connect", parseConnect},
                                                        {"disconnect", parseDisconnect},
                                                        {"help", parseHelp},
                                                        {"?", parseHelp},
                                                        {"-h", parseHelp},
                                                        {"--help", parseHelp},
                                                        {"listen", parseListen},
                                                        {"quit", parseQuit},
                                                        {"exit", parseQuit},
                                                        {"raw", parseRaw},
                                                        {"send", parseSend},
                                                        {"stop", parseStop}}};

}  // namespace

std::string_view commandHelp() {
  return "  connect                  connect to the platform\n"
         "  disconnect               end the connection\n"
         "  listen test [TITLE]      ask for a test message\n"
         "  listen KIND ID [TITLE]   listen to a conversation, channel or thread\n"
         "  stop                     stop listening\n"
         "  send [OPTION]... ID TEXT send a message to a conversation\n"
         "    --reply-to MESSAGE     ... as an answer to this one\n"
         "    --file PATH            ... with this file\n"
         "  raw LINE, or {...}       send this line to the service unchanged\n"
         "  help, ?                  show these commands\n"
         "  quit, exit               end, like Ctrl-D\n"
         "Messages are shown with [CONVERSATION MESSAGE] at the end: the IDs to answer with.\n"
         "Put an ID or a path with spaces in \"quotation marks\".\n";
}

std::expected<Command, Failure> parseCommand(std::string_view line, const std::string& platform) {
  if (line.starts_with('{')) {
    return parseRaw(line, platform);
  }
  const std::string name = takeWord(line);
  const auto* const command = std::ranges::find(commandParsers, name, &CommandParser::name);
  if (command == commandParsers.end()) {
    return instead("There is no command '" + name + "'. Type help for a list.");
  }
  return command->parse(line, platform);
}

}  // namespace ferncrest
