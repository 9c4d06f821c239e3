#include "check-avbutil/Contract.h"

#include <net/if.h>

#include <algorithm>
#include <utility>

#include "foundation/Clock.h"
#include "foundation/Console.h"
#include "foundation/Strings.h"

namespace vorn::checkavbutil {
namespace {

std::string FirstLine(const std::string& text) {
  return Excerpt(text.substr(0, text.find('\n')));
}

bool Holds(const std::vector<std::string>& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

std::string Joined(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + Excerpt(name);
  return text.empty() ? "no interface" : text;
}

}  // namespace

Contract::Contract(ChildProcessLauncher& launcher, AVBTool tool, Report report)
    : fLauncher(launcher), fTool(std::move(tool)), fReport(std::move(report)) {}

bool Contract::CheckListing() {
  if (!Say(fLauncher.IsExecutableFile(fTool.path), fTool.path + " is an executable file")) return false;
  const ChildProcessRequest listing{
      fTool.path, {"--virtual-audio", "list"}, fTool.environment, ChildProcessRequest::Streams::kCollect};
  if (!CheckAnswer(Run(listing))) return false;
  const auto names = List();
  return Say(names.has_value(), "the application can read the listing") && CheckNames(*names);
}

bool Contract::CheckAnswer(const ChildOutput& answer) {
  const std::string time = std::to_string(fTool.patience.count()) + " ms";
  if (!Say(!answer.timedOut, "\"--virtual-audio list\" ends within " + time + ", with its children"))
    return false;
  bool isKept = Say(answer.error.empty(), answer.error.empty()
                                              ? "it writes nothing to standard error"
                                              : "it writes to standard error: " + FirstLine(answer.error));
  isKept &= Say(!answer.cut, "it writes at most 1 MiB");
  isKept &= Say(IsUTF8(answer.output), "it writes UTF-8");
  return Say(answer.output.find("interface") != std::string::npos,
             "a line with the word \"interface\" comes before the names") &&
         isKept;
}

bool Contract::CheckNames(const Names& names) {
  bool isKept = Say(true, "the entity is enabled on " + Joined(names));
  if (Holds(names, "")) isKept = Say(false, "no line is blank after the heading");
  for (const std::string& name : names) {
    if (name.empty() || ::if_nametoindex(name.c_str()) != 0) continue;
    isKept = Say(false, "\"" + Excerpt(name) + "\" is the name of an interface of this machine");
  }
  return isKept;
}

bool Contract::CheckToggle(const std::string& interfaceName) {
  const auto names = List();
  if (!Say(names.has_value(), "the application can read the listing")) return false;
  const bool wasEnabled = Holds(*names, interfaceName);
  const bool isSwitched = Switch(interfaceName, !wasEnabled);
  return Switch(interfaceName, wasEnabled) && isSwitched;
}

bool Contract::Switch(const std::string& interfaceName, bool enable) {
  const auto request = ToggleRequest(fTool, interfaceName, enable);
  const std::string command = "\"--virtual-audio " + request.arguments[1] + " " + interfaceName + "\"";
  const auto child = fLauncher.Launch(request);
  if (!Say(child != nullptr, command + " starts")) return false;
  child->AwaitEnd();
  const auto names = List();
  return Say(names && Holds(*names, interfaceName) == enable,
             "after " + command + " the listing " + (enable ? "names" : "does not name") + " the interface");
}

std::optional<Contract::Names> Contract::List() {
  return ReadActiveInterfaces(Run(ActiveInterfacesRequest(fTool)));
}

ChildOutput Contract::Run(const ChildProcessRequest& request) {
  const auto child = fLauncher.Launch(request);
  if (!child) return {{}, "it cannot be started", false, false};
  return child->CollectUntil(Clock::now() + fTool.patience);
}

bool Contract::Say(bool isKept, const std::string& line) {
  fReport(isKept, line);
  return isKept;
}

}  // namespace vorn::checkavbutil
