#include "app/LaunchAtLogin.h"

#include "app/Identity.h"
#include "foundation/Console.h"

namespace vorn::app {
namespace {

constexpr char kLoginItemFailed[] = "Launch On Login failed";

}  // namespace

std::string LaunchAtLogin::getLauncherName() {
  return Identity::kLauncherIdentifier;
}

void LaunchAtLogin::setLaunchOnLogin(bool enabled) {
  if (fItems && !fItems->SetEnabled(getLauncherName(), enabled)) WriteToConsole(kLoginItemFailed);
}

bool LaunchAtLogin::launchOnLogin() {
  if (!fItems) return false;
  const auto job = fItems->JobLabelled(getLauncherName());
  return job && job->onDemand;
}

bool LaunchAtLogin::appInLoginItems() {
  return fItems && fItems->JobLabelled(getLauncherName()).has_value();
}

void LaunchAtLogin::repairLoginItem() {
  if (fItems && !fItems->Repair(getLauncherName())) WriteToConsole(kLoginItemFailed);
}

}  // namespace vorn::app
