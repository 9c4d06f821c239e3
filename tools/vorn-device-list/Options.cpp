#include "vorn-device-list/Options.h"

#include <getopt.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

namespace vorn::devicelisttool {
namespace {

constexpr double kLongestWaitSeconds = 86400;

enum LongOption : int { kWait = 256, kWatch, kJson, kNoSwitches, kOffline, kInterfaces };

constexpr option kLongOptions[] = {
    {"wait", required_argument, nullptr, kWait},
    {"watch", no_argument, nullptr, kWatch},
    {"json", no_argument, nullptr, kJson},
    {"no-switches", no_argument, nullptr, kNoSwitches},
    {"offline", no_argument, nullptr, kOffline},
    {"interfaces", no_argument, nullptr, kInterfaces},
    {"help", no_argument, nullptr, 'h'},
    {"version", no_argument, nullptr, 'V'},
    {nullptr, 0, nullptr, 0},
};

// Stop at the first non-option, and distinguish a missing value from an unknown option.
constexpr char kShortOptions[] = "+:hV";

std::optional<std::chrono::milliseconds> ParseSeconds(const std::string& text) {
  double seconds = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, seconds, std::chars_format::fixed);
  if (error != std::errc() || stop != end || !(seconds >= 0 && seconds <= kLongestWaitSeconds)) return {};
  return std::chrono::milliseconds(std::llround(seconds * 1000));
}

std::string Quoted(const std::string& argument) {
  return "'" + argument + "'";
}

// getopt_long returns '?' for three errors: no such option, an ambiguous option, or a value too many.
std::string RefusalOf(const std::string& argument) {
  if (!argument.starts_with("--")) return "there is no option " + Quoted(argument);
  const std::string name = argument.substr(2, argument.find('=') - 2);
  const auto matches = std::count_if(
      std::begin(kLongOptions), std::end(kLongOptions) - 1,
      [&](const auto& known) { return std::strncmp(known.name, name.c_str(), name.size()) == 0; });
  if (matches > 1) return "the option " + Quoted(argument) + " is ambiguous";
  return (matches == 1 ? "no value is allowed for the option " : "there is no option ") + Quoted(argument);
}

// Takes one option that getopt_long has found. Returns the error.
std::optional<std::string> Apply(int found, Options& options) {
  switch (found) {
    case kWait: {
      const auto seconds = ParseSeconds(optarg);
      if (!seconds) return "--wait takes a number of seconds from 0 to 86400, not " + Quoted(optarg);
      options.wait = *seconds;
      break;
    }
    case kWatch:
      options.watch = true;
      break;
    case kJson:
      options.json = true;
      break;
    case kNoSwitches:
      options.showSwitches = false;
      break;
    case kOffline:
      options.offline = true;
      break;
    case kInterfaces:
      options.action = Options::Action::kInterfaces;
      break;
    case 'h':
      options.action = Options::Action::kHelp;
      break;
    case 'V':
      options.action = Options::Action::kVersion;
      break;
    default:
      break;
  }
  return {};
}

}  // namespace

ParsedOptions ParseOptions(const std::vector<std::string>& arguments) {
  std::string program;
  std::vector<std::string> copies = arguments;
  std::vector<char*> pointers{program.data()};
  for (std::string& argument : copies) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  const int argc = static_cast<int>(pointers.size()) - 1;
  char** const argv = pointers.data();

  ParsedOptions parsed;
  opterr = 0;
  optind = 0;  // makes the C library start again
  for (int at = 1; !parsed.error; at = optind) {
    const int found = ::getopt_long(argc, argv, kShortOptions, kLongOptions, nullptr);
    if (found == -1) break;
    if (found == '?') {
      parsed.error = RefusalOf(argv[at]);
    } else if (found == ':') {
      parsed.error = "a number of seconds must follow " + Quoted(argv[at]);
    } else {
      parsed.error = Apply(found, parsed.options);
    }
  }
  if (!parsed.error && optind < argc) parsed.error = "unexpected argument " + Quoted(argv[optind]);
  return parsed;
}

std::string HelpText() {
  return "Usage: vorn-device-list [OPTION]...\n"
         "Lists the Vorn audio interfaces, hosts and switches of the local network.\n"
         "\n"
         "  --wait SECONDS   the time to look before printing (default 5); with --watch,\n"
         "                   the time before it says that nothing was found\n"
         "  --watch          continue until interrupted and show every change\n"
         "  --json           print one JSON object on each line instead of a table\n"
         "  --no-switches    do not list switches\n"
         "  --offline        do not ask the update server for the newest firmware\n"
         "  --interfaces     print this computer's network interfaces, whether each can\n"
         "                   carry AVB, and whether the virtual audio entity is on\n"
         "  -h, --help       print this text\n"
         "  -V, --version    print the version and build number\n"
         "\n"
         "Exit status:\n"
         "  0      it listed units or interfaces, a signal ended --watch, or nobody reads\n"
         "         its output any more\n"
         "  1      it found no unit, could not list the network services, or could not\n"
         "         write its output\n"
         "  2      it does not understand the command line\n"
         "  3      it found no unit because it could not look: the DNS-SD responder is\n"
         "         not running or does not answer, or there is no network\n"
         "  128+N  signal N came before the time was over\n";
}

}  // namespace vorn::devicelisttool
