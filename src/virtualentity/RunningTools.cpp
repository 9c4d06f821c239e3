#include "virtualentity/RunningTools.h"

#include <utility>

namespace vorn {

/// Owns a child that is in one of the lists. Both end together, also if the collection throws.
class RunningTools::Entry {
 public:
  Entry(RunningTools& tools, Children& list, std::unique_ptr<ChildProcess> child)
      : fTools(tools), fList(list), fChild(std::move(child)) {}
  Entry(const Entry&) = delete;
  Entry& operator=(const Entry&) = delete;
  ~Entry() {
    const std::lock_guard lock(fTools.fMutex);
    std::erase(fList, fChild.get());
    fChild.reset();
    fTools.fChanged.notify_all();
  }

  [[nodiscard]] ChildProcess& Child() const { return *fChild; }

 private:
  RunningTools& fTools;
  Children& fList;
  std::unique_ptr<ChildProcess> fChild;
};

void RunningTools::Run(ChildProcessLauncher& launcher, const ChildProcessRequest& request) {
  std::unique_ptr<ChildProcess> child;
  {
    // Under the lock, so that Stop finds every child that was started.
    const std::lock_guard lock(fMutex);
    if (!fTogglesStopped) child = launcher.Launch(request);
    if (child) fToggles.push_back(child.get());
  }
  if (!child) return;
  const Entry toggle(*this, fToggles, std::move(child));
  toggle.Child().AwaitEnd();
}

std::optional<ChildOutput> RunningTools::Watch(std::unique_ptr<ChildProcess> listing,
                                               Clock::time_point deadline) {
  {
    const std::lock_guard lock(fMutex);
    if (fListingsStopped) return {};
    if (listing) fListings.push_back(listing.get());
  }
  std::optional<ChildOutput> answer;
  if (listing) {
    const Entry entry(*this, fListings, std::move(listing));
    answer = entry.Child().CollectUntil(deadline);
  }
  std::unique_lock lock(fMutex);
  if (fChanged.wait_until(lock, deadline, [this] { return fListingsStopped; })) return {};
  return answer;
}

void RunningTools::StopListings() {
  const std::lock_guard lock(fMutex);
  fListingsStopped = true;
  for (ChildProcess* listing : fListings) listing->Terminate();
  fChanged.notify_all();
}

void RunningTools::Stop() {
  StopListings();
  std::unique_lock lock(fMutex);
  fTogglesStopped = true;
  for (ChildProcess* toggle : fToggles) toggle->Release();
  fChanged.wait(lock, [this] { return fToggles.empty(); });
}

}  // namespace vorn
