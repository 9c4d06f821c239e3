#include "virtualentity/InterfaceReport.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <chrono>
#include <ostream>
#include <utility>

#include "foundation/Console.h"
#include "foundation/SafeText.h"
#include "foundation/UTF8Text.h"
#include "virtualentity/ActiveInterfaces.h"

namespace vorn {
namespace {

using Answer = AVBCapability::Answer;
using Entity = InterfaceReport::Entity;
using Names = std::vector<std::string>;
using Cells = std::array<std::u32string, 4>;

const char* ReasonText(Answer answer) {
  switch (answer) {
    case Answer::kCapable:
      return nullptr;
    case Answer::kNoHardwareTimeStamping:
      return "no hardware time stamping";
    case Answer::kTooFewTransmitQueues:
      return "too few transmit queues";
    case Answer::kWireless:
      return "wireless";
    case Answer::kNoSuchInterface:
      break;
  }
  return "no such interface";
}

const char* EntityText(Entity entity) {
  switch (entity) {
    case Entity::kEnabled:
      return "enabled";
    case Entity::kNotEnabled:
      return "not enabled";
    case Entity::kUnknown:
      break;
  }
  return "unknown";
}

// The tool's listing without the menu's rule that it takes a whole second.
optional<Names> AskTool(ChildProcessLauncher& launcher, const AVBTool& tool) {
  if (!launcher.IsExecutableFile(tool.shell)) return {};
  const auto child = launcher.Launch(ActiveInterfacesRequest(tool));
  if (!child) return {};
  return ReadActiveInterfaces(child->CollectUntil(std::chrono::steady_clock::now() + tool.patience));
}

Entity StateOf(const std::string& interfaceName, const optional<Names>& enabled) {
  if (!enabled) return Entity::kUnknown;
  const bool found = std::find(enabled->begin(), enabled->end(), interfaceName) != enabled->end();
  return found ? Entity::kEnabled : Entity::kNotEnabled;
}

Cells CellsOf(const InterfaceReport::Row& row) {
  const char* reason = ReasonText(row.capability);
  return {SafeText(row.service.name), SafeText(row.service.interfaceName),
          SafeText(reason == nullptr ? "capable" : std::string("no: ") + reason),
          SafeText(EntityText(row.entity))};
}

void WriteLine(std::ostream& out, const Cells& cells, const std::array<std::size_t, 4>& widths) {
  std::u32string line;
  for (std::size_t i = 0; i < cells.size(); ++i) {
    line += cells[i];
    if (i + 1 < cells.size()) line.append(widths[i] - CellWidth(cells[i]) + 2, U' ');
  }
  out << ToUTF8(line) << '\n';
}

}  // namespace

InterfaceReport::InterfaceReport(std::vector<Row> rows) : fRows(std::move(rows)) {}

optional<InterfaceReport> InterfaceReport::Collect(NetworkServices& services, AVBCapability& capability,
                                                   ChildProcessLauncher& launcher, const AVBTool& tool) {
  auto all = services.CopyAll();
  if (!all) return {};
  const auto enabled = AskTool(launcher, tool);
  std::vector<Row> rows;
  for (auto& service : *all) {
    const Answer answer = capability.Query(service.interfaceName);
    const Entity entity = StateOf(service.interfaceName, enabled);
    rows.push_back({std::move(service), answer, entity});
  }
  return InterfaceReport(std::move(rows));
}

void InterfaceReport::WriteTable(std::ostream& out) const {
  std::vector<Cells> lines{{U"NAME", U"INTERFACE", U"AVB", U"VIRTUAL ENTITY"}};
  for (const Row& row : fRows) lines.push_back(CellsOf(row));
  std::array<std::size_t, 4> widths{};
  for (const Cells& line : lines) {
    for (std::size_t i = 0; i < line.size(); ++i) widths[i] = std::max(widths[i], CellWidth(line[i]));
  }
  for (const Cells& line : lines) WriteLine(out, line, widths);
}

void InterfaceReport::WriteJSON(std::ostream& out) const {
  auto list = nlohmann::ordered_json::array();
  for (const Row& row : fRows) {
    const char* reason = ReasonText(row.capability);
    nlohmann::ordered_json entry;
    entry["name"] = row.service.name;
    entry["interface"] = row.service.interfaceName;
    entry["capable"] = reason == nullptr;
    entry["reason"] = reason == nullptr ? nlohmann::ordered_json() : nlohmann::ordered_json(reason);
    entry["virtualEntity"] = EntityText(row.entity);
    list.push_back(std::move(entry));
  }
  nlohmann::ordered_json object;
  object["interfaces"] = std::move(list);
  constexpr int kOneLine = -1;
  out << object.dump(kOneLine, ' ', true, nlohmann::ordered_json::error_handler_t::replace) << '\n';
}

int PrintInterfaces(std::ostream& out, bool json, NetworkServices& services, AVBCapability& capability,
                    ChildProcessLauncher& launcher, const AVBTool& tool) {
  const auto report = InterfaceReport::Collect(services, capability, launcher, tool);
  if (!report) {
    WriteToConsole("The network services cannot be listed");
    return 1;
  }
  if (json) {
    report->WriteJSON(out);
  } else {
    report->WriteTable(out);
  }
  out.flush();
  return out.good() ? 0 : 1;
}

}  // namespace vorn
