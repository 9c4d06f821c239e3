#pragma once

#include <functional>

namespace vorn {

/// Runs the job; what it throws is logged as an error and goes no further.
void RunGuarded(const std::function<void()>& job) noexcept;

}  // namespace vorn
