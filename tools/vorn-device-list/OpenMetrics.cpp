#include "vorn-device-list/OpenMetrics.h"

#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "foundation/SafeText.h"
#include "foundation/Strings.h"

namespace vorn::devicelisttool {
namespace {

constexpr std::size_t kLongestLabel = 256;

struct Label {
  const char* name;
  std::string value;
};

std::string Escaped(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    if (c == '\n') {
      escaped += "\\n";
    } else {
      if (c == '"' || c == '\\') escaped += '\\';
      escaped += c;
    }
  }
  return escaped;
}

std::string LabelValue(const std::string& bytes) {
  std::u32string text = SafeText(bytes, U"\n");
  if (text.size() > kLongestLabel) {
    text.resize(kLongestLabel - 1);
    text.push_back(U'\u2026');
  }
  return Escaped(ToUTF8(text));
}

template <typename T>
std::string LabelValue(const optional<T>& value) {
  return value ? LabelValue(SlowConvertToString(*value)) : "";
}

std::string Sample(const char* metric, const std::vector<Label>& labels, long long value) {
  std::string line = metric;
  const char* separator = "{";
  for (const Label& label : labels) {
    line += std::exchange(separator, ",") + std::string(label.name) + "=\"" + label.value + "\"";
  }
  return line + (labels.empty() ? " " : "} ") + std::to_string(value) + "\n";
}

// All families are gauges: the older format has no type for information.
std::string Heading(const std::string& metric, const char* help) {
  return "# TYPE " + metric + " gauge\n# HELP " + metric + " " + help + "\n";
}

std::string ListGauges(int updates, LookedAt lookedAt) {
  std::string text = Heading("vorn_updates_available", "The number of units with a newer firmware.") +
                     Sample("vorn_updates_available", {}, updates);
  if (!lookedAt) return text;
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(lookedAt->time_since_epoch());
  return text +
         Heading("vorn_list_timestamp_seconds", "When the program last could look for units, in Unix time.") +
         Sample("vorn_list_timestamp_seconds", {}, seconds.count());
}

}  // namespace

std::string UnitMetrics(const Units& units, LookedAt lookedAt) {
  std::string information =
      Heading("vorn_unit_info", "A unit of the list. The labels say what is known about it.");
  std::string marks = Heading("vorn_update_available",
                              "Whether the firmware of the unit is older than the newest of its model.");
  std::unordered_set<std::string> identities;
  int updates = 0;
  for (const auto& unit : units) {
    const Label identity{"url", LabelValue(unit.url)};
    if (!identities.insert(identity.value).second) continue;
    const bool isOutdated = DeviceList::UpdateAvailable(unit);
    updates += isOutdated ? 1 : 0;
    information += Sample("vorn_unit_info",
                          {identity,
                           {"name", LabelValue(unit.name)},
                           {"kind", LabelValue(KindWord(unit.type))},
                           {"model", LabelValue(unit.modelID)},
                           {"firmware", LabelValue(unit.firmwareVersion)},
                           {"newest", LabelValue(unit.latestVersion)}},
                          1);
    marks += Sample("vorn_update_available", {identity}, isOutdated ? 1 : 0);
  }
  return information + marks + ListGauges(updates, lookedAt) + "# EOF\n";
}

}  // namespace vorn::devicelisttool
