#include "virtualentity/MacVirtualEntity.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace vorn {
namespace {

// The pieces between all ":" of a title, including empty ones.
std::vector<std::string> SplitTitle(const std::string& title) {
  std::vector<std::string> parts(1);
  for (const char c : title) {
    if (c == ':') {
      parts.emplace_back();
    } else {
      parts.back() += c;
    }
  }
  return parts;
}

MacVirtualEntity::Items BuildItems(const std::vector<std::string>& interfaces,
                                   const std::vector<std::string>& enabled) {
  MacVirtualEntity::Items items;
  for (const auto& title : interfaces) {
    const auto parts = SplitTitle(title);
    if (parts.size() != 2) continue;
    items.push_back({title, std::find(enabled.begin(), enabled.end(), parts[1]) != enabled.end()});
  }
  return items;
}

}  // namespace

MacVirtualEntity::MacVirtualEntity(Dispatch& dispatch, ChildProcessLauncher& launcher,
                                   NetworkServices& services, AVBCapability& capability, AVBTool tool)
    : fDispatch(dispatch),
      fLauncher(launcher),
      fServices(services),
      fCapability(capability),
      fTool(std::move(tool)),
      fRunning(std::make_shared<RunningTools>()) {}

MacVirtualEntity::~MacVirtualEntity() {
  fRunning->Stop();
}

std::optional<MacVirtualEntity::Items> MacVirtualEntity::EnumerateAVBInterfaces() {
  const auto enabled = DetermineActiveVirtualEntities();
  if (!enabled) return {};
  const auto interfaces = FindCapableInterfaces();
  if (!interfaces || interfaces->empty()) return {};
  return BuildItems(*interfaces, *enabled);
}

std::optional<std::vector<std::string>> MacVirtualEntity::DetermineActiveVirtualEntities() {
  if (!fLauncher.IsExecutableFile(fTool.shell)) return {};
  const auto deadline = Clock::now() + fTool.patience;
  const auto answer = fRunning->Watch(fLauncher.Launch(ActiveInterfacesRequest(fTool)), deadline);
  if (!answer) return {};
  return ReadActiveInterfaces(*answer);
}

void MacVirtualEntity::StopListings() {
  fRunning->StopListings();
}

void MacVirtualEntity::EnableDisableVirtualAudio(const std::string& title, bool enable,
                                                 std::function<void()> onEnd) {
  // Destroyed with the job, whether it was run, failed or was dropped.
  const std::shared_ptr<const void> end(nullptr, [onEnd = std::move(onEnd)](const void*) {
    if (onEnd) onEnd();
  });
  fDispatch.AsyncBackground(Dispatch::Priority::kDefault,
                            [end, tools = fRunning, &launcher = fLauncher, tool = fTool, title, enable] {
                              const auto parts = SplitTitle(title);
                              if (parts.size() < 2 || !launcher.IsExecutableFile(tool.path)) return;
                              tools->Run(launcher, ToggleRequest(tool, parts[1], enable));
                            });
}

std::optional<std::vector<std::string>> MacVirtualEntity::FindCapableInterfaces() {
  const auto services = fServices.CopyAll();
  if (!services) return {};
  std::vector<std::string> interfaces;
  for (const auto& service : *services) {
    if (service.interfaceName.empty()) continue;
    if (fCapability.Query(service.interfaceName) != AVBCapability::Answer::kCapable) continue;
    interfaces.push_back(service.name + ":" + service.interfaceName);
  }
  return interfaces;
}

}  // namespace vorn
