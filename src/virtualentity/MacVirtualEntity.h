#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "foundation/Optional.h"
#include "platform/AVBCapability.h"
#include "platform/ChildProcess.h"
#include "platform/Dispatch.h"
#include "platform/NetworkServices.h"
#include "virtualentity/AVBTool.h"
#include "virtualentity/RunningTools.h"

namespace vorn {

/// The workstation's own virtual audio entity: finds on which interfaces it is
/// enabled, and switches it per interface through the system's AVB tool. What
/// the menus show of it is the user interface's own.
///
/// A failure is reported to nobody: an enumeration that fails finds nothing, and
/// a toggle that fails changes nothing. Enumerations may run beside each other;
/// each answers with lists of its own.
class MacVirtualEntity {
 public:
  /// One interface that can carry the entity.
  struct Item {
    std::string title;  ///< the network service's name, ":", the interface's name; literal text
    bool on = false;    ///< whether the entity is enabled there

    friend bool operator==(const Item&, const Item&) = default;
  };
  using Items = std::vector<Item>;

  /// The collaborators outlive the object and every job it posted, so the
  /// dispatch is destroyed before the others.
  MacVirtualEntity(Dispatch& dispatch, ChildProcessLauncher& launcher, NetworkServices& services,
                   AVBCapability& capability, AVBTool tool = {});
  MacVirtualEntity(const MacVirtualEntity&) = delete;
  MacVirtualEntity& operator=(const MacVirtualEntity&) = delete;

  /// Toggles in progress are left to finish by themselves, also beyond the
  /// program's end. No enumeration may be in progress (hold the object in the job that calls).
  ~MacVirtualEntity();

  /// Finds the capable interfaces, in the order of the network services, and
  /// reads which of them are enabled. Empty without a capable interface, and
  /// without a usable answer of the tool: then there is no menu. A service with
  /// a ":" in its name gets no item, because its interface could not be told
  /// when the item is chosen; a menu without items is a menu.
  ///
  /// A background thread; blocks for at least the tool's patience (one second).
  [[nodiscard]] optional<Items> EnumerateAVBInterfaces();

  /// Asks the tool which interfaces are enabled. Empty optional when its answer
  /// was not usable. Thread and blocking as above; at once without a shell.
  [[nodiscard]] optional<std::vector<std::string>> DetermineActiveVirtualEntities();

  /// Ends the listing of an enumeration in progress, with its child; that one,
  /// and every later one, then finds nothing without waiting. For the program's
  /// end, which would have to wait for it. Any thread; does not block.
  void StopListings();

  /// Runs the tool for the interface of an item, as a background job of default
  /// priority. Toggles run beside each other in no particular order and without
  /// a time limit. `onEnd`, where not empty, is called on the main thread once
  /// the tool has ended, or could not be run. User-interface thread; does not block.
  void EnableDisableVirtualAudio(const std::string& title, bool enable, std::function<void()> onEnd = {});

 private:
  [[nodiscard]] optional<std::vector<std::string>> FindCapableInterfaces();

  Dispatch& fDispatch;
  ChildProcessLauncher& fLauncher;
  NetworkServices& fServices;
  AVBCapability& fCapability;
  const AVBTool fTool;
  const std::shared_ptr<RunningTools> fRunning;  // shared with the jobs that have not run yet
};

}  // namespace vorn
