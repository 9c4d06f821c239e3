#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "foundation/Optional.h"
#include "platform/AVBCapability.h"
#include "platform/ChildProcess.h"
#include "platform/Dispatch.h"
#include "platform/NetworkServices.h"
#include "virtualentity/AVBTool.h"
#include "virtualentity/ActionSender.h"
#include "virtualentity/LatestChoices.h"
#include "virtualentity/MenuItemDescription.h"
#include "virtualentity/RunningTools.h"

namespace vorn {

/// The workstation's own virtual audio entity: shows on which interfaces it is
/// enabled, and switches it per interface through the system's AVB tool.
///
/// Failures are told to nobody: an enumeration that fails leaves no submenu, a
/// toggle that fails leaves the item as it was chosen until the next answer.
///
/// The submenu follows the answer to the latest question. An answer to a
/// question that was asked before the latest choice, or before the tool had
/// finished what was chosen, changes nothing; while the tool is at it, a later
/// answer leaves the mark that was chosen.
///
/// Enumerations may run beside each other: each works on lists of its own and
/// publishes them whole, so a submenu, and each list of the object, is one
/// enumeration's result or another's, never a mixture. The two lists are
/// published at different moments, and may be of different enumerations.
class MacVirtualEntity {
 public:
  /// The collaborators outlive the object and every job it posted, so the
  /// dispatch is destroyed before the others.
  MacVirtualEntity(Dispatch& dispatch, ChildProcessLauncher& launcher, NetworkServices& services,
                   AVBCapability& capability, AVBTool tool = {});
  MacVirtualEntity(const MacVirtualEntity&) = delete;
  MacVirtualEntity& operator=(const MacVirtualEntity&) = delete;

  /// Toggles in progress are left to finish by themselves, also beyond the
  /// program's end. No enumeration may be in progress (hold the object in the job that calls).
  ~MacVirtualEntity();

  /// Finds the capable interfaces, reads which of them are enabled, and
  /// installs a submenu with one item for each on the menu item that is set
  /// then. Without a capable interface, or a usable answer of the tool, there is
  /// none, and one that was there is taken away. True when the menu item has a
  /// submenu afterwards.
  ///
  /// Any background thread but those of high priority; blocks for at least the
  /// tool's patience (one second).
  bool EnumerateAVBInterfaces();

  /// Asks the tool which interfaces are enabled; true when its answer was
  /// usable. Threads and blocking as above.
  bool DetermineActiveVirtualEntities();

  /// Ends the listing of an enumeration or query in progress, with its child;
  /// that one, and every later one, then answers false without waiting. For the
  /// program's end, which would have to wait for it. Any thread; does not block.
  void StopListings();

  /// Flips the sender's check mark at once and runs the tool accordingly in the
  /// background. Toggles run beside each other in no particular order. A
  /// sender that is no menu item, or null, changes nothing.
  /// User-interface thread; does not block.
  void EnableDisableVirtualAudio(ActionSender* sender);

  /// The item that submenus are installed on. Any thread.
  [[nodiscard]] std::shared_ptr<MenuItemDescription> VirtualEntityMenuItem() const;
  void SetVirtualEntityMenuItem(std::shared_ptr<MenuItemDescription> item);

  /// The capable interfaces of the last enumeration: the service's name, ":",
  /// the interface's. Any thread.
  [[nodiscard]] std::vector<std::string> AVBInterfaces() const;

  /// The interfaces that the tool named in the last query; empty from the
  /// query's start. Any thread.
  [[nodiscard]] std::vector<std::string> EnabledAVBInterfaces() const;

 private:
  [[nodiscard]] std::shared_ptr<const void> NoteChoice(const std::string& title, bool on);
  optional<std::vector<std::string>> QueryActiveInterfaces();
  optional<ChildOutput> RunListing();
  optional<std::vector<std::string>> FindCapableInterfaces();

  Dispatch& fDispatch;
  ChildProcessLauncher& fLauncher;
  NetworkServices& fServices;
  AVBCapability& fCapability;
  const AVBTool fTool;
  const std::shared_ptr<RunningTools> fRunning;  // shared with the jobs that have not run yet
  const std::shared_ptr<LatestChoices> fChoices;

  mutable std::mutex fMutex;  // guards everything below; never held while anything is asked
  std::vector<std::string> fAVBInterfaces;
  std::vector<std::string> fEnabledAVBInterfaces;
  std::shared_ptr<const MenuDescription> fSubmenu;  // the latest answer, with the choices since; may be null
  LatestChoices::Moment fAnswered = 0;              // when that was asked for
  std::shared_ptr<MenuItemDescription> fVirtualEntityMenuItem;
};

}  // namespace vorn
