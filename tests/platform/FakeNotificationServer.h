#pragma once

#include <deque>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "platform/NotificationServer.h"

namespace vorn::testing {

/// A notification server in memory. It answers on request, and tests can read the calls to it.
class FakeNotificationServer final : public NotificationServer {
 public:
  struct Sent {
    UserNotification notification;
    std::uint32_t replacesId = 0;
    std::uint32_t id = 0;  ///< that it gives, or gave
  };

  explicit FakeNotificationServer(Identity identity) : fIdentity(std::move(identity)) {}

  void SetHandlers(Handlers handlers) override { fHandlers = std::move(handlers); }
  [[nodiscard]] bool IsConnected() const override { return fIsConnected; }
  [[nodiscard]] const Identity& PresentServer() const override { return fIdentity; }
  void Start(std::function<void(Answer)> onAnswer) override {
    ++fStarts;
    fOpenStart = std::move(onAnswer);
  }
  void AskCapabilities(std::function<void(Answer)> onAnswer) override {
    ++fQuestions;
    fOpen.push_back([this, call = std::move(onAnswer)] { call(fQuestionAnswer); });
  }
  [[nodiscard]] bool BindsToSender() const override { return fBindsToSender; }
  void Notify(const UserNotification& notification, std::uint32_t replacesId,
              std::function<void(Answer, std::uint32_t)> onAnswer) override {
    const auto id = replacesId != 0 ? replacesId : fNextId++;
    fSent.push_back({notification, replacesId, id});
    fOpen.push_back([this, id, call = std::move(onAnswer)] {
      call(fNotifyAnswer, fNotifyAnswer == Answer::kOk ? id : 0);
    });
  }
  void CloseNotification(std::uint32_t id) override { fClosed.push_back(id); }

  void AnswerStart(Answer answer) { std::exchange(fOpenStart, nullptr)(answer); }

  /// Answers the other open calls, oldest first, and the calls that follow from the answers: at most `count`
  /// calls.
  void AnswerOpen(std::size_t count = SIZE_MAX) {
    for (; count > 0 && !fOpen.empty(); --count) {
      const auto answer = std::move(fOpen.front());
      fOpen.pop_front();
      answer();
    }
  }

  /// The server ends (no name), starts or is replaced. Open calls stay without an answer.
  void Change(const std::string& server) {
    fOpen.clear();
    fIdentity.server = server;
    fHandlers.onChanged();
  }

  Handlers fHandlers;
  Identity fIdentity;
  bool fIsConnected = true;
  bool fBindsToSender = false;
  Answer fQuestionAnswer = Answer::kOk;
  Answer fNotifyAnswer = Answer::kOk;
  std::uint32_t fNextId = 1;
  int fStarts = 0;
  int fQuestions = 0;
  std::vector<Sent> fSent;
  std::vector<std::uint32_t> fClosed;
  std::function<void(Answer)> fOpenStart;
  std::deque<std::function<void()>> fOpen;  ///< the other calls that wait for an answer
};

}  // namespace vorn::testing
