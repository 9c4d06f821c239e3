#include "vorn-device-list/Options.h"

#include <charconv>
#include <cmath>

namespace vorn::devicelisttool {
namespace {

constexpr double kLongestWaitSeconds = 86400;

optional<std::chrono::milliseconds> ParseSeconds(const std::string& text) {
  double seconds = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, seconds, std::chars_format::fixed);
  if (error != std::errc() || stop != end || !(seconds >= 0 && seconds <= kLongestWaitSeconds)) return {};
  return std::chrono::milliseconds(std::llround(seconds * 1000));
}

// Takes one argument; `next` is the one after it, and is consumed by clearing
// it. Returns what is wrong.
optional<std::string> Apply(const std::string& argument, const std::string*& next, Options& options) {
  if (argument == "--watch") {
    options.watch = true;
  } else if (argument == "--json") {
    options.json = true;
  } else if (argument == "--no-switches") {
    options.showSwitches = false;
  } else if (argument == "--interfaces") {
    options.action = Options::Action::kInterfaces;
  } else if (argument == "--help" || argument == "-h") {
    options.action = Options::Action::kHelp;
  } else if (argument == "--version") {
    options.action = Options::Action::kVersion;
  } else if (argument == "--wait") {
    const auto seconds = next == nullptr ? optional<std::chrono::milliseconds>() : ParseSeconds(*next);
    next = nullptr;
    if (!seconds) return std::string("--wait takes a number of seconds from 0 to 86400");
    options.wait = *seconds;
  } else {
    return "there is no option '" + argument + "'";
  }
  return {};
}

}  // namespace

ParsedOptions ParseOptions(const std::vector<std::string>& arguments) {
  ParsedOptions parsed;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    std::string argument = arguments[i];
    const std::string* next = i + 1 < arguments.size() ? &arguments[i + 1] : nullptr;
    std::string inlineValue;
    if (argument.starts_with("--wait=")) {
      inlineValue = argument.substr(argument.find('=') + 1);
      argument = "--wait";
      next = &inlineValue;
    }
    const bool hadNext = next != nullptr && next != &inlineValue;
    parsed.error = Apply(argument, next, parsed.options);
    if (parsed.error) return parsed;
    if (hadNext && next == nullptr) ++i;
  }
  return parsed;
}

std::string HelpText() {
  return "Usage: vorn-device-list [OPTION]...\n"
         "Lists the Vorn audio interfaces, hosts and switches of the local network.\n"
         "\n"
         "  --wait SECONDS   look for so long before printing (default 5)\n"
         "  --watch          go on until interrupted, showing every change\n"
         "  --json           print one JSON object a line instead of a table\n"
         "  --no-switches    leave switches out\n"
         "  --interfaces     print this computer's network interfaces, whether each can\n"
         "                   carry AVB, and whether the virtual audio entity is on\n"
         "  --help           print this text\n"
         "  --version        print the version and build number\n"
         "\n"
         "Leaves with 0 when units or interfaces were listed (or --watch was ended by a\n"
         "signal, or the reader has gone); 1 when no unit was found, the network services\n"
         "cannot be listed or the output cannot be written; 2 when the command line is\n"
         "not understood; 128 and the signal's number when one came before the time was\n"
         "up.\n";
}

}  // namespace vorn::devicelisttool
