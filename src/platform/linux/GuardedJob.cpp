#include "platform/linux/GuardedJob.h"

#include <exception>

#include "foundation/Log.h"

namespace vorn {
namespace {

void LogFailure(const char* what) noexcept {
  if (Log::details::g_runtime_level > Log::kError) return;
  Log::details::Log(Log::kError, __FILE__, __LINE__, "RunGuarded", "A job failed: %s", what);
}

}  // namespace

void LogFailedJob() noexcept {
  try {
    throw;
  } catch (const std::exception& failure) {
    LogFailure(failure.what());
  } catch (...) {
    LogFailure("unknown exception");
  }
}

}  // namespace vorn
