#pragma once

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "foundation/Log.h"

namespace Log::testing {

/// Sends the logger's lines to a separate file and restores every setting of the logger at its end.
class LogCapture {
 public:
  LogCapture() {
    details::gFile = fStream;
    details::s_use_color = false;
  }
  ~LogCapture() {
    details::g_runtime_level = fSavedLevel;
    details::gFile = fSavedFile;
    details::s_use_color = fSavedColor;
    details::s_verbose = fSavedVerbose;
    details::gUseSyslog = fSavedUseSyslog;
    std::fclose(fStream);
  }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  /// What has reached the file so far, without what is still in the stream's buffer.
  [[nodiscard]] std::string Text() const {
    std::string text;
    char piece[4096];
    ssize_t length = 0;
    while ((length = ::pread(::fileno(fStream), piece, sizeof piece, static_cast<off_t>(text.size()))) > 0) {
      text.append(piece, static_cast<std::size_t>(length));
    }
    return text;
  }

 private:
  std::FILE* const fStream = std::tmpfile();
  std::FILE* const fSavedFile = details::gFile;
  const std::int32_t fSavedLevel = details::g_runtime_level;
  const bool fSavedColor = details::s_use_color;
  const bool fSavedVerbose = details::s_verbose;
  const bool fSavedUseSyslog = details::gUseSyslog;
};

}  // namespace Log::testing
