// Another process with the same settings file: settings-writer PATH PREFIX COUNT stores the arrays PREFIX0,
// PREFIX1, ... one by one and prints each number when its entry is saved.

#include <cstdio>
#include <cstdlib>
#include <string>

#include "platform/linux/settings/IniUserDefaults.h"

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  vorn::IniUserDefaults defaults(argv[1]);
  const std::string prefix = argv[2];
  const int count = std::atoi(argv[3]);
  for (int i = 0; i < count; ++i) {
    // Without a run loop each change is saved at once.
    defaults.SetStringArray(prefix + std::to_string(i), {"1.0.0+" + std::to_string(i), "1.1.0+2"});
    while (!defaults.Synchronize()) {
    }
    std::printf("%d\n", i);
    std::fflush(stdout);
  }
  return 0;
}
