#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace vorn {

/// The user-info entry that holds the web address a notice leads to.
inline constexpr char kUserInfoUrl[] = "URL";

/// One notice to the user. A plain value; all strings are bytes that may come
/// from the network, the centre makes them presentable.
struct UserNotification {
  std::string title;            ///< literal text, never markup
  std::string informativeText;  ///< literal text, never markup
  std::string subject;          ///< what the notice is about (a unit's uid); one notice stands per subject
  std::map<std::string, std::string> userInfo;  ///< comes back with the activation; never shown
  bool playsDefaultSound = false;

  /// Set by the centre: which delivery this is. 0 on a notice that no centre delivered.
  std::uint64_t identifier = 0;
  /// Set by the centre on activation: the desktop's leave to raise a window; often empty.
  std::string activationToken;
};

}  // namespace vorn
