#include "app/ActivationRequest.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusVariant>

namespace vorn::app {
namespace {

constexpr qsizetype kLongestToken = 1000;     // it becomes an environment variable
constexpr qsizetype kLongestAddress = 10000;  // longer than any that is opened

std::string TokenOf(const QVariant& platformData) {
  const auto data = qdbus_cast<QVariantMap>(platformData);
  for (const auto* key : {"activation-token", "desktop-startup-id"}) {
    const auto found = data.constFind(QLatin1String(key));
    if (found == data.cend() || found->userType() != QMetaType::QString) continue;
    const auto token = found->toString();
    if (token.size() <= kLongestToken) return token.toStdString();
  }
  return {};
}

/// The address in an action; empty if it is anything else.
std::string AddressIn(const QVariant& parameters) {
  const auto list = qdbus_cast<QVariantList>(parameters);
  if (list.size() != 1) return {};
  const QVariant& only = list.front();
  const QVariant value = only.canConvert<QDBusVariant>() ? only.value<QDBusVariant>().variant() : only;
  return value.userType() == QMetaType::QString ? value.toString().left(kLongestAddress).toStdString()
                                                : std::string();
}

}  // namespace

std::optional<ActivationRequest> ActivationRequest::Read(const QDBusMessage& message) {
  const auto member = message.member();
  const auto signature = message.signature();
  const auto arguments = message.arguments();
  if (member == QLatin1String("Activate") && signature == QLatin1String("a{sv}")) {
    return ActivationRequest{Kind::Activate, {}, TokenOf(arguments.at(0))};
  }
  if (member == QLatin1String("Open") && signature == QLatin1String("asa{sv}")) {
    return ActivationRequest{Kind::ShowDevices, {}, TokenOf(arguments.at(1))};
  }
  if (member != QLatin1String("ActivateAction") || signature != QLatin1String("sava{sv}")) return {};
  const auto action = arguments.at(0).toString();
  const auto token = TokenOf(arguments.at(2));
  if (action == QLatin1String(kShowDevicesAction)) {
    return ActivationRequest{Kind::ShowDevices, {}, token};
  }
  if (action == QLatin1String(kOpenPageAction)) {
    return ActivationRequest{Kind::OpenPage, AddressIn(arguments.at(1)), token};
  }
  return {};
}

QVariantMap ActivationRequest::PlatformData(const std::string& activationToken) {
  if (activationToken.empty()) return {};
  const auto token = QString::fromStdString(activationToken);
  return {{QStringLiteral("activation-token"), token}, {QStringLiteral("desktop-startup-id"), token}};
}

}  // namespace vorn::app
