#include "virtualentity/RunningTools.h"

namespace vorn {

void RunningTools::Run(ChildProcessLauncher& launcher, const ChildProcessRequest& request) {
  std::unique_ptr<ChildProcess> child;
  {
    // Under the lock, so that Stop finds every child that was started.
    const std::lock_guard lock(fMutex);
    if (!fStopping) child = launcher.Launch(request);
    if (child) fChildren.push_back(child.get());
  }
  if (!child) return;
  child->CollectToEnd();

  const std::lock_guard lock(fMutex);
  std::erase(fChildren, child.get());
  child.reset();
  fEnded.notify_all();
}

void RunningTools::Stop(std::chrono::milliseconds grace) {
  std::unique_lock lock(fMutex);
  fStopping = true;
  const auto allEnded = [this] { return fChildren.empty(); };
  if (fEnded.wait_for(lock, grace, allEnded)) return;
  for (ChildProcess* child : fChildren) child->Terminate();
  fEnded.wait(lock, allEnded);
}

}  // namespace vorn
