// Defines the C library's calls themselves. Their header may give inline forms, so it is not included here.
#include "tests/foundation/SystemLogStandIn.h"

#include <cstdarg>
#include <cstdio>

namespace vorn::testing {

std::vector<SystemLogEntry>& SystemLogEntries() {
  static std::vector<SystemLogEntry> entries;
  return entries;
}

}  // namespace vorn::testing

extern "C" {

void vsyslog(int priority, const char* format, std::va_list arguments) __attribute__((format(printf, 2, 0)));
void vsyslog(int priority, const char* format, std::va_list arguments) {
  char text[2048];
  std::vsnprintf(text, sizeof text, format, arguments);
  vorn::testing::SystemLogEntries().push_back({priority, text});
}

// The name of the call in a hardened build.
void __vsyslog_chk(int priority, int flag, const char* format, std::va_list arguments)
    __attribute__((format(printf, 3, 0)));
void __vsyslog_chk(int priority, int /*flag*/, const char* format, std::va_list arguments) {
  vsyslog(priority, format, arguments);
}
}
