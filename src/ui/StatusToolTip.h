#pragma once

#include <QString>
#include <QTimer>
#include <chrono>
#include <functional>

#include "devicelist/DiscoveryStatus.h"
#include "ui/PanelOwner.h"

namespace vorn::ui {

/// Keeps the status item's tool tip equal to what the list says: how many devices, and how many of them have
/// an update, or why none is listed. A listener of its owner as long as it lives. Main thread only.
class StatusToolTip final : public DeviceListListener {
 public:
  struct Timing {
    std::chrono::milliseconds collect{250};  ///< lists within this time change the tool tip once
    std::chrono::milliseconds look{5000};  ///< between two questions for the hint, while no device is listed
  };

  /// `hint`: why nothing may be listed. `show` gets the words, at once and after each change of the list.
  StatusToolTip(PanelOwner& owner, std::function<DeviceList::DiscoveryHint()> hint,
                std::function<void(const QString&)> show, Timing timing);
  ~StatusToolTip() override;
  StatusToolTip(const StatusToolTip&) = delete;
  StatusToolTip& operator=(const StatusToolTip&) = delete;

  void updateDeviceList(DeviceList::SharedUnits list) override;
  /// It has no settings menu.
  QMenu* menu() override { return nullptr; }

 private:
  void showWords();

  PanelOwner& fOwner;
  const std::function<DeviceList::DiscoveryHint()> fHint;
  const std::function<void(const QString&)> fShow;
  const Timing fTiming;
  DeviceList::SharedUnits fList;  // null before the first one
  bool fListWaits = false;        // it is not shown yet
  QTimer fTimer;                  // runs while a list waits, and while none is listed
};

}  // namespace vorn::ui
