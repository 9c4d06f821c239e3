#include "bench/Statistics.h"

#include <algorithm>
#include <chrono>
#include <ctime>

#include "foundation/RunLoop.h"

namespace vorn::bench {
namespace {

double Read(clockid_t clock) {
  timespec time{};
  ::clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

double Quantile(std::vector<double>& values, double part) {
  if (values.empty()) return 0;
  const auto index = static_cast<std::ptrdiff_t>(part * static_cast<double>(values.size() - 1));
  std::nth_element(values.begin(), values.begin() + index, values.end());
  return values[static_cast<std::size_t>(index)];
}

}  // namespace

double Median(std::vector<double> values) {
  return Quantile(values, 0.5);
}

nlohmann::json Summary(const std::vector<double>& values, double scale) {
  std::vector<double> copy = values;
  return {{"median", Quantile(copy, 0.5) * scale},
          {"p95", Quantile(copy, 0.95) * scale},
          {"max", Quantile(copy, 1) * scale},
          {"count", values.size()}};
}

double Now() {
  return Read(CLOCK_MONOTONIC);
}

void RunFor(double seconds) {
  const auto loop = PollRunLoop::Current();
  for (const double end = Now() + seconds; Now() < end;) loop->RunOnce(std::chrono::milliseconds(50));
}

double ThreadCpu() {
  return Read(CLOCK_THREAD_CPUTIME_ID);
}
double ProcessCpu() {
  return Read(CLOCK_PROCESS_CPUTIME_ID);
}

}  // namespace vorn::bench
