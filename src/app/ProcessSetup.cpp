#include "app/ProcessSetup.h"

#include <malloc.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

#include "AVB/Util/SystemDNSSD.h"
#include "devicelist/http/CurlTransfer.h"
#include "foundation/Log.h"
#include "foundation/Process.h"

namespace vorn::app {
namespace {

// A handler, where ignoring would do for us, since programs that we start
// inherit what is ignored.
void SurviveClosedPipes() {
  struct sigaction action {};
  action.sa_handler = [](int) {};
  ::sigaction(SIGPIPE, &action, nullptr);
}

// The threads are many and nearly always asleep: a heap of its own for each
// would cost more than waiting for one another ever could.
void ShareOneHeap() {
  ::mallopt(M_ARENA_MAX, 1);
}

}  // namespace

void PrepareProcess() {
  ShareOneHeap();
  RaiseDescriptorLimit();
  SurviveClosedPipes();
  Log::details::gFile = stderr;
  Log::details::s_use_color = ::isatty(STDERR_FILENO) == 1;
  SystemDNSSD::Instance();
  DeviceList::InitHTTP();
}

}  // namespace vorn::app
