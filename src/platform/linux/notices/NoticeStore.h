#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "platform/UserDefaults.h"
#include "platform/linux/notices/NoticeQueue.h"

namespace vorn {

/// Where the notices of this user are kept: vorn-device-finder/notices.conf in
/// the user's folder for state; empty when nobody knows a home. Reads the
/// environment: main thread.
[[nodiscard]] std::filesystem::path UserNoticesPath();

/// What the notification centre must not lose when the program ends, in a
/// store of its own: the notices that wait, and those that stand with their
/// ids, the server that gave these and the bus that it is on.
///
/// What is read counts as a stranger's: a notice that is not whole, too long or
/// one too many is left out, which the console is told. What would be left out
/// is not written.
///
/// @threadsafety The main thread only.
class NoticeStore {
 public:
  static constexpr std::size_t kMaxNotices = 2048;
  static constexpr std::size_t kMaxLength = 8192;                 ///< of one text of a notice, in bytes
  static constexpr std::size_t kMaxSize = std::size_t{1} << 20U;  ///< of all texts together

  /// `state` must outlive this object; null: nothing is kept.
  explicit NoticeStore(UserDefaults* state) : fState(state) {}

  /// What was kept, oldest first. Notices that stood on another server, or on
  /// another bus, are left out: they were shown, and their ids mean nothing.
  [[nodiscard]] std::vector<KeptNotice> Read(const ServerIdentity& server);

  /// Replaces what is kept. The store saves it in its own time; it is left
  /// alone where nothing has changed.
  void Write(const std::vector<KeptNotice>& notices, const ServerIdentity& server);

 private:
  UserDefaults* fState;
  std::vector<std::string> fNotices;  ///< as the state holds them
  ServerIdentity fServer;
};

}  // namespace vorn
