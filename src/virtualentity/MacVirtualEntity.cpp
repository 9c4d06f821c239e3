#include "virtualentity/MacVirtualEntity.h"

#include <algorithm>
#include <chrono>
#include <future>
#include <utility>

#include "virtualentity/ActiveInterfaces.h"

namespace vorn {
namespace {

// The pieces between all ":" of a title, empty ones included.
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

// A title that does not fall into two parts (a service's name with a ":" in
// it) gets no item: its interface could not be told when it is chosen.
std::shared_ptr<MenuDescription> BuildSubmenu(const std::vector<std::string>& interfaces,
                                              const std::vector<std::string>& enabled) {
  auto menu = std::make_shared<MenuDescription>();
  for (const auto& title : interfaces) {
    const auto parts = SplitTitle(title);
    if (parts.size() != 2) continue;
    menu->items.push_back({title, std::find(enabled.begin(), enabled.end(), parts[1]) != enabled.end()});
  }
  return menu;
}

}  // namespace

MacVirtualEntity::MacVirtualEntity(Dispatch& dispatch, ChildProcessLauncher& launcher,
                                   NetworkServices& services, AVBCapability& capability, AVBTool tool)
    : fDispatch(dispatch),
      fLauncher(launcher),
      fServices(services),
      fCapability(capability),
      fTool(std::move(tool)),
      fRunning(std::make_shared<RunningTools>()),
      fChoices(std::make_shared<LatestChoices>()) {}

MacVirtualEntity::~MacVirtualEntity() {
  fRunning->Stop();
}

bool MacVirtualEntity::EnumerateAVBInterfaces() {
  const auto asked = fChoices->Ask();
  const auto enabled = QueryActiveInterfaces();
  const auto interfaces = enabled ? FindCapableInterfaces() : optional<std::vector<std::string>>();
  const bool any = interfaces && !interfaces->empty();
  const auto submenu = any ? BuildSubmenu(*interfaces, *enabled) : nullptr;

  const std::lock_guard lock(fMutex);
  if (interfaces) fAVBInterfaces = *interfaces;
  if (asked > fAnswered && fChoices->Accept(asked, submenu.get())) {
    fAnswered = asked;
    fSubmenu = submenu;
  }
  if (fVirtualEntityMenuItem) fVirtualEntityMenuItem->SetSubmenu(fSubmenu);
  return fVirtualEntityMenuItem && fSubmenu;
}

void MacVirtualEntity::StopListings() {
  fRunning->StopListings();
}

bool MacVirtualEntity::DetermineActiveVirtualEntities() {
  return QueryActiveInterfaces().has_value();
}

void MacVirtualEntity::EnableDisableVirtualAudio(ActionSender* sender) {
  auto* const item = dynamic_cast<MenuItem*>(sender);
  if (item == nullptr) return;
  const bool enable = !item->IsOn();
  item->SetOn(enable);
  const std::string title = item->Title();

  const auto job = [underWay = NoteChoice(title, enable), tools = fRunning, &launcher = fLauncher,
                    tool = fTool, title, enable] {
    const auto parts = SplitTitle(title);
    if (parts.size() < 2 || !launcher.IsExecutableFile(tool.path)) return;
    tools->Run(launcher, {tool.path,
                          {"--virtual-audio", enable ? "enable" : "disable", parts[1]},
                          tool.environment,
                          ChildProcessRequest::Streams::kDiscard});
  };
  fDispatch.AsyncBackground(Dispatch::Priority::kDefault, job);
}

std::shared_ptr<MenuItemDescription> MacVirtualEntity::VirtualEntityMenuItem() const {
  const std::lock_guard lock(fMutex);
  return fVirtualEntityMenuItem;
}

void MacVirtualEntity::SetVirtualEntityMenuItem(std::shared_ptr<MenuItemDescription> item) {
  const std::lock_guard lock(fMutex);
  fVirtualEntityMenuItem = std::move(item);
}

std::vector<std::string> MacVirtualEntity::AVBInterfaces() const {
  const std::lock_guard lock(fMutex);
  return fAVBInterfaces;
}

std::vector<std::string> MacVirtualEntity::EnabledAVBInterfaces() const {
  const std::lock_guard lock(fMutex);
  return fEnabledAVBInterfaces;
}

// Under the lock of the installation, so that no older answer comes in between.
std::shared_ptr<const void> MacVirtualEntity::NoteChoice(const std::string& title, bool on) {
  const std::lock_guard lock(fMutex);
  if (fSubmenu) {
    auto submenu = std::make_shared<MenuDescription>(*fSubmenu);
    for (auto& item : submenu->items) {
      if (item.title == title) item.on = on;
    }
    fSubmenu = submenu;
    if (fVirtualEntityMenuItem) fVirtualEntityMenuItem->SetSubmenu(fSubmenu);
  }
  return fChoices->Begin(title, on);
}

optional<std::vector<std::string>> MacVirtualEntity::QueryActiveInterfaces() {
  {
    const std::lock_guard lock(fMutex);
    fEnabledAVBInterfaces.clear();
  }
  if (!fLauncher.IsExecutableFile(fTool.shell)) return {};
  const auto answer = RunListing();
  if (!answer) return {};
  auto names = ReadActiveInterfaces(*answer);
  if (!names) return {};

  const std::lock_guard lock(fMutex);
  fEnabledAVBInterfaces = *names;
  return names;
}

// One job launches the child, another watches it and gives it the whole
// patience, whether it needs that or not. Each job alone holds its
// promise, so that a job that is dropped unrun ends the wait as well.
optional<ChildOutput> MacVirtualEntity::RunListing() {
  auto launched = std::make_shared<std::promise<std::unique_ptr<ChildProcess>>>();
  auto child = std::make_shared<std::future<std::unique_ptr<ChildProcess>>>(launched->get_future());
  auto watched = std::make_shared<std::promise<optional<ChildOutput>>>();
  auto answer = watched->get_future();
  fDispatch.AsyncBackground(Dispatch::Priority::kHigh,
                            [launched = std::move(launched), &launcher = fLauncher, tool = fTool] {
                              launched->set_value(launcher.Launch(ActiveInterfacesRequest(tool)));
                            });
  fDispatch.AsyncBackground(
      Dispatch::Priority::kHigh,
      [watched = std::move(watched), child = std::move(child), tools = fRunning, patience = fTool.patience] {
        const auto deadline = std::chrono::steady_clock::now() + patience;
        watched->set_value(tools->Watch(child->get(), deadline));
      });
  try {
    return answer.get();
  } catch (const std::future_error&) {
    return {};
  }
}

optional<std::vector<std::string>> MacVirtualEntity::FindCapableInterfaces() {
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
