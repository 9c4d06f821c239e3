#pragma once

#include <chrono>
#include <map>
#include <string>

namespace vorn {

/// Where the system's AVB command-line tool is, and how long it may take.
struct AVBTool {
  std::string shell = "/bin/sh";                   ///< runs the listing's pipeline
  std::string path = "/usr/bin/avbutil";           ///< what a toggle runs; a listing goes by the PATH
  std::map<std::string, std::string> environment;  ///< set for every run, on top of our own
  std::chrono::milliseconds patience{1000};        ///< what a listing is given, and always takes
};

}  // namespace vorn
