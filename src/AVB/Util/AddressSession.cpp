#include "AVB/Util/AddressSession.h"

#include <avahi-common/error.h>
#include <poll.h>
#include <sys/eventfd.h>

#include <cerrno>
#include <cstring>
#include <new>
#include <system_error>
#include <utility>

#include "foundation/AllSignalsBlocked.h"

namespace vorn {
namespace {

constexpr std::uint16_t kRecordClassIN = 1;
constexpr std::uint16_t kRecordTypeA = 1;
constexpr int kPauseMilliseconds = 100;
constexpr AddressLookup::Answer kError{.error = kDNSServiceErr_Unknown, .address = {}};

// Whether a call failed for want of a connection to a responder that answers,
// not because the responder refused it.
bool IsOfTheConnection(int error) {
  return error == AVAHI_ERR_DBUS_ERROR || error == AVAHI_ERR_DISCONNECTED || error == AVAHI_ERR_BAD_STATE ||
         error == AVAHI_ERR_NO_DAEMON || error == AVAHI_ERR_TIMEOUT || error == AVAHI_ERR_NO_MEMORY;
}

}  // namespace

AddressSession::AddressSession() : fWakeup(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (!fWakeup) throw std::system_error(errno, std::generic_category(), "eventfd");
  const AllSignalsBlocked blocked;
  fThread = std::thread([this] { ThreadProc(); });
}

AddressSession::~AddressSession() {
  fStop = true;
  Wake();
  fThread.join();
}

void AddressSession::Begin(std::shared_ptr<AddressLookup> lookup) {
  {
    const std::lock_guard lock(fMutex);
    // The thread may be waiting for a responder that hangs, and many give up meanwhile.
    std::erase_if(fNew, [](const auto& earlier) { return earlier->Settled(); });
    fNew.push_back(std::move(lookup));
  }
  Wake();
}

void AddressSession::Wake() {
  ::eventfd_write(fWakeup.Get(), 1);
}

void AddressSession::ThreadProc() {
  while (!fStop) {
    try {
      ServeOnce();
    } catch (...) {  // no memory, say; the next turn may have it
      ::poll(nullptr, 0, kPauseMilliseconds);
    }
  }
  Disconnect();
  fPoll.reset();
}

void AddressSession::ServeOnce() {
  if (!fPoll) MakePoll();
  TakeNewLookups();
  ForgetSettledLookups();
  AskOpenQuestions();
  if (!fClientFailed && ::avahi_simple_poll_iterate(fPoll.get(), -1) != 0) {
    throw std::system_error(errno, std::generic_category(), "poll");
  }
  if (fClientFailed) Disconnect();
}

void AddressSession::MakePoll() {
  std::unique_ptr<AvahiSimplePoll, PollDeleter> poll(::avahi_simple_poll_new());
  if (!poll) throw std::bad_alloc();
  const AvahiPoll* api = ::avahi_simple_poll_get(poll.get());
  if (api->watch_new(api, fWakeup.Get(), AVAHI_WATCH_IN, OnWakeup, this) == nullptr) throw std::bad_alloc();
  fPoll = std::move(poll);
}

void AddressSession::TakeNewLookups() {
  const std::lock_guard lock(fMutex);
  fQuestions.reserve(fQuestions.size() + fNew.size());
  for (auto& lookup : fNew) fQuestions.push_back({std::move(lookup)});
  fNew.clear();
}

void AddressSession::ForgetSettledLookups() {
  for (Question& question : fQuestions) {
    if (fStop || fClientFailed) return;  // the end of each browser waits for the responder
    if (question.browser == nullptr || !question.lookup->Settled()) continue;
    if (::avahi_record_browser_free(std::exchange(question.browser, nullptr)) < 0) fClientFailed = true;
  }
  std::erase_if(fQuestions, [](const Question& question) {
    return question.browser == nullptr && question.lookup->Settled();
  });
}

void AddressSession::AskOpenQuestions() {
  for (Question& question : fQuestions) {
    if (fStop || fClientFailed) return;
    if (question.browser != nullptr || question.lookup->Settled()) continue;
    if (!Connect()) {
      for (const Question& unaskable : fQuestions) unaskable.lookup->Reply(kError);
      return;
    }
    if (!fStop) Ask(question);  // making the connection may have taken its time
  }
}

void AddressSession::Ask(Question& question) {
  AddressLookup& lookup = *question.lookup;
  const AvahiIfIndex interface =
      lookup.InterfaceIndex() == 0 ? AVAHI_IF_UNSPEC : static_cast<AvahiIfIndex>(lookup.InterfaceIndex());
  question.browser =
      ::avahi_record_browser_new(fClient.get(), interface, AVAHI_PROTO_UNSPEC, lookup.HostName().c_str(),
                                 kRecordClassIN, kRecordTypeA, AvahiLookupFlags{}, OnRecord, &lookup);
  if (question.browser != nullptr) return;
  if (!question.hasFailed && IsOfTheConnection(::avahi_client_errno(fClient.get()))) {
    question.hasFailed = true;
    fClientFailed = true;
  } else {
    lookup.Reply(kError);
  }
}

bool AddressSession::Connect() {
  if (!fClient) {
    fClient.reset(::avahi_client_new(::avahi_simple_poll_get(fPoll.get()), AvahiClientFlags{}, OnClient, this,
                                     nullptr));
  }
  return fClient != nullptr;
}

// Ends the browsers too, and after the connection: one by one, each would wait
// for a responder that may be hung.
void AddressSession::Disconnect() {
  for (Question& question : fQuestions) question.browser = nullptr;
  fClient.reset();
  fClientFailed = false;
}

void AddressSession::OnWakeup(AvahiWatch* /*watch*/, int descriptor, AvahiWatchEvent /*event*/,
                              void* /*session*/) {
  eventfd_t ignored = 0;
  ::eventfd_read(descriptor, &ignored);
}

void AddressSession::OnClient(AvahiClient* /*client*/, AvahiClientState state, void* session) {
  if (state == AVAHI_CLIENT_FAILURE) static_cast<AddressSession*>(session)->fClientFailed = true;
}

void AddressSession::OnRecord(AvahiRecordBrowser* /*browser*/, AvahiIfIndex interface,
                              AvahiProtocol /*protocol*/, AvahiBrowserEvent event, const char* /*name*/,
                              std::uint16_t /*recordClass*/, std::uint16_t type, const void* data,
                              std::size_t size, AvahiLookupResultFlags /*flags*/, void* asked) {
  if (event == AVAHI_BROWSER_ALL_FOR_NOW || event == AVAHI_BROWSER_CACHE_EXHAUSTED) return;
  AddressLookup::Answer answer;
  if (event == AVAHI_BROWSER_FAILURE) answer.error = kDNSServiceErr_Unknown;
  if (event == AVAHI_BROWSER_NEW) answer.flags = kDNSServiceFlagsAdd;
  answer.interfaceIndex = static_cast<std::uint32_t>(interface);
  in_addr address{};
  if (type == kRecordTypeA && data != nullptr && size == sizeof address) {
    std::memcpy(&address, data, sizeof address);
    answer.address = address;
  }
  static_cast<AddressLookup*>(asked)->Reply(answer);
}

}  // namespace vorn
