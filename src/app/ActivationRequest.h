#pragma once

#include <QVariantMap>
#include <optional>
#include <string>

class QDBusMessage;

namespace vorn::app {

/// A request from the session bus to the running program, and its form there (org.freedesktop.Application).
/// A stranger may have written it: a text that is too long is cut or dropped.
struct ActivationRequest {
  enum class Kind {
    Activate,     ///< the program was started (again): show what there is to show
    ShowDevices,  ///< show the panel
    OpenPage,     ///< open a page; nothing of the program itself appears
  };

  /// The action with a parameter that opens a page, and the one that shows the panel.
  static constexpr char kOpenPageAction[] = "open-page";
  static constexpr char kShowDevicesAction[] = "show-devices";

  /// The request of a method call; empty for a method or an action that we do not offer.
  [[nodiscard]] static std::optional<ActivationRequest> Read(const QDBusMessage& message);

  /// What another start sends so that our window may take its focus.
  [[nodiscard]] static QVariantMap PlatformData(const std::string& activationToken);

  Kind kind = Kind::Activate;
  std::string address;          ///< of the page; the sender on the bus chose it
  std::string activationToken;  ///< the sender's permission to take the focus; may be empty
};

}  // namespace vorn::app
