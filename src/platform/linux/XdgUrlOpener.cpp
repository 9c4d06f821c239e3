#include "platform/linux/XdgUrlOpener.h"

#include <QtCore/QDir>
#include <QtCore/QProcess>
#include <QtCore/QProcessEnvironment>

#include <algorithm>

#include "foundation/Console.h"

namespace vorn {
namespace {

constexpr char kProgram[] = "xdg-open";

bool IsSafeArgument(const std::string& text) {
  const auto isControl = [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; };
  return !text.empty() && text.front() != '-' && std::none_of(text.begin(), text.end(), isControl);
}

QProcessEnvironment BrowserEnvironment(const std::string& activationToken) {
  auto environment = QProcessEnvironment::systemEnvironment();
  for (const char* name :
       {"XDG_ACTIVATION_TOKEN", "DESKTOP_STARTUP_ID", "DBUS_STARTER_ADDRESS", "DBUS_STARTER_BUS_TYPE"}) {
    environment.remove(QLatin1String(name));
  }
  if (IsSafeArgument(activationToken)) {
    const auto token = QString::fromStdString(activationToken);
    environment.insert(QStringLiteral("XDG_ACTIVATION_TOKEN"), token);
    environment.insert(QStringLiteral("DESKTOP_STARTUP_ID"), token);  // the same thing to X11 programs
  }
  return environment;
}

}  // namespace

void XdgUrlOpener::Open(const std::string& url, const std::string& activationToken) {
  if (!IsSafeArgument(url)) {
    WriteToConsole("Not an address, not opened: " + Excerpt(url));
    return;
  }
  QProcess browser;
  browser.setProgram(QLatin1String(kProgram));
  browser.setArguments({QString::fromStdString(url)});
  browser.setProcessEnvironment(BrowserEnvironment(activationToken));
  browser.setWorkingDirectory(QDir::homePath());
  browser.setStandardInputFile(QProcess::nullDevice());
  browser.setStandardOutputFile(QProcess::nullDevice());
  browser.setStandardErrorFile(QProcess::nullDevice());
  if (!browser.startDetached()) {
    WriteToConsole(std::string("Cannot open the page: ") + kProgram + " could not be started");
  }
}

}  // namespace vorn
