#include "platform/linux/settings/SavingThread.h"

#include <exception>
#include <utility>

#include "foundation/Thread.h"

namespace vorn {

SavingThread::SavingThread(std::shared_ptr<RunLoop> loop, std::function<void()> onDone)
    : fLoop(std::move(loop)), fOnDone(std::move(onDone)) {
  fSource = fLoop->AddSource(fDone.Descriptor(), [this] { Finish(); });
}

SavingThread::~SavingThread() {
  fLoop->RemoveSource(fSource);
  Await();
}

void SavingThread::Start(const std::function<void()>& work) {
  fIsRunning = true;
  try {
    fThread = StartThread("settings", [this, work] {
      work();
      fDone.Set();
    });
  } catch (const std::exception&) {  // neither a thread nor the memory for one
    work();
    fDone.Set();
  }
}

bool SavingThread::Await() {
  if (!std::exchange(fIsRunning, false)) return false;
  if (fThread.joinable()) fThread.join();
  fDone.Clear();
  return true;
}

void SavingThread::Finish() {
  if (Await()) fOnDone();
}

}  // namespace vorn
