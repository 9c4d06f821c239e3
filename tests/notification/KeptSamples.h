#pragma once

#include <gtest/gtest.h>

#include <string>

#include "notification/Queue.h"

namespace Notification::testing {

/// A kept notification with bytes in it that are hard to store.
inline KeptNotification MakeKept(const std::string& subject, std::uint32_t serverId) {
  KeptNotification kept;
  kept.notification.subject = subject;
  kept.notification.source = "192.0.2." + std::to_string(subject.size());
  kept.notification.title = "Update Available for \"a, b\"\n\xff" + subject;
  kept.notification.informativeText = "1.4.2";
  kept.notification.userInfo[vorn::kUserInfoUrl] = "http://unit.local/#device";
  kept.notification.playsDefaultSound = serverId == 0;
  kept.serverId = serverId;
  return kept;
}

inline void ExpectEqual(const KeptNotification& actual, const KeptNotification& expected) {
  EXPECT_EQ(actual.serverId, expected.serverId);
  EXPECT_EQ(actual.notification.subject, expected.notification.subject);
  EXPECT_EQ(actual.notification.source, expected.notification.source);
  EXPECT_EQ(actual.notification.title, expected.notification.title);
  EXPECT_EQ(actual.notification.informativeText, expected.notification.informativeText);
  EXPECT_EQ(actual.notification.userInfo, expected.notification.userInfo);
  EXPECT_EQ(actual.notification.playsDefaultSound, expected.notification.playsDefaultSound);
}

}  // namespace Notification::testing
