#include "vorn-device-list/InterfaceReport.h"

#include <algorithm>
#include <chrono>
#include <string>
#include <utility>

#include "foundation/Clock.h"
#include "foundation/Console.h"
#include "vorn-device-list/ListForms.h"
#include "vorn-device-list/ListProgram.h"
#include "vorn-device-list/Translated.h"

namespace vorn::devicelisttool {
namespace {

using Answer = AVBCapability::Answer;
using Entity = Interface::Entity;
using Names = std::vector<std::string>;

// The tool's listing, but without the menu's rule that it takes a whole second.
std::optional<Names> AskTool(ChildProcessLauncher& launcher, const AVBTool& tool) {
  if (!launcher.IsExecutableFile(tool.shell)) return {};
  const auto child = launcher.Launch(ActiveInterfacesRequest(tool));
  if (!child) return {};
  return ReadActiveInterfaces(child->CollectUntil(Clock::now() + tool.patience));
}

Entity StateOf(const std::string& interfaceName, const std::optional<Names>& enabled) {
  if (!enabled) return Entity::kUnknown;
  const bool found = std::find(enabled->begin(), enabled->end(), interfaceName) != enabled->end();
  return found ? Entity::kEnabled : Entity::kNotEnabled;
}

std::string Rendered(const Interfaces& interfaces, Form form) {
  if (form == Form::kCSV) return InterfaceCSV(interfaces);
  return form == Form::kJson ? InterfaceJson(interfaces) + "\n" : InterfaceTable(interfaces);
}

}  // namespace

std::optional<Interfaces> CollectInterfaces(NetworkServices& services, AVBCapability& capability,
                                            ChildProcessLauncher& launcher, const AVBTool& tool) {
  auto all = services.CopyAll();
  if (!all) return {};
  const auto enabled = AskTool(launcher, tool);
  Interfaces interfaces;
  for (auto& service : *all) {
    const Answer answer = capability.Query(service.interfaceName);
    const Entity entity = StateOf(service.interfaceName, enabled);
    interfaces.push_back({std::move(service), answer, entity});
  }
  return interfaces;
}

int PrintInterfaces(const Options& options, NetworkServices& services, AVBCapability& capability,
                    ChildProcessLauncher& launcher, const AVBTool& tool) {
  const auto interfaces = CollectInterfaces(services, capability, launcher, tool);
  if (!interfaces) {
    WriteToConsole(Translated("The network services cannot be listed"));
    return kFailed;
  }
  return Print(Rendered(*interfaces, options.form), options.output);
}

}  // namespace vorn::devicelisttool
