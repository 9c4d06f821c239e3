#include "platform/linux/notices/NoticeStore.h"

#include <algorithm>
#include <charconv>
#include <string>
#include <utility>

#include "foundation/Console.h"
#include "platform/linux/files/UserFolders.h"

namespace vorn {
namespace {

constexpr char kBus[] = "bus";
constexpr char kServer[] = "server";
constexpr char kNotices[] = "notices";

constexpr char kWaiting[] = "waiting";
constexpr char kSound[] = "sound";
constexpr char kNoSound[] = "silent";

// The texts of a notice: its place (kWaiting, or the server's id), kSound or
// not, subject, title, informative text, address.
constexpr std::size_t kTexts = 6;

using Texts = std::vector<std::string>;

Texts TextsOf(const KeptNotice& kept) {
  const auto& notice = kept.notification;
  const auto address = notice.userInfo.find(kUserInfoUrl);
  return {kept.serverId == 0 ? kWaiting : std::to_string(kept.serverId),
          notice.playsDefaultSound ? kSound : kNoSound,
          notice.subject,
          notice.title,
          notice.informativeText,
          address == notice.userInfo.end() ? std::string() : address->second};
}

// 0 where the text is no id.
std::uint32_t IdFrom(const std::string& text) {
  std::uint32_t id = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), id);
  return error == std::errc() && end == text.data() + text.size() ? id : 0;
}

optional<KeptNotice> NoticeFrom(const std::string* texts) {
  KeptNotice kept;
  kept.serverId = IdFrom(texts[0]);
  if (kept.serverId == 0 && texts[0] != kWaiting) return {};
  kept.notification.playsDefaultSound = texts[1] == kSound;
  if (!kept.notification.playsDefaultSound && texts[1] != kNoSound) return {};
  kept.notification.subject = texts[2];
  kept.notification.title = texts[3];
  kept.notification.informativeText = texts[4];
  if (!texts[5].empty()) kept.notification.userInfo[kUserInfoUrl] = texts[5];
  return kept;
}

std::string TextOf(const UserDefaults& state, const char* key) {
  const auto text = state.GetString(key);
  return text ? *text : std::string();
}

/// What there is room for.
class Room {
 public:
  [[nodiscard]] bool Takes(const std::string* texts) {
    std::size_t size = 0;
    for (std::size_t i = 0; i < kTexts; ++i) {
      if (texts[i].size() > NoticeStore::kMaxLength) return false;
      size += texts[i].size();
    }
    if (fNotices == NoticeStore::kMaxNotices || size > NoticeStore::kMaxSize - fSize) return false;
    ++fNotices;
    fSize += size;
    return true;
  }

 private:
  std::size_t fNotices = 0;
  std::size_t fSize = 0;
};

}  // namespace

std::filesystem::path UserNoticesPath() {
  const auto folder = UserStateFolder();
  return folder.empty() ? folder : folder / "vorn-device-finder" / "notices.conf";
}

std::vector<KeptNotice> NoticeStore::Read(const ServerIdentity& server) {
  const auto texts = fState ? fState->GetStringArray(kNotices) : optional<Texts>();
  if (!texts) return {};
  fNotices = *texts;
  fServer = {TextOf(*fState, kBus), TextOf(*fState, kServer)};
  const bool isThisServer = !server.bus.empty() && !server.server.empty() && fServer == server;
  std::vector<KeptNotice> notices;
  Room room;
  bool isWhole = texts->size() % kTexts == 0;
  for (std::size_t i = 0; i + kTexts <= texts->size(); i += kTexts) {
    const std::string* first = texts->data() + i;
    auto notice = room.Takes(first) ? NoticeFrom(first) : optional<KeptNotice>();
    isWhole = isWhole && notice;
    if (notice && (notice->serverId == 0 || isThisServer)) notices.push_back(std::move(*notice));
  }
  if (!isWhole) WriteToConsole("Some notices of an earlier run cannot be read and are left out");
  return notices;
}

void NoticeStore::Write(const std::vector<KeptNotice>& notices, const ServerIdentity& server) {
  if (!fState) return;
  Texts all;
  Room room;
  for (const auto& notice : notices) {
    auto texts = TextsOf(notice);
    if (!room.Takes(texts.data())) continue;
    std::move(texts.begin(), texts.end(), std::back_inserter(all));
  }
  if (all == fNotices && (all.empty() || fServer == server)) return;
  fNotices = std::move(all);
  fServer = server;
  fState->SetString(kBus, server.bus);
  fState->SetString(kServer, server.server);
  fState->SetStringArray(kNotices, fNotices);
}

}  // namespace vorn
