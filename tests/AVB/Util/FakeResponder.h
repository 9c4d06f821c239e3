#pragma once

#include <dbus/dbus.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace vorn::test {

/// A responder on the system bus: owns the responder's name until another one
/// takes it, and answers calls, or does not. Any thread.
class FakeResponder {
 public:
  /// A question for records, as a client asked it.
  struct Question {
    std::int32_t interface;
    std::int32_t protocol;
    std::string name;
    std::uint16_t recordClass;
    std::uint16_t type;
    std::uint32_t flags;
    std::string client;  ///< the connection's name on the bus
    std::string path;    ///< of the record browser
  };

  explicit FakeResponder(bool answering = true);
  FakeResponder(const FakeResponder&) = delete;
  FakeResponder& operator=(const FakeResponder&) = delete;
  ~FakeResponder();

  void SetAnswering(bool answering) { fAnswering = answering; }
  /// How often that method was called, answered or not.
  [[nodiscard]] int Calls(const std::string& method);

  /// From now on answers questions for that name, or calls of that method, by an
  /// error.
  void Refuse(const std::string& nameOrMethod,
              const std::string& error = "org.freedesktop.Avahi.InvalidDomainNameError");
  /// Waits until it was asked so many questions that it did not refuse.
  bool WaitForQuestions(std::size_t count);
  [[nodiscard]] std::vector<Question> Questions();
  /// Waits until that question's record browser was freed.
  bool WaitUntilFreed(const Question& question);

  /// Tells the question's client of a record: `signal` is "ItemNew" or
  /// "ItemRemove".
  void TellRecord(const Question& question, const char* signal, const std::vector<std::uint8_t>& data,
                  std::uint16_t type = 1);
  /// Tells it that the question has failed.
  void TellFailure(const Question& question);

 private:
  void Serve();
  void Handle(DBusMessage* call);
  DBusMessage* Answer(DBusMessage* call);
  DBusMessage* Ask(DBusMessage* call);
  DBusMessage* Refusal(DBusMessage* call, const char* nameOrMethod);
  void Tell(const Question& question, DBusMessage* signal);

  DBusConnection* fBus;
  std::atomic<bool> fAnswering;
  std::atomic<bool> fStop{false};
  std::mutex fMutex;  // guards the following
  std::map<std::string, int> fCalls;
  std::vector<Question> fQuestions;
  std::vector<std::string> fFreed;
  std::map<std::string, std::string> fRefused;  // with the error
  std::thread fThread;
};

}  // namespace vorn::test
