#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/AVBCapability.h"
#include "platform/ChildProcess.h"
#include "platform/Dispatch.h"
#include "platform/NetworkServices.h"

/// Runs each background job on a separate thread and keeps its priority. Jobs can be held back, or dropped.
class ScriptedDispatch final : public vorn::Dispatch {
 public:
  ~ScriptedDispatch() override { Join(); }

  void AsyncMain(Job job) override { job(); }

  void AsyncBackground(Priority priority, Job job) override {
    const std::lock_guard lock(fMutex);
    fPriorities.push_back(priority);
    if (fDrop) return;
    if (fHold) {
      fHeld.push_back(std::move(job));
    } else {
      fThreads.emplace_back(std::move(job));
    }
  }

  void Join() {
    for (;;) {
      std::vector<std::thread> threads;
      {
        const std::lock_guard lock(fMutex);
        threads.swap(fThreads);
      }
      if (threads.empty()) return;
      for (auto& thread : threads) thread.join();
    }
  }

  void RunHeld() {
    for (auto& job : std::exchange(fHeld, {})) job();
  }

  std::vector<Priority> Priorities() {
    const std::lock_guard lock(fMutex);
    return fPriorities;
  }

  std::atomic<bool> fHold{false};
  std::atomic<bool> fDrop{false};

 private:
  std::mutex fMutex;
  std::vector<Priority> fPriorities;
  std::vector<Job> fHeld;
  std::vector<std::thread> fThreads;
};

/// Answers every launch with the same output, at once; or with a child that runs until it is terminated or
/// released.
class ScriptedLauncher final : public vorn::ChildProcessLauncher {
 public:
  bool IsExecutableFile(const std::string& path) override { return !fMissing.contains(path); }

  std::unique_ptr<vorn::ChildProcess> Launch(const vorn::ChildProcessRequest& request) override {
    const std::lock_guard lock(fMutex);
    fRequests.push_back(request);
    if (fRefuse) return nullptr;
    return std::make_unique<Child>(fAnswer, fHang, fTerminated, fReleased);
  }

  std::vector<vorn::ChildProcessRequest> Requests() {
    const std::lock_guard lock(fMutex);
    return fRequests;
  }

  void SetAnswer(vorn::ChildOutput answer) {
    const std::lock_guard lock(fMutex);
    fAnswer = std::move(answer);
  }

  std::set<std::string> fMissing;
  bool fRefuse = false;
  std::atomic<bool> fHang{false};
  std::atomic<int> fTerminated{0};
  std::atomic<int> fReleased{0};

 private:
  class Child final : public vorn::ChildProcess {
   public:
    Child(vorn::ChildOutput answer, bool hang, std::atomic<int>& terminated, std::atomic<int>& released)
        : fAnswer(std::move(answer)), fRunning(hang), fTerminated(terminated), fReleased(released) {}

    vorn::ChildOutput CollectUntil(std::chrono::steady_clock::time_point deadline) override {
      std::unique_lock lock(fMutex);
      fAnswer.timedOut = !fChanged.wait_until(lock, deadline, [this] { return !fRunning; });
      return fAnswer;
    }
    void AwaitEnd() override {
      std::unique_lock lock(fMutex);
      fChanged.wait(lock, [this] { return !fRunning; });
    }
    void Terminate() override {
      ++fTerminated;
      LetGo();
    }
    void Release() override {
      ++fReleased;
      LetGo();
    }

   private:
    void LetGo() {
      const std::lock_guard lock(fMutex);
      fRunning = false;
      fChanged.notify_all();
    }

    std::mutex fMutex;
    std::condition_variable fChanged;
    vorn::ChildOutput fAnswer;
    bool fRunning;
    std::atomic<int>& fTerminated;
    std::atomic<int>& fReleased;
  };

  std::mutex fMutex;
  std::vector<vorn::ChildProcessRequest> fRequests;
  vorn::ChildOutput fAnswer;
};

class ScriptedServices final : public vorn::NetworkServices {
 public:
  std::optional<std::vector<vorn::NetworkService>> CopyAll() override { return fServices; }

  std::optional<std::vector<vorn::NetworkService>> fServices;
};

class ScriptedCapability final : public vorn::AVBCapability {
 public:
  Answer Query(const std::string& interfaceName) override {
    const auto found = fAnswers.find(interfaceName);
    return found == fAnswers.end() ? Answer::kNoHardwareTimeStamping : found->second;
  }

  std::map<std::string, Answer> fAnswers;
};
