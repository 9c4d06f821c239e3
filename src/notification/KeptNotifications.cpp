#include "notification/KeptNotifications.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <optional>
#include <string>
#include <utility>

#include "foundation/Console.h"

namespace Notification {
namespace {

constexpr char kBus[] = "bus";
constexpr char kServer[] = "server";
constexpr char kNotifications[] = "notices";  // as in files of earlier versions
constexpr char kSources[] = "sources";        // one for each notification; earlier versions kept none
constexpr std::size_t kMaxSourceLength = 64;

constexpr char kWaiting[] = "waiting";
constexpr char kSound[] = "sound";
constexpr char kNoSound[] = "silent";

// The texts of a notification: its place (kWaiting, or the server's id), kSound or not, subject, title,
// informative text, address.
constexpr std::size_t kTexts = 6;

using Texts = std::vector<std::string>;

Texts TextsOf(const KeptNotification& kept) {
  const auto& notification = kept.notification;
  const auto address = notification.userInfo.find(vorn::kUserInfoUrl);
  return {kept.serverId == 0 ? kWaiting : std::to_string(kept.serverId),
          notification.playsDefaultSound ? kSound : kNoSound,
          notification.subject,
          notification.title,
          notification.informativeText,
          address == notification.userInfo.end() ? std::string() : address->second};
}

// 0 where the text is no id.
std::uint32_t IdFrom(const std::string& text) {
  std::uint32_t id = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), id);
  return error == std::errc() && end == text.data() + text.size() ? id : 0;
}

std::optional<KeptNotification> NotificationFrom(const std::string* texts) {
  KeptNotification kept;
  kept.serverId = IdFrom(texts[0]);
  if (kept.serverId == 0 && texts[0] != kWaiting) return {};
  kept.notification.playsDefaultSound = texts[1] == kSound;
  if (!kept.notification.playsDefaultSound && texts[1] != kNoSound) return {};
  kept.notification.subject = texts[2];
  kept.notification.title = texts[3];
  kept.notification.informativeText = texts[4];
  if (!texts[5].empty()) kept.notification.userInfo[vorn::kUserInfoUrl] = texts[5];
  return kept;
}

std::string TextOf(const vorn::UserDefaults& state, const char* key) {
  const auto text = state.GetString(key);
  return text ? *text : std::string();
}

/// What there is room for.
class Room {
 public:
  [[nodiscard]] bool Takes(const std::string* texts) {
    std::size_t size = 0;
    for (std::size_t i = 0; i < kTexts; ++i) {
      if (texts[i].size() > KeptNotifications::kMaxLength) return false;
      size += texts[i].size();
    }
    if (fCount == KeptNotifications::kMaxNotifications || size > KeptNotifications::kMaxSize - fSize)
      return false;
    ++fCount;
    fSize += size;
    return true;
  }

 private:
  std::size_t fCount = 0;
  std::size_t fSize = 0;
};

}  // namespace

std::vector<KeptNotification> KeptNotifications::Read(const ServerIdentity& server) {
  const auto texts = fState ? fState->GetStringArray(kNotifications) : std::optional<Texts>();
  if (!texts) return {};
  fTexts = *texts;
  if (const auto sources = fState->GetStringArray(kSources)) fSources = *sources;
  fServer = {TextOf(*fState, kBus), TextOf(*fState, kServer)};
  const bool isThisServer = !server.bus.empty() && !server.server.empty() && fServer == server;
  std::vector<KeptNotification> notifications;
  Room room;
  bool isWhole = texts->size() % kTexts == 0;
  for (std::size_t i = 0; i + kTexts <= texts->size(); i += kTexts) {
    const std::string* first = texts->data() + i;
    auto kept = room.Takes(first) ? NotificationFrom(first) : std::optional<KeptNotification>();
    isWhole = isWhole && kept;
    if (kept) kept->notification.source = SourceAt(i / kTexts);
    if (kept && (kept->serverId == 0 || isThisServer)) notifications.push_back(std::move(*kept));
  }
  if (!isWhole) vorn::WriteToConsole("Some notifications of an earlier run cannot be read and are left out");
  return notifications;
}

std::string KeptNotifications::SourceAt(std::size_t index) const {
  const bool areAllThere = fSources.size() * kTexts == fTexts.size();
  return areAllThere && fSources[index].size() <= kMaxSourceLength ? fSources[index] : std::string();
}

void KeptNotifications::Write(const std::vector<KeptNotification>& notifications,
                              const ServerIdentity& server) {
  if (!fState) return;
  Texts all;
  Texts sources;
  Room room;
  for (const auto& kept : notifications) {
    auto texts = TextsOf(kept);
    if (!room.Takes(texts.data())) continue;
    std::move(texts.begin(), texts.end(), std::back_inserter(all));
    sources.push_back(kept.notification.source);
  }
  if (all == fTexts && sources == fSources && (all.empty() || fServer == server)) return;
  fTexts = std::move(all);
  fSources = std::move(sources);
  fServer = server;
  fState->SetString(kBus, server.bus);
  fState->SetString(kServer, server.server);
  fState->SetStringArray(kNotifications, fTexts);
  fState->SetStringArray(kSources, fSources);
}

}  // namespace Notification
