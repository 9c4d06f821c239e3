#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <thread>

#include "AVB/Util/AvahiLoop.h"

namespace vorn {

/// A session with the responder: one connection for all operations, on one thread.
class AvahiSession {
 public:
  /// How long the destructor waits for a thread that is inside a call.
  static constexpr std::chrono::milliseconds kEndTime{100};

  /// Starts the thread. `abandonedThreads` counts the threads that were left behind and still run; it must
  /// live longer than all of them. Throws std::system_error if no thread or no descriptor is left.
  explicit AvahiSession(std::atomic<std::size_t>& abandonedThreads);
  AvahiSession(const AvahiSession&) = delete;
  AvahiSession& operator=(const AvahiSession&) = delete;
  /// Ends the connection and joins the thread. If the thread waits for a hung responder, it is left behind
  /// with everything that it needs. It ends when the responder answers, or after 25 seconds. Any thread.
  ~AvahiSession();

  /// See AvahiLoop.
  void Begin(std::shared_ptr<Operation> operation);
  void End(Operation& operation) noexcept;

 private:
  // What the thread shares with the session, which may end first.
  struct Shared {
    explicit Shared(std::atomic<std::size_t>& abandoned) : abandonedThreads(abandoned) {}

    AvahiLoop loop;
    std::atomic<std::size_t>& abandonedThreads;
    std::mutex mutex;  // guards the members below
    std::condition_variable changed;
    bool hasEnded = false;
    bool isAbandoned = false;
  };

  static void ThreadProc(std::shared_ptr<Shared> shared);

  const std::shared_ptr<Shared> fShared;
  std::thread fThread;
};

}  // namespace vorn
