#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace vorn::testing {

/// Sets one variable of the environment for its own lifetime. Only while no
/// other thread touches the environment.
class ScopedEnvironment {
 public:
  ScopedEnvironment(const char* name, const std::string& value) : fName(name) {
    if (const char* before = std::getenv(name)) fBefore = before;
    ::setenv(name, value.c_str(), 1);
  }
  ~ScopedEnvironment() {
    if (fBefore) {
      ::setenv(fName, fBefore->c_str(), 1);
    } else {
      ::unsetenv(fName);
    }
  }
  ScopedEnvironment(const ScopedEnvironment&) = delete;
  ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;

 private:
  const char* fName;
  std::optional<std::string> fBefore;
};

}  // namespace vorn::testing
