#include "foundation/Log.h"

#include <syslog.h>

#include <chrono>

#include "foundation/Clock.h"

namespace Log::details {

std::int32_t g_runtime_level = 0;
bool s_verbose = false;
bool s_use_color = true;
bool gUseSyslog = false;
std::FILE* gFile = stdout;
std::string gAppName;

namespace {

const vorn::Clock::time_point s_start_time = vorn::Clock::now();

struct LevelTraits {
  const char* tag;  // six columns wide, so that messages are aligned
  int priority;
  const char* color;
};

LevelTraits TraitsOf(Level level) {
  switch (level) {
    case kDebug:
      return {"DEBUG:", LOG_DEBUG, ""};
    case kInfo:
      return {"INFO: ", LOG_INFO, ""};
    case kNote:
      return {"NOTE: ", LOG_NOTICE, ""};
    case kWarn:
      return {"WARN: ", LOG_WARNING, "\033[22;33m"};
    case kError:
      return {"ERROR:", LOG_ERR, "\033[22;31m"};
    case kFatal:
      return {"FATAL:", LOG_CRIT, "\033[1;31m"};
  }
  return {"OTHER:", LOG_CRIT, ""};
}

// The text after the last '/' that is not the path's final character.
const char* ShortFileName(const char* path) {
  const char* name = path;
  for (const char* c = path; *c != '\0'; ++c) {
    if (*c == '/' && c[1] != '\0') name = c + 1;
  }
  return name;
}

int ElapsedMilliseconds() {
  const auto elapsed = vorn::Clock::now() - s_start_time;
  return static_cast<int>(std::chrono::duration_cast<std::chrono::nanoseconds>(elapsed).count() / 1'000'000);
}

}  // namespace

void Log(Level level, const char* file, int line, const char* function, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  Log(level, file, line, function, format, arguments);
  va_end(arguments);
}

void Log(Level level, const char* file, int line, const char* function, const char* format,
         std::va_list arguments) {
  const LevelTraits traits = TraitsOf(level);
  const bool useColor = s_use_color && !gUseSyslog;
  const char* tag = gUseSyslog ? "" : traits.tag;
  const char* color = useColor ? traits.color : "";
  const char* bold = useColor ? "\033[1m" : "";
  const char* reset = useColor ? "\033[0m" : "";

  // The caller's format is a part of the line's format. The second pass expands both and writes the line.
  char lineFormat[1024];
  if (s_verbose) {
    std::snprintf(lineFormat, sizeof lineFormat, "%s%s%s %6d ms %s%s%s (%s:%d %s)\n", color, tag, reset,
                  ElapsedMilliseconds(), bold, format, reset, ShortFileName(file), line, function);
  } else {
    std::snprintf(lineFormat, sizeof lineFormat, "%s%s%s %s%s%s (%s:%d %s)\n", color, tag, reset, bold,
                  format, reset, ShortFileName(file), line, function);
  }

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  if (gUseSyslog) {
    ::vsyslog(traits.priority, lineFormat, arguments);
  } else {
    std::vfprintf(gFile, lineFormat, arguments);
    std::fflush(gFile);
  }
#pragma GCC diagnostic pop
}

}  // namespace Log::details
