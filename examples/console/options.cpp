#include "examples/console/options.h"

#include <unistd.h>

#include <filesystem>
#include <system_error>

namespace ferncrest {

namespace {

// If this program was found through PATH, so is the service: both are in the same directory.
std::string serviceBeside(const std::string& program) {
  return program.substr(0, program.rfind('/') + 1) + "FerncrestBridgeService";
}

// Checked here because the service answers as the stub, without a diagnostic, if the backend is not
// executable.
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
         "Starts the bridge service, shows its events and sends it the requests that you type.\n"
         "\n"
         "  --service PATH   the service (default: FerncrestBridgeService beside this program)\n"
         "  --backend PATH   the backend for the service to start\n"
         "  --platform NAME  the messaging platform (default: whatsapp)\n"
         "  -h, --help       show this help\n"
         "\n"
         "Commands, one per line, at the prompt or from a pipe:\n";
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
