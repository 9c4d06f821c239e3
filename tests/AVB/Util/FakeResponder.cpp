#include "tests/AVB/Util/FakeResponder.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "tests/support/Eventually.h"

namespace vorn::testing {

using testing::Eventually;

namespace {

// A connection that no other call of any client uses.
std::string BrowserPath(DBusMessage* call) {
  const std::string client = ::dbus_message_get_sender(call);  // ":1.23"
  return "/client" + client.substr(client.find('.') + 1) + "/browser" +
         std::to_string(::dbus_message_get_serial(call));
}

constexpr dbus_int32_t kInterface = 7;

// The object that answers the question calls this; "ServiceBrowserNew" makes a "ServiceBrowser".
DBusMessage* Signal(const FakeResponder::Question& question, const char* signal) {
  const std::string interface =
      "org.freedesktop.Avahi." + question.method.substr(0, question.method.size() - 3);
  return ::dbus_message_new_signal(question.path.c_str(), interface.c_str(), signal);
}

}  // namespace

FakeResponder::FakeResponder(bool answering) : fAnswering(answering) {
  fBus = ::dbus_bus_get_private(DBUS_BUS_SYSTEM, nullptr);
  if (fBus == nullptr) throw std::runtime_error("no bus");
  ::dbus_connection_set_exit_on_disconnect(fBus, FALSE);
  ::dbus_bus_request_name(fBus, "org.freedesktop.Avahi",
                          DBUS_NAME_FLAG_REPLACE_EXISTING | DBUS_NAME_FLAG_ALLOW_REPLACEMENT, nullptr);
  fThread = std::thread([this] { Serve(); });
}

FakeResponder::~FakeResponder() {
  fStop = true;
  fThread.join();
  ::dbus_connection_close(fBus);
  ::dbus_connection_unref(fBus);
}

int FakeResponder::Calls(const std::string& method) {
  const std::lock_guard lock(fMutex);
  return fCalls[method];
}

std::string FakeResponder::LastClient() {
  const std::lock_guard lock(fMutex);
  return fLastClient;
}

void FakeResponder::HangAt(const std::string& method) {
  const std::lock_guard lock(fMutex);
  fHangsAt = method;
}

void FakeResponder::Refuse(const std::string& nameOrMethod, const std::string& error) {
  const std::lock_guard lock(fMutex);
  fRefused[nameOrMethod] = error;
}

bool FakeResponder::WaitForQuestions(std::size_t count) {
  return Eventually([&] { return Questions().size() >= count; });
}

std::vector<FakeResponder::Question> FakeResponder::Questions() {
  const std::lock_guard lock(fMutex);
  return fQuestions;
}

bool FakeResponder::WaitUntilFreed(const Question& question) {
  return Eventually([&] {
    const std::lock_guard lock(fMutex);
    return std::ranges::count(fFreed, question.path) > 0;
  });
}

void FakeResponder::Accept(const std::string& nameOrMethod) {
  const std::lock_guard lock(fMutex);
  fRefused.erase(nameOrMethod);
}

void FakeResponder::AllowObjects(std::size_t count) {
  const std::lock_guard lock(fMutex);
  fMaxObjects = count;
}

void FakeResponder::TellRecord(const Question& question, const char* signal, const Bytes& data,
                               std::uint16_t type) {
  DBusMessage* message = Signal(question, signal);
  const dbus_int32_t protocol = 0;
  const char* name = question.name.c_str();
  const dbus_uint32_t flags = 0;
  const std::uint8_t* bytes = data.data();
  ::dbus_message_append_args(message, DBUS_TYPE_INT32, &kInterface, DBUS_TYPE_INT32, &protocol,
                             DBUS_TYPE_STRING, &name, DBUS_TYPE_UINT16, &question.recordClass,
                             DBUS_TYPE_UINT16, &type, DBUS_TYPE_ARRAY, DBUS_TYPE_BYTE, &bytes,
                             static_cast<int>(data.size()), DBUS_TYPE_UINT32, &flags, DBUS_TYPE_INVALID);
  Tell(question, message);
}

void FakeResponder::TellInstance(const Question& question, const char* signal, const char* name) {
  DBusMessage* message = Signal(question, signal);
  const dbus_int32_t protocol = 0;
  const char* type = question.name.c_str();
  const char* domain = "local";
  const dbus_uint32_t flags = 0;
  ::dbus_message_append_args(message, DBUS_TYPE_INT32, &kInterface, DBUS_TYPE_INT32, &protocol,
                             DBUS_TYPE_STRING, &name, DBUS_TYPE_STRING, &type, DBUS_TYPE_STRING, &domain,
                             DBUS_TYPE_UINT32, &flags, DBUS_TYPE_INVALID);
  Tell(question, message);
}

void FakeResponder::TellService(const Question& question, const char* host, std::uint16_t port,
                                const std::vector<Bytes>& txt) {
  DBusMessage* message = Signal(question, "Found");
  const dbus_int32_t protocol = 0;
  const char* name = question.name.c_str();
  const char* type = question.serviceType.c_str();
  const char* domain = "local";
  const dbus_int32_t noProtocol = -1;
  const char* noAddress = "";
  ::dbus_message_append_args(message, DBUS_TYPE_INT32, &kInterface, DBUS_TYPE_INT32, &protocol,
                             DBUS_TYPE_STRING, &name, DBUS_TYPE_STRING, &type, DBUS_TYPE_STRING, &domain,
                             DBUS_TYPE_STRING, &host, DBUS_TYPE_INT32, &noProtocol, DBUS_TYPE_STRING,
                             &noAddress, DBUS_TYPE_UINT16, &port, DBUS_TYPE_INVALID);
  DBusMessageIter arguments;
  ::dbus_message_iter_init_append(message, &arguments);
  DBusMessageIter items;
  ::dbus_message_iter_open_container(&arguments, DBUS_TYPE_ARRAY, "ay", &items);
  for (auto item = txt.rbegin(); item != txt.rend(); ++item) {  // as the real one sends them
    DBusMessageIter bytes;
    ::dbus_message_iter_open_container(&items, DBUS_TYPE_ARRAY, "y", &bytes);
    const std::uint8_t* data = item->data();
    ::dbus_message_iter_append_fixed_array(&bytes, DBUS_TYPE_BYTE, &data, static_cast<int>(item->size()));
    ::dbus_message_iter_close_container(&items, &bytes);
  }
  ::dbus_message_iter_close_container(&arguments, &items);
  const dbus_uint32_t flags = 0;
  ::dbus_message_iter_append_basic(&arguments, DBUS_TYPE_UINT32, &flags);
  Tell(question, message);
}

void FakeResponder::TellFailure(const Question& question, const char* error) {
  DBusMessage* message = Signal(question, "Failure");
  ::dbus_message_append_args(message, DBUS_TYPE_STRING, &error, DBUS_TYPE_INVALID);
  Tell(question, message);
}

void FakeResponder::Tell(const Question& question, DBusMessage* signal) {
  ::dbus_message_set_destination(signal, question.client.c_str());
  ::dbus_connection_send(fBus, signal, nullptr);
  ::dbus_connection_flush(fBus);
  ::dbus_message_unref(signal);
}

void FakeResponder::Serve() {
  std::vector<DBusMessage*> unanswered;
  while (!fStop && ::dbus_connection_read_write(fBus, 10) != FALSE) {
    while (DBusMessage* message = ::dbus_connection_pop_message(fBus)) {
      if (::dbus_message_get_type(message) == DBUS_MESSAGE_TYPE_METHOD_CALL) {
        unanswered.push_back(message);
        Note(message);
      } else {
        ::dbus_message_unref(message);
      }
    }
    if (!fAnswering) continue;
    for (DBusMessage* call : std::exchange(unanswered, {})) {
      Handle(call);
      ::dbus_message_unref(call);
    }
  }
  for (DBusMessage* call : unanswered) ::dbus_message_unref(call);
}

void FakeResponder::Note(DBusMessage* call) {
  const std::string method = ::dbus_message_get_member(call);
  const std::lock_guard lock(fMutex);
  fLastClient = ::dbus_message_get_sender(call);
  ++fCalls[method];
  if (method != fHangsAt) return;
  fHangsAt.clear();
  fAnswering = false;
}

void FakeResponder::Handle(DBusMessage* call) {
  const std::lock_guard lock(fMutex);  // a question is known after its client has the reply
  DBusMessage* reply = Answer(call);
  ::dbus_connection_send(fBus, reply, nullptr);
  ::dbus_connection_flush(fBus);
  ::dbus_message_unref(reply);
}

DBusMessage* FakeResponder::Refusal(DBusMessage* call, const char* nameOrMethod) {
  const auto found = fRefused.find(nameOrMethod);
  return found == fRefused.end() ? nullptr : ::dbus_message_new_error(call, found->second.c_str(), nullptr);
}

DBusMessage* FakeResponder::Answer(DBusMessage* call) {
  if (DBusMessage* refusal = Refusal(call, ::dbus_message_get_member(call))) return refusal;
  for (const char* method : {"ServiceBrowserNew", "ServiceResolverNew", "RecordBrowserNew"}) {
    if (::dbus_message_has_member(call, method) != FALSE) return Ask(call);
  }
  DBusMessage* reply = ::dbus_message_new_method_return(call);
  if (::dbus_message_has_member(call, "GetState") != FALSE) {
    const dbus_int32_t running = 2;
    ::dbus_message_append_args(reply, DBUS_TYPE_INT32, &running, DBUS_TYPE_INVALID);
  } else if (::dbus_message_has_member(call, "GetAPIVersion") != FALSE) {
    const dbus_uint32_t version = 0x0203;
    ::dbus_message_append_args(reply, DBUS_TYPE_UINT32, &version, DBUS_TYPE_INVALID);
  } else if (::dbus_message_has_member(call, "Free") != FALSE) {
    fFreed.emplace_back(::dbus_message_get_path(call));
  }
  return reply;
}

FakeResponder::Question FakeResponder::Read(DBusMessage* call) {
  Question question;
  question.method = ::dbus_message_get_member(call);
  const char* name = "";
  const char* type = "";
  const char* domain = "";
  if (question.method == "ServiceBrowserNew") {
    ::dbus_message_get_args(call, nullptr, DBUS_TYPE_INT32, &question.interface, DBUS_TYPE_INT32,
                            &question.protocol, DBUS_TYPE_STRING, &name, DBUS_TYPE_STRING, &domain,
                            DBUS_TYPE_UINT32, &question.flags, DBUS_TYPE_INVALID);
  } else if (question.method == "ServiceResolverNew") {
    ::dbus_message_get_args(call, nullptr, DBUS_TYPE_INT32, &question.interface, DBUS_TYPE_INT32,
                            &question.protocol, DBUS_TYPE_STRING, &name, DBUS_TYPE_STRING, &type,
                            DBUS_TYPE_STRING, &domain, DBUS_TYPE_INT32, &question.addressProtocol,
                            DBUS_TYPE_UINT32, &question.flags, DBUS_TYPE_INVALID);
  } else {
    ::dbus_message_get_args(call, nullptr, DBUS_TYPE_INT32, &question.interface, DBUS_TYPE_INT32,
                            &question.protocol, DBUS_TYPE_STRING, &name, DBUS_TYPE_UINT16,
                            &question.recordClass, DBUS_TYPE_UINT16, &question.type, DBUS_TYPE_UINT32,
                            &question.flags, DBUS_TYPE_INVALID);
  }
  question.name = name;
  question.serviceType = type;
  question.domain = domain;
  question.client = ::dbus_message_get_sender(call);
  question.path = BrowserPath(call);
  return question;
}

DBusMessage* FakeResponder::Ask(DBusMessage* call) {
  Question question = Read(call);
  if (DBusMessage* refusal = Refusal(call, question.name.c_str())) return refusal;
  if (fQuestions.size() - fFreed.size() >= fMaxObjects) {
    return ::dbus_message_new_error(call, "org.freedesktop.Avahi.TooManyObjectsError", nullptr);
  }
  DBusMessage* reply = ::dbus_message_new_method_return(call);
  const char* path = question.path.c_str();
  ::dbus_message_append_args(reply, DBUS_TYPE_OBJECT_PATH, &path, DBUS_TYPE_INVALID);
  fQuestions.push_back(std::move(question));
  return reply;
}

}  // namespace vorn::testing
