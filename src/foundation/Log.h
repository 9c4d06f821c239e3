#pragma once

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <string>

/// The core's logger: one line for each call, printf style, on a stream or in the system log, optionally with
/// colours and a millisecond clock.
///
/// @threadsafety Any thread may log: the caller's stack holds the line, and one call writes it. The settings
/// below are plain globals; change them before threads start.
namespace Log {

/// Severity. The threshold compares the number.
enum Level : int {
  kDebug = 1,
  kInfo = 2,
  kNote = 3,
  kWarn = 4,
  kError = 5,
  kFatal = 6,
};

namespace details {

extern std::int32_t g_runtime_level;  ///< messages of a lower level are not written; call sites test it
extern bool s_verbose;                ///< add the column of milliseconds since program load
extern bool s_use_color;              ///< ANSI colours, whatever the stream is connected to
extern bool gUseSyslog;               ///< write to the system log, without tag and colour
extern std::FILE* gFile;              ///< where lines go otherwise; flushed after each line
extern std::string gAppName;          ///< kept for front ends; the logger never reads it

/// Writes one line: tag, message, then "(file:line function)" with only the last component of the file. A '%'
/// in `file` or `function` counts as a conversion of the message, because the whole line is built as its
/// format. A line over 1023 bytes before expansion is cut. Output errors are ignored.
void Log(Level level, const char* file, int line, const char* function, const char* format, ...)
    __attribute__((format(printf, 5, 6)));
void Log(Level level, const char* file, int line, const char* function, const char* format,
         std::va_list arguments) __attribute__((format(printf, 5, 0)));

}  // namespace details
}  // namespace Log
