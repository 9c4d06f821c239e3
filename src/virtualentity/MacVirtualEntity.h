#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/AVBCapability.h"
#include "platform/ChildProcess.h"
#include "platform/Dispatch.h"
#include "platform/NetworkServices.h"
#include "virtualentity/AVBTool.h"
#include "virtualentity/RunningTools.h"

namespace vorn {

/// The workstation's own virtual audio entity: finds on which interfaces it is enabled, and switches it for
/// each interface through the system's AVB tool. The user interface decides what the menus show of it.
///
/// Failures are not reported: a failed enumeration finds nothing, and a failed toggle changes nothing.
/// Enumerations may run at the same time; each answers with separate lists.
class MacVirtualEntity {
 public:
  /// One interface that can carry the entity.
  struct Item {
    std::string title;  ///< the network service's name, ":", the interface's name; literal text
    bool on = false;    ///< whether the entity is enabled there

    friend bool operator==(const Item&, const Item&) = default;
  };
  using Items = std::vector<Item>;

  /// The collaborators must live longer than the object and every job that it posted. So destroy the dispatch
  /// before the others.
  MacVirtualEntity(Dispatch& dispatch, ChildProcessLauncher& launcher, NetworkServices& services,
                   AVBCapability& capability, AVBTool tool = {});
  MacVirtualEntity(const MacVirtualEntity&) = delete;
  MacVirtualEntity& operator=(const MacVirtualEntity&) = delete;

  /// Running toggles finish by themselves, also after the program's end. No enumeration may be running at
  /// destruction (hold the object in the job that calls).
  ~MacVirtualEntity();

  /// Finds the capable interfaces, in the order of the network services, and reads which of them are enabled.
  /// Empty without a capable interface, and without a usable answer of the tool: then there is no menu. A
  /// service with a ":" in its name gets no item, because its interface could not be read from the item's
  /// title. A menu without items is still a menu.
  ///
  /// A background thread. Blocks for at least the tool's patience (one second).
  [[nodiscard]] std::optional<Items> EnumerateAVBInterfaces();

  /// Asks the tool which interfaces are enabled. Empty optional if its answer was not usable. Thread and
  /// blocking as above; returns at once without a shell.
  [[nodiscard]] std::optional<std::vector<std::string>> DetermineActiveVirtualEntities();

  /// Ends the listing of the current enumeration, with its child. That one and every later one find nothing
  /// and do not wait. For the program's end, which would otherwise wait. Any thread; does not block.
  void StopListings();

  /// Runs the tool for the interface of an item, as a background job of default priority. Toggles run at the
  /// same time in no fixed order and without a time limit. `onEnd`, if not empty, is called after the
  /// tool has ended, or if it could not run, on the thread of the job. It must not throw. User-interface
  /// thread; does not block.
  void EnableDisableVirtualAudio(const std::string& title, bool enable, std::function<void()> onEnd = {});

 private:
  [[nodiscard]] std::optional<std::vector<std::string>> FindCapableInterfaces();

  Dispatch& fDispatch;
  ChildProcessLauncher& fLauncher;
  NetworkServices& fServices;
  AVBCapability& fCapability;
  const AVBTool fTool;
  const std::shared_ptr<RunningTools> fRunning;  // shared with the jobs that have not run yet
};

}  // namespace vorn
