#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "platform/NotificationCenter.h"

namespace vorn::testing {

/// Records deliveries and removals, and clicks on request.
class FakeNotificationCenter final : public NotificationCenter {
 public:
  void SetDelegate(std::weak_ptr<Delegate> delegate) override { fDelegate = std::move(delegate); }
  [[nodiscard]] bool DeliverNotification(const UserNotification& notification) override {
    if (fIsFull) return false;
    fDelivered.push_back(notification);
    fDelivered.back().identifier = fDelivered.size();
    if (fOnDelivered) fOnDelivered();
    return true;
  }
  void SetOnRoom(std::function<void()> onRoom) override { fOnRoom = std::move(onRoom); }
  void RemoveDeliveredNotification(const UserNotification& notification) override {
    fRemoved.push_back(notification);
  }

  void ForgetWaitingNotification(const std::string& subject) override { fForgotten.push_back(subject); }
  void ForgetWaitingNotifications() override { fForgotten.push_back("(all)"); }

  /// The user clicks; false when nobody listens.
  bool Activate(const UserNotification& notification) {
    const auto delegate = fDelegate.lock();
    if (delegate) delegate->DidActivateNotification(notification);
    return delegate != nullptr;
  }

  std::vector<UserNotification> fDelivered;
  std::vector<UserNotification> fRemoved;
  std::vector<std::string> fForgotten;  ///< subjects
  std::function<void()> fOnDelivered;
  std::function<void()> fOnRoom;
  bool fIsFull = false;  ///< refuses what is delivered

 private:
  std::weak_ptr<Delegate> fDelegate;
};

}  // namespace vorn::testing
