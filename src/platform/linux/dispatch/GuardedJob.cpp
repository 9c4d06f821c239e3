#include "platform/linux/dispatch/GuardedJob.h"

#include <array>
#include <cstdio>
#include <exception>

#include "foundation/Console.h"

namespace vorn {
namespace {

// The job may have failed for missing memory, so this message must not need much.
void TellFailure(const char* what) noexcept {
  std::array<char, 256> message{};
  std::snprintf(message.data(), message.size(), "A job failed: %s", what);
  WriteToConsole(message.data());
}

}  // namespace

void TellFailedJob() noexcept {
  try {
    throw;
  } catch (const std::exception& failure) {
    TellFailure(failure.what());
  } catch (...) {
    TellFailure("unknown exception");
  }
}

}  // namespace vorn
