#pragma once

#include <dbus/dbus.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace vorn::testing {

/// A responder on the system bus. It owns the responder's name until another one takes it, and answers calls
/// or does not. Any thread.
class FakeResponder {
 public:
  /// A question, as a client asked it; fields that its method has no argument for stay empty.
  struct Question {
    std::string method;  ///< "ServiceBrowserNew", "ServiceResolverNew" or "RecordBrowserNew"
    std::int32_t interface = 0;
    std::int32_t protocol = 0;
    std::string name;  ///< the browsed type, the service or the host
    std::string serviceType;
    std::string domain;
    std::int32_t addressProtocol = 0;
    std::uint16_t recordClass = 0;
    std::uint16_t type = 0;
    std::uint32_t flags = 0;
    std::string client;  ///< the connection's name on the bus
    std::string path;    ///< of the object that reports the answers
  };
  using Bytes = std::vector<std::uint8_t>;

  explicit FakeResponder(bool answering = true);
  FakeResponder(const FakeResponder&) = delete;
  FakeResponder& operator=(const FakeResponder&) = delete;
  ~FakeResponder();

  void SetAnswering(bool answering) { fAnswering = answering; }
  /// Stops answering with the next call of that method.
  void HangAt(const std::string& method);
  /// How often that method was called, with or without an answer.
  [[nodiscard]] int Calls(const std::string& method);
  /// The connection's name of the client that called last.
  [[nodiscard]] std::string LastClient();

  /// From now on, until Accept, answers questions for that name, or calls of that method, with an error.
  void Refuse(const std::string& nameOrMethod,
              const std::string& error = "org.freedesktop.Avahi.InvalidDomainNameError");
  void Accept(const std::string& nameOrMethod);
  /// From now on refuses more than this many objects at a time.
  void AllowObjects(std::size_t count);
  /// Waits until it has accepted this many questions.
  bool WaitForQuestions(std::size_t count);
  [[nodiscard]] std::vector<Question> Questions();
  /// Waits until that question's record browser was freed.
  bool WaitUntilFreed(const Question& question);

  /// Reports a record to the question's client: `signal` is "ItemNew" or "ItemRemove".
  void TellRecord(const Question& question, const char* signal, const Bytes& data, std::uint16_t type = 1);
  /// Reports an instance to a browse: `signal` is "ItemNew" or "ItemRemove".
  void TellInstance(const Question& question, const char* signal, const char* name);
  /// Reports a service to its resolve, with the TXT items in record order.
  void TellService(const Question& question, const char* host, std::uint16_t port,
                   const std::vector<Bytes>& txt);
  /// Reports that the question has failed.
  void TellFailure(const Question& question, const char* error = "org.freedesktop.Avahi.Failure");

 private:
  void Serve();
  void Note(DBusMessage* call);
  void Handle(DBusMessage* call);
  DBusMessage* Answer(DBusMessage* call);
  DBusMessage* Ask(DBusMessage* call);
  static Question Read(DBusMessage* call);
  DBusMessage* Refusal(DBusMessage* call, const char* nameOrMethod);
  void Tell(const Question& question, DBusMessage* signal);

  DBusConnection* fBus;
  std::atomic<bool> fAnswering;
  std::atomic<bool> fStop{false};
  std::mutex fMutex;     // guards the members below
  std::string fHangsAt;  // a method; empty: none
  std::map<std::string, int> fCalls;
  std::string fLastClient;
  std::vector<Question> fQuestions;
  std::vector<std::string> fFreed;
  std::map<std::string, std::string> fRefused;  // with the error
  std::size_t fMaxObjects = SIZE_MAX;
  std::thread fThread;
};

}  // namespace vorn::testing
