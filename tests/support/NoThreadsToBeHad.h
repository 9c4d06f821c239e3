#pragma once

#include <pthread.h>

#include <cstddef>

namespace vorn::testing {

/// While it lives, new threads ask for more stack than any machine has, so
/// that starting one fails.
class NoThreadsToBeHad {
 public:
  NoThreadsToBeHad() {
    pthread_getattr_default_np(&fBefore);
    pthread_attr_t huge;
    pthread_attr_init(&huge);
    pthread_attr_setstacksize(&huge, std::size_t{1} << 48);
    pthread_setattr_default_np(&huge);
    pthread_attr_destroy(&huge);
  }
  ~NoThreadsToBeHad() {
    pthread_setattr_default_np(&fBefore);
    pthread_attr_destroy(&fBefore);
  }
  NoThreadsToBeHad(const NoThreadsToBeHad&) = delete;
  NoThreadsToBeHad& operator=(const NoThreadsToBeHad&) = delete;

 private:
  pthread_attr_t fBefore{};
};

}  // namespace vorn::testing
