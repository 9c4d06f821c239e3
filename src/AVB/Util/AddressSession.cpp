#include "AVB/Util/AddressSession.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <cerrno>
#include <cstring>
#include <system_error>

#include "foundation/AllSignalsBlocked.h"

namespace vorn {
namespace {

constexpr std::uint16_t kRecordClassIN = 1;
constexpr std::uint16_t kRecordTypeA = 1;
constexpr int kPauseMilliseconds = 100;

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
  for (auto& lookup : fNew) fQuestions.push_back({std::move(lookup), nullptr});
  fNew.clear();
}

void AddressSession::ForgetSettledLookups() {
  for (Question& question : fQuestions) {
    if (fStop) return;  // the end of each browser waits for the responder
    if (question.lookup->Settled()) question.browser.reset();
  }
  std::erase_if(fQuestions,
                [](const Question& question) { return !question.browser && question.lookup->Settled(); });
}

void AddressSession::AskOpenQuestions() {
  for (Question& question : fQuestions) {
    if (!question.browser && !question.lookup->Settled() && !fStop) Ask(question);
  }
}

void AddressSession::Ask(Question& question) {
  AddressLookup& lookup = *question.lookup;
  if (!fClient) {
    fClient.reset(::avahi_client_new(::avahi_simple_poll_get(fPoll.get()), AvahiClientFlags{}, OnClient, this,
                                     nullptr));
  }
  if (fClient) {
    const AvahiIfIndex interface =
        lookup.interfaceIndex == 0 ? AVAHI_IF_UNSPEC : static_cast<AvahiIfIndex>(lookup.interfaceIndex);
    question.browser.reset(::avahi_record_browser_new(fClient.get(), interface, AVAHI_PROTO_UNSPEC,
                                                      lookup.hostName.c_str(), kRecordClassIN, kRecordTypeA,
                                                      AvahiLookupFlags{}, OnRecord, &lookup));
  }
  if (!question.browser) lookup.Reply({.error = kDNSServiceErr_Unknown, .address = {}});
}

void AddressSession::Disconnect() {
  // The client ends its browsers itself, after the connection: one by one, each
  // would wait for a responder that may be hung.
  for (Question& question : fQuestions) static_cast<void>(question.browser.release());
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
