// Resolves services with the discovery engine until all are there. Then (or after the limit) writes a line
// {"resolved","seconds",...} with the figures of the process, destroys the engine and writes
// {"destructorSeconds",...}. Its only sockets are connections to the bus. The processor time leaves out the
// start of the process.
//
// bench_discovery COUNT LIMIT [DESTROY-AFTER]: with the third argument, the engine is destroyed after this
// many seconds, during its work.

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>

#include "AVB/Util/ZeroConf.h"
#include "bench/ProcessFigures.h"
#include "bench/Statistics.h"
#include "foundation/Process.h"
#include "foundation/RunLoop.h"

namespace {

using namespace std::chrono_literals;
using vorn::bench::Now;

/// A client of the engine like the watcher: takes the whole list at every change.
class Client : public vorn::WorkLoop {
 public:
  Client()
      : fItem(this, [this] { return Update(); }), fEngine(std::make_unique<vorn::ZeroConfEngine>(fItem)) {
    fEngine->BrowseForService("_http._tcp");
  }

  [[nodiscard]] std::size_t Resolved() const { return fServices.size(); }
  void DestroyEngine() { fEngine.reset(); }

 private:
  bool Update() {
    if (fEngine && fEngine->TestAndClearModified()) fEngine->GetResolvedServices(fServices);
    return true;
  }

  vorn::CppWorkItem fItem;
  std::vector<vorn::ZeroConfEngine::ServiceInfo> fServices;
  std::unique_ptr<vorn::ZeroConfEngine> fEngine;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::cerr << "usage: bench_discovery COUNT LIMIT [DESTROY-AFTER]\n";
    return 2;
  }
  const auto count = static_cast<std::size_t>(std::atoi(argv[1]));
  const double limit = argc > 3 ? std::atof(argv[3]) : std::atof(argv[2]);
  const double processorBefore = vorn::bench::ProcessFigures::Read().processorSeconds;
  vorn::SystemDNSSD::Instance();
  vorn::RaiseDescriptorLimit();
  const double start = Now();
  Client client;
  const auto loop = vorn::PollRunLoop::Current();
  while (client.Resolved() < count && Now() < start + limit) loop->RunOnce(10ms);
  const double seconds = Now() - start;
  const auto figures = vorn::bench::ProcessFigures::Read();
  std::cout << nlohmann::json{{"resolved", client.Resolved()},
                              {"seconds", seconds},
                              {"connections", figures.sockets},
                              {"threads", figures.threads},
                              {"processorSeconds", figures.processorSeconds - processorBefore}}
            << std::endl;
  const double destruction = Now();
  client.DestroyEngine();
  std::cout << nlohmann::json{{"destructorSeconds", Now() - destruction},
                              {"abandonedThreads", vorn::SystemDNSSD::Instance().AbandonedThreads()}}
            << std::endl;
  return 0;
}
