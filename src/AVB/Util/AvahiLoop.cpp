#include "AVB/Util/AvahiLoop.h"

#include <avahi-common/error.h>
#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <system_error>
#include <utility>

namespace vorn {
namespace {

constexpr int kAttempts = 2;
constexpr int kPauseMilliseconds = 100;

// Whether a call failed because no responder answered on the connection, and not because the responder
// refused it.
bool IsOfTheConnection(int error) {
  return error == AVAHI_ERR_DBUS_ERROR || error == AVAHI_ERR_DISCONNECTED || error == AVAHI_ERR_BAD_STATE ||
         error == AVAHI_ERR_NO_DAEMON || error == AVAHI_ERR_TIMEOUT || error == AVAHI_ERR_NO_MEMORY;
}

}  // namespace

void AvahiLoop::Begin(std::shared_ptr<Operation> operation) {
  {
    const std::lock_guard lock(fMutex);
    fNew.push_back(std::move(operation));
  }
  fWakeup.Set();
}

void AvahiLoop::End(Operation& operation) noexcept {
  operation.Release();
  {
    const std::lock_guard lock(fMutex);
    std::erase_if(fNew, [&](const auto& waiting) { return waiting.get() == &operation; });
  }
  fWakeup.Set();
}

void AvahiLoop::Stop() noexcept {
  fStop = true;
  fWakeup.Set();
}

void AvahiLoop::Run() {
  while (!fStop) {
    try {
      if (!fPoll) MakePoll();
      if (::avahi_simple_poll_iterate(fPoll.get(), -1) != 0) {
        throw std::system_error(errno, std::generic_category(), "poll");
      }
    } catch (...) {  // for example no memory; the next turn may have it
      ::poll(nullptr, 0, kPauseMilliseconds);
    }
    if (fClientFailed) Disconnect();
    if (fIsFull && std::ranges::any_of(fOpen, [](const auto& open) { return open->MayPause(); })) {
      fIsFull = false;
      fWakeup.Set();
    }
  }
  Disconnect();
  fPoll.reset();
}

void AvahiLoop::MakePoll() {
  std::unique_ptr<AvahiSimplePoll, PollDeleter> poll(::avahi_simple_poll_new());
  if (!poll) throw std::bad_alloc();
  const AvahiPoll* api = ::avahi_simple_poll_get(poll.get());
  if (api->watch_new(api, fWakeup.Descriptor(), AVAHI_WATCH_IN, OnWakeup, this) == nullptr)
    throw std::bad_alloc();
  fPoll = std::move(poll);
}

void AvahiLoop::OnWakeup(AvahiWatch* /*watch*/, int /*descriptor*/, AvahiWatchEvent /*event*/, void* loop) {
  auto& self = *static_cast<AvahiLoop*>(loop);
  self.fWakeup.Clear();
  self.ServeOnce();
}

// One call to the responder in each turn, because the messages that came in the meantime must be handled
// before the next call.
void AvahiLoop::ServeOnce() {
  try {
    if (!fStop && (EndOne() || BeginOne())) fWakeup.Set();
  } catch (...) {  // for example no memory; the operation is still there for the next turn
    ::poll(nullptr, 0, kPauseMilliseconds);
    fWakeup.Set();
  }
}

bool AvahiLoop::EndOne() {
  const auto found = std::ranges::find_if(fOpen, [](const auto& open) { return open->IsReleased(); });
  if (found == fOpen.end()) return false;
  const std::shared_ptr<Operation> operation = std::exchange(*found, std::move(fOpen.back()));
  fOpen.pop_back();
  if (operation->End() < 0) fClientFailed = true;
  fIsFull = false;
  return true;
}

bool AvahiLoop::BeginOne() {
  if (fIsFull) return false;
  const std::shared_ptr<Operation> operation = FirstNew();
  if (!operation) return false;
  if (fOpen.size() == fOpen.capacity()) fOpen.reserve(2 * fOpen.size() + 16);  // before there is an object
  BeginNow(operation);
  return true;
}

void AvahiLoop::BeginNow(const std::shared_ptr<Operation>& operation) {
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    if (!Connect()) {
      FailAllNew();
      return;
    }
    if (fStop) return;  // making the connection may have taken long
    if (operation->Begin(*fClient)) {
      fOpen.push_back(operation);
      RemoveNew(operation);
      operation->NoteBegun();
      return;
    }
    const int error = ::avahi_client_errno(fClient.get());
    if (error == AVAHI_ERR_TOO_MANY_OBJECTS && !fOpen.empty()) {
      fIsFull = !MakeRoom();
      return;
    }
    if (!IsOfTheConnection(error)) break;
    Disconnect();
  }
  RemoveNew(operation);
  operation->Fail();
}

// Moves an operation that loses nothing by it behind all others.
bool AvahiLoop::MakeRoom() {
  const auto found = std::ranges::find_if(fOpen, [](const auto& open) { return open->MayPause(); });
  if (found == fOpen.end()) return false;
  {
    const std::lock_guard lock(fMutex);
    if (!(*found)->IsReleased()) fNew.push_back(*found);
  }
  if ((*found)->End() < 0) fClientFailed = true;
  fOpen.erase(found);
  return true;
}

void AvahiLoop::FailAllNew() {
  std::deque<std::shared_ptr<Operation>> failed;
  {
    const std::lock_guard lock(fMutex);
    failed.swap(fNew);
  }
  for (const auto& operation : failed) operation->Fail();
}

std::shared_ptr<Operation> AvahiLoop::FirstNew() {
  const std::lock_guard lock(fMutex);
  return fNew.empty() ? nullptr : fNew.front();
}

// End may have removed it in the meantime.
void AvahiLoop::RemoveNew(const std::shared_ptr<Operation>& operation) {
  const std::lock_guard lock(fMutex);
  std::erase(fNew, operation);
}

bool AvahiLoop::Connect() {
  if (!fClient) {
    fClient.reset(::avahi_client_new(::avahi_simple_poll_get(fPoll.get()), AvahiClientFlags{}, OnClient, this,
                                     nullptr));
  }
  return fClient != nullptr;
}

// Ends the client before it forgets the client's objects. Freed one by one, each would wait for a responder
// that may hang.
void AvahiLoop::Disconnect() {
  fClient.reset();
  for (const auto& operation : fOpen) {
    operation->Forget();
    operation->Fail();
  }
  fOpen.clear();
  fClientFailed = false;
  fIsFull = false;
  fWakeup.Set();
}

void AvahiLoop::OnClient(AvahiClient* /*client*/, AvahiClientState state, void* loop) {
  if (state == AVAHI_CLIENT_FAILURE) static_cast<AvahiLoop*>(loop)->fClientFailed = true;
}

}  // namespace vorn
