#include "examples/console/options.h"

#include <unistd.h>

#include <filesystem>
#include <system_error>

namespace ferncrest {

namespace {

// Found through PATH when this program was: then the service lies beside it there as well.
std::string serviceBeside(const std::string& program) {
  return program.substr(0, program.rfind('/') + 1) + "FerncrestBridgeService";
}

// The service silently does without a backend that it cannot execute, so this is said here.
std::expected<std::string, Failure> executableAt(const std::string& path) {
  std::error_code error;
  std::string absolute = std::filesystem::absolute(path, error).string();
  if (error || std::filesystem::is_directory(absolute, error) ||
      ::access(absolute.c_str(), X_OK) != 0) {
    return std::unexpected(
        Failure{"There is no program to execute at " + path + ". Check the path after --backend."});
  }
  return absolute;
}

Outcome setOption(Options& options, const std::string& name, const std::string& value) {
  if (name == "--service") {
    options.service = value;
    return {};
  }
  if (name == "--platform") {
    options.platform = value;
    return {};
  }
  auto backend = executableAt(value);
  if (!backend) {
    return std::unexpected(backend.error());
  }
  options.backend = *backend;
  return {};
}

}  // namespace

std::string_view optionHelp() {
  return "Usage: ferncrest-console [OPTION]...\n"
         "Starts the bridge service as its host: shows its events and sends it what you type.\n"
         "\n"
         "  --service PATH   the service (default: FerncrestBridgeService beside this program)\n"
         "  --backend PATH   the backend that the service is to start\n"
         "  --platform NAME  the messaging platform (default: whatsapp)\n"
         "  -h, --help       show this help\n"
         "\n"
         "Commands, a line each, at the prompt or through a pipe:\n";
}

std::expected<Options, Failure> parseOptions(const std::string& program,
                                             const std::vector<std::string>& arguments) {
  Options options{.service = serviceBeside(program), .backend = {}};
  for (auto argument = arguments.begin(); argument != arguments.end(); ++argument) {
    const std::string& name = *argument;
    if (name == "--help" || name == "-h") {
      options.help = true;
      return options;
    }
    if (name != "--service" && name != "--backend" && name != "--platform") {
      return std::unexpected(Failure{"There is no option " + name + ". Try --help."});
    }
    if (++argument == arguments.end()) {
      return std::unexpected(Failure{"The option " + name + " needs a value. Try --help."});
    }
    if (const Outcome set = setOption(options, name, *argument); !set) {
      return std::unexpected(set.error());
    }
  }
  return options;
}

}  // namespace ferncrest
