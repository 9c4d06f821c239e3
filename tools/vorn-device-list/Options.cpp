#include "vorn-device-list/Options.h"

#include <getopt.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <string_view>
#include <utility>

#include "vorn-device-list/Translated.h"

namespace vorn::devicelisttool {
namespace {

constexpr double kLongestWaitSeconds = 86400;

enum LongOption : int { kWait = 256, kWatch, kFormat, kJson, kOutput, kNoSwitches, kOffline, kInterfaces };

constexpr option kLongOptions[] = {
    {"wait", required_argument, nullptr, kWait},
    {"watch", no_argument, nullptr, kWatch},
    {"format", required_argument, nullptr, kFormat},
    {"json", no_argument, nullptr, kJson},
    {"output", required_argument, nullptr, kOutput},
    {"no-switches", no_argument, nullptr, kNoSwitches},
    {"offline", no_argument, nullptr, kOffline},
    {"interfaces", no_argument, nullptr, kInterfaces},
    {"help", no_argument, nullptr, 'h'},
    {"version", no_argument, nullptr, 'V'},
    {nullptr, 0, nullptr, 0},
};

// Stop at the first non-option, and distinguish a missing value from an unknown option.
constexpr char kShortOptions[] = "+:hV";

constexpr std::pair<std::string_view, Form> kForms[] = {
    {"table", Form::kTable},
    {"json", Form::kJson},
    {"csv", Form::kCSV},
    {"openmetrics", Form::kOpenMetrics},
};

std::optional<std::chrono::milliseconds> ParseSeconds(const std::string& text) {
  double seconds = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, seconds, std::chars_format::fixed);
  if (error != std::errc() || stop != end || !(seconds >= 0 && seconds <= kLongestWaitSeconds)) return {};
  return std::chrono::milliseconds(std::llround(seconds * 1000));
}

// getopt_long returns '?' for three errors: no such option, an ambiguous option, or a value too many.
std::string RefusalOf(const std::string& argument) {
  std::string none = Translated("there is no option '%1'", {argument});
  if (!argument.starts_with("--")) return none;
  const std::string name = argument.substr(2, argument.find('=') - 2);
  const auto matches = std::count_if(
      std::begin(kLongOptions), std::end(kLongOptions) - 1,
      [&](const auto& known) { return std::strncmp(known.name, name.c_str(), name.size()) == 0; });
  if (matches > 1) return Translated("the option '%1' is ambiguous", {argument});
  return matches == 1 ? Translated("no value is allowed for the option '%1'", {argument}) : none;
}

std::string MissingValue(int option, const std::string& argument) {
  if (option == kWait) return Translated("a number of seconds must follow '%1'", {argument});
  if (option == kFormat) return Translated("a format must follow '%1'", {argument});
  return Translated("a file name must follow '%1'", {argument});
}

std::optional<std::string> SetWait(const std::string& text, Options& options) {
  const auto seconds = ParseSeconds(text);
  if (!seconds) return Translated("--wait takes a number of seconds from 0 to 86400, not '%1'", {text});
  options.wait = *seconds;
  return {};
}

// A script that asks for two forms expects both, so neither is right.
std::optional<std::string> SetForm(std::string_view word, std::string_view& chosen, Options& options) {
  const auto* const form = std::find_if(std::begin(kForms), std::end(kForms),
                                        [&](const auto& known) { return known.first == word; });
  if (form == std::end(kForms)) {
    return Translated("--format takes table, json, csv or openmetrics, not '%1'", {std::string(word)});
  }
  if (!chosen.empty() && chosen != word) {
    return Translated("the formats %1 and %2 exclude each other", {std::string(chosen), std::string(word)});
  }
  chosen = form->first;
  options.form = form->second;
  return {};
}

std::optional<std::string> SetOutput(const std::string& file, Options& options) {
  if (file.empty()) return Translated("--output takes a file name, not '%1'", {file});
  options.output = file == "-" ? "" : file;
  return {};
}

// Takes one option that getopt_long has found. `chosen` is the word of the form so far. Returns the error.
std::optional<std::string> Apply(int found, std::string_view& chosen, Options& options) {
  switch (found) {
    case kWait:
      return SetWait(optarg, options);
    case kFormat:
      return SetForm(optarg, chosen, options);
    case kJson:
      return SetForm("json", chosen, options);
    case kOutput:
      return SetOutput(optarg, options);
    case kWatch:
      options.watch = true;
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

bool HasNoSuchForm(const Options& options) {
  return options.action == Options::Action::kInterfaces && options.form == Form::kOpenMetrics;
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
  std::string_view chosen;
  opterr = 0;
  optind = 0;  // makes the C library start again
  for (int at = 1; !parsed.error; at = optind) {
    const int found = ::getopt_long(argc, argv, kShortOptions, kLongOptions, nullptr);
    if (found == -1) break;
    if (found == '?') {
      parsed.error = RefusalOf(argv[at]);
    } else if (found == ':') {
      parsed.error = MissingValue(optopt, argv[at]);
    } else {
      parsed.error = Apply(found, chosen, parsed.options);
    }
  }
  if (!parsed.error && optind < argc) parsed.error = Translated("unexpected argument '%1'", {argv[optind]});
  if (!parsed.error && HasNoSuchForm(parsed.options))
    parsed.error = Translated("--interfaces has no format openmetrics");
  return parsed;
}

std::string HelpText() {
  return Translated(
             "Usage: vorn-device-list [OPTION]...\n"
             "Lists the Vorn audio interfaces, hosts and switches of the local network.\n") +
         "\n" +
         Translated(
             "  --wait SECONDS   the time to look before printing (default 5); with --watch,\n"
             "                   the time before it says that nothing was found\n") +
         Translated("  --watch          continue until interrupted and show every change\n") +
         Translated(
             "  --format FORMAT  print in this format: table, json (one object on each line),\n"
             "                   csv, or openmetrics (for Prometheus)\n") +
         Translated("  --json           the same as --format json\n") +
         Translated(
             "  --output FILE    write into this file and replace it as a whole; with --watch,\n"
             "                   at each change\n") +
         Translated("  --no-switches    do not list switches\n") +
         Translated("  --offline        do not ask the update server for the newest firmware\n") +
         Translated(
             "  --interfaces     print this computer's network interfaces, whether each can\n"
             "                   carry AVB, and whether the virtual audio entity is on\n") +
         Translated("  -h, --help       print this text\n") +
         Translated("  -V, --version    print the version and build number\n") + "\n" +
         Translated("Exit status:\n") +
         Translated(
             "  0      it listed units or interfaces, a signal ended --watch, or nobody reads\n"
             "         its output any more\n") +
         Translated(
             "  1      it found no unit, could not list the network services, or could not\n"
             "         write its output\n") +
         Translated("  2      it does not understand the command line\n") +
         Translated(
             "  3      it found no unit because it could not look: the DNS-SD responder is\n"
             "         not running or does not answer, or there is no network\n") +
         Translated("  128+N  signal N came before the time was over\n");
}

}  // namespace vorn::devicelisttool
