#include "vorn-device-list/ListForms.h"

#include <nlohmann/json.hpp>

#include <utility>

#include "devicelist/Entry.h"
#include "foundation/SafeText.h"
#include "foundation/Strings.h"
#include "foundation/Translatable.h"
#include "vorn-device-list/Translated.h"

namespace vorn::devicelisttool {
namespace {

using Json = nlohmann::ordered_json;

enum Column : std::size_t { kName, kKind, kModel, kFirmware, kNewest, kURL, kUpdate };

std::vector<TextTable::Column> Columns() {
  return {{Translated("NAME"), 40},
          // Translators: at most 8 cells, and so are "device", "host" and "switch".
          {Translated("KIND"), 8},
          {Translated("MODEL"), 24},
          {Translated("FIRMWARE"), 24},
          {Translated("NEWEST"), 24},
          {Translated("URL"), 80},
          // Translators: at most 6 cells, and so is "update".
          {Translated("UPDATE"), 6}};
}

// What becomes shorter on a narrow terminal, in this order. The address is the longest and says least. The
// mark stands for the newest version. The mark itself stays, if necessary as the only column.
const std::vector<TextTable::Concession> kConcessions{{kURL, 12},     {kName, 12}, {kURL, 0},
                                                      {kNewest, 0},   {kKind, 0},  {kModel, 0},
                                                      {kFirmware, 0}, {kName, 1},  {kName, 0}};

template <typename T>
std::string TextOrDash(const optional<T>& value) {
  return value ? SlowConvertToString(*value) : "-";
}

template <typename T>
Json TextOrNull(const optional<T>& value) {
  return value ? Json(SlowConvertToString(*value)) : Json(nullptr);
}

std::string JsonLine(const char* member, Json list) {
  Json object;
  object[member] = std::move(list);
  constexpr int kOneLine = -1;
  return object.dump(kOneLine, ' ', true, Json::error_handler_t::replace);
}

template <typename T>
std::string TextOrNothing(const optional<T>& value) {
  return value ? SlowConvertToString(*value) : "";
}

std::string CSVField(const std::string& bytes) {
  std::string text = ToUTF8(SafeText(bytes, U"\n"));
  if (text.find_first_of(",\"\n") == std::string::npos) return text;
  std::string field = "\"";
  for (const char c : text) field.append(c == '"' ? 2 : 1, c);
  return field + '"';
}

std::string CSVRecord(const std::vector<std::string>& fields) {
  std::string record;
  const char* separator = "";
  for (const std::string& field : fields) record += std::exchange(separator, ",") + CSVField(field);
  return record + "\r\n";
}

// The table translates these words, and the other forms never do.

// Why an interface cannot carry AVB; null if it can.
const char* ReasonText(AVBCapability::Answer answer) {
  using Answer = AVBCapability::Answer;
  switch (answer) {
    case Answer::kCapable:
      return nullptr;
    case Answer::kNoHardwareTimeStamping:
      return Translatable("Core", "no hardware time stamping");
    case Answer::kTooFewTransmitQueues:
      return Translatable("Core", "too few transmit queues");
    case Answer::kWireless:
      return Translatable("Core", "wireless");
    case Answer::kNoSuchInterface:
      break;
  }
  return Translatable("Core", "no such interface");
}

const char* EntityText(Interface::Entity entity) {
  switch (entity) {
    case Interface::Entity::kEnabled:
      return Translatable("Core", "enabled");
    case Interface::Entity::kNotEnabled:
      return Translatable("Core", "not enabled");
    case Interface::Entity::kUnknown:
      break;
  }
  return Translatable("Core", "unknown");
}

}  // namespace

std::string UnitTable(const Units& units, const TableStyle& style) {
  if (units.empty()) return FittingLine(Translated(DeviceList::kNoUnitsText), style.width);
  TextTable table(Columns(), kConcessions);
  for (const auto& unit : units) {
    const bool outdated = DeviceList::UpdateAvailable(unit);
    const bool isKnown = DeviceList::KindOf(unit.type) != nullptr;  // otherwise it is a stranger's text
    table.AddRow({TextOrDash(unit.name), isKnown ? Translated(KindWord(unit.type).c_str()) : unit.type,
                  TextOrDash(unit.modelID), TextOrDash(unit.firmwareVersion), TextOrDash(unit.latestVersion),
                  unit.url, outdated ? Translated("update") : ""},
                 outdated);
  }
  return table.Text(style);
}

std::string UnitJson(const Units& units) {
  Json list = Json::array();
  for (const auto& unit : units) {
    list.push_back({{"name", TextOrNull(unit.name)},
                    {"type", unit.type},
                    {"url", unit.url},
                    {"uid", unit.uid},
                    {"modelID", TextOrNull(unit.modelID)},
                    {"firmwareVersion", TextOrNull(unit.firmwareVersion)},
                    {"latestVersion", TextOrNull(unit.latestVersion)},
                    {"updateAvailable", DeviceList::UpdateAvailable(unit)}});
  }
  return JsonLine("units", std::move(list));
}

std::string UnitCSV(const Units& units) {
  std::string text = CSVRecord({"name", "kind", "model", "firmware", "newest", "url", "uid", "update"});
  for (const auto& unit : units) {
    text += CSVRecord({TextOrNothing(unit.name), KindWord(unit.type), TextOrNothing(unit.modelID),
                       TextOrNothing(unit.firmwareVersion), TextOrNothing(unit.latestVersion), unit.url,
                       unit.uid, DeviceList::UpdateAvailable(unit) ? "true" : "false"});
  }
  return text;
}

std::string KindWord(const std::string& type) {
  const DeviceList::UnitKind* kind = DeviceList::KindOf(type);
  return kind ? std::string(kind->column) : type;
}

std::string InterfaceTable(const Interfaces& interfaces) {
  TextTable table(
      {{Translated("NAME")}, {Translated("INTERFACE")}, {Translated("AVB")}, {Translated("VIRTUAL ENTITY")}});
  for (const auto& interface : interfaces) {
    const char* reason = ReasonText(interface.capability);
    table.AddRow({interface.service.name, interface.service.interfaceName,
                  reason == nullptr ? Translated("capable") : Translated("no: %1", {Translated(reason)}),
                  Translated(EntityText(interface.entity))});
  }
  return table.Text({});
}

std::string InterfaceJson(const Interfaces& interfaces) {
  Json list = Json::array();
  for (const auto& interface : interfaces) {
    const char* reason = ReasonText(interface.capability);
    list.push_back({{"name", interface.service.name},
                    {"interface", interface.service.interfaceName},
                    {"capable", reason == nullptr},
                    {"reason", reason == nullptr ? Json(nullptr) : Json(reason)},
                    {"virtualEntity", EntityText(interface.entity)}});
  }
  return JsonLine("interfaces", std::move(list));
}

std::string InterfaceCSV(const Interfaces& interfaces) {
  std::string text = CSVRecord({"name", "interface", "capable", "reason", "virtual_entity"});
  for (const auto& interface : interfaces) {
    const char* reason = ReasonText(interface.capability);
    text += CSVRecord({interface.service.name, interface.service.interfaceName,
                       reason == nullptr ? "true" : "false", reason == nullptr ? "" : reason,
                       EntityText(interface.entity)});
  }
  return text;
}

}  // namespace vorn::devicelisttool
