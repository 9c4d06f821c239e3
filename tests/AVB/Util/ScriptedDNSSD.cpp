#include "tests/AVB/Util/ScriptedDNSSD.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <optional>
#include <utility>

namespace vorn::testing {

namespace {

constexpr int kNoSuchSocket = 1 << 30;  // higher than any process may open

std::string Word(const char* text) {
  return text == nullptr ? "null" : text;
}

std::string Word(std::uint32_t number) {
  return std::to_string(number);
}

template <typename First, typename... Rest>
std::string Words(First first, Rest... rest) {
  std::string words = Word(first);
  ((words += " | " + Word(rest)), ...);
  return words;
}

}  // namespace

namespace {

std::string Description(ScriptedDNSSD::Kind kind, const std::string& key) {
  switch (kind) {
    case ScriptedDNSSD::Kind::kBrowse:
      return "browse";
    case ScriptedDNSSD::Kind::kResolve:
      return "resolve " + key;
    case ScriptedDNSSD::Kind::kAddress:
      return "address " + key;
    case ScriptedDNSSD::Kind::kFollow:
      return "follow " + key;
    case ScriptedDNSSD::Kind::kConnection:
      return "connection";
  }
  return {};
}

}  // namespace

struct ScriptedDNSSD::Operation {
  Kind kind;
  std::string description;
  std::uint64_t number;
  DNSServiceRef connection;  // null: it has its own
  Wakeup readable;
  FileDescriptor highSocket;  // of a higher number, for the same event
  void* context = nullptr;
  std::deque<Reply> replies;
  bool inside = false;  // a thread is in ProcessResult
  std::thread::id insideThread;
};

ScriptedDNSSD::ScriptedDNSSD() = default;

// An engine that was left behind may still be about to release its operations.
ScriptedDNSSD::~ScriptedDNSSD() {
  WaitFor([this] { return fReleased.size() >= fBegun.size(); });
}

std::string TxtBytes(const std::vector<std::string>& items) {
  std::string bytes;
  for (const std::string& item : items) {
    bytes.push_back(static_cast<char>(item.size()));
    bytes += item;
  }
  return bytes;
}

DNSServiceRef ScriptedDNSSD::Begin(Kind kind, const std::string& key, DNSServiceRef connection) {
  const std::lock_guard lock(fMutex);
  auto operation = std::make_unique<Operation>();
  operation->kind = kind;
  operation->description = Description(kind, key);
  operation->number = fNextRef;
  operation->connection = connection;
  if (lowestSocket > 0) {
    operation->highSocket =
        FileDescriptor(::fcntl(operation->readable.Descriptor(), F_DUPFD_CLOEXEC, lowestSocket));
  }
  fReleased.reserve(fReleased.size() + fOperations.size() + 1);  // releasing allocates no memory
  auto* ref = reinterpret_cast<DNSServiceRef>(fNextRef++);
  if (kind != Kind::kConnection) fBegun.push_back(operation->description);
  if (kind != Kind::kBrowse) fThreads.insert(std::this_thread::get_id());
  fOperations[ref] = std::move(operation);
  const auto pending = std::count_if(fOperations.begin(), fOperations.end(), [](const auto& entry) {
    return entry.second->kind != Kind::kBrowse && entry.second->kind != Kind::kConnection;
  });
  fMostPending = std::max(fMostPending, static_cast<std::size_t>(pending));
  fChanged.notify_all();
  return ref;
}

ScriptedDNSSD::Operation* ScriptedDNSSD::Pending(const std::string& description) {
  Operation* first = nullptr;
  for (const auto& [ref, operation] : fOperations) {
    if (operation->description == description && (first == nullptr || operation->number < first->number)) {
      first = operation.get();
    }
  }
  return first;
}

void ScriptedDNSSD::Signal(const Operation& operation) {
  const auto connection = fOperations.find(operation.connection);
  (connection == fOperations.end() ? operation : *connection->second).readable.Set();
}

// The operation itself, or the first one of the connection that has a reply; null if none has.
DNSServiceRef ScriptedDNSSD::NextWithReply(DNSServiceRef ref) {
  for (const auto& [candidate, operation] : fOperations) {
    const bool isMeant = candidate == ref || operation->connection == ref;
    if (isMeant && !operation->replies.empty()) return candidate;
  }
  return nullptr;
}

void ScriptedDNSSD::Post(const std::string& description, Reply reply) {
  WaitFor([&] { return Pending(description) != nullptr; });
  const std::lock_guard lock(fMutex);
  Operation* operation = Pending(description);
  if (operation == nullptr) return;  // the test's own expectation reports it
  operation->replies.push_back(std::move(reply));
  ++fPosted;
  if (!fHeld) Signal(*operation);
}

void ScriptedDNSSD::ReplyBrowse(DNSServiceFlags flags, const char* name, std::uint32_t interfaceIndex,
                                DNSServiceErrorType error, const char* type, const char* domain) {
  const auto text = [](const char* bytes) {
    return bytes ? std::optional<std::string>(bytes) : std::nullopt;
  };
  Post("browse", [this, flags, interfaceIndex, error, name = text(name), type = text(type),
                  domain = text(domain)](DNSServiceRef ref) {
    const auto bytes = [](const auto& held) { return held ? held->c_str() : nullptr; };
    fBrowseReply(ref, flags, interfaceIndex, error, bytes(name), bytes(type), bytes(domain),
                 fOperations.at(ref)->context);
  });
}

void ScriptedDNSSD::ReplyResolve(const std::string& name, const char* host, std::uint16_t port,
                                 const std::string& txt, DNSServiceErrorType error) {
  Post("resolve " + name, [this, name, host = host ? std::optional<std::string>(host) : std::nullopt, port,
                           txt, error](DNSServiceRef ref) {
    const std::string fullName = name + "._http._tcp.local.";
    fResolveReply(ref, 0, 7, error, host ? fullName.c_str() : nullptr, host ? host->c_str() : nullptr,
                  htons(port), static_cast<std::uint16_t>(txt.size()),
                  txt.empty() ? nullptr : reinterpret_cast<const unsigned char*>(txt.data()),
                  fOperations.at(ref)->context);
  });
}

void ScriptedDNSSD::ReplyAddress(const std::string& host, const std::string& address, DNSServiceFlags flags,
                                 DNSServiceErrorType error) {
  PostAddress("address " + host, host, address, flags, 7, error);
}

void ScriptedDNSSD::ReplyFollowed(const std::string& host, const std::string& address, DNSServiceFlags flags,
                                  std::uint32_t interfaceIndex, DNSServiceErrorType error) {
  PostAddress("follow " + host, host, address, flags, interfaceIndex, error);
}

void ScriptedDNSSD::PostAddress(const std::string& operation, const std::string& host,
                                const std::string& address, DNSServiceFlags flags,
                                std::uint32_t interfaceIndex, DNSServiceErrorType error) {
  Post(operation, [this, host, address, flags, interfaceIndex, error](DNSServiceRef ref) {
    sockaddr_in ipv4{};
    ipv4.sin_family = AF_INET;
    ::inet_pton(AF_INET, address.c_str(), &ipv4.sin_addr);
    const Operation& begun = *fOperations.at(ref);
    const auto reply = begun.kind == Kind::kFollow ? fFollowReply : fAddressReply;
    reply(ref, flags, interfaceIndex, error, host.c_str(), reinterpret_cast<const sockaddr*>(&ipv4), 120,
          begun.context);
  });
}

void ScriptedDNSSD::ReplyNoAddress(const std::string& host) {
  Post("address " + host, [this](DNSServiceRef ref) {
    fAddressReply(ref, kDNSServiceFlagsAdd, 7, kDNSServiceErr_NoError, nullptr, nullptr, 0,
                  fOperations.at(ref)->context);
  });
}

void ScriptedDNSSD::ReplyWith(const std::string& operation, std::function<void(DNSServiceRef, void*)> reply) {
  Post(operation,
       [this, reply = std::move(reply)](DNSServiceRef ref) { reply(ref, fOperations.at(ref)->context); });
}

void ScriptedDNSSD::Hold() {
  const std::lock_guard lock(fMutex);
  fHeld = true;
}

void ScriptedDNSSD::Release() {
  const std::lock_guard lock(fMutex);
  fHeld = false;
  // The highest sockets first: if the order depended on sockets, it would be wrong.
  for (auto it = fOperations.rbegin(); it != fOperations.rend(); ++it) {
    if (!it->second->replies.empty()) Signal(*it->second);
  }
}

bool ScriptedDNSSD::WaitFor(const std::function<bool()>& condition) {
  std::unique_lock lock(fMutex);
  return fChanged.wait_for(lock, std::chrono::seconds(10), condition);
}

bool ScriptedDNSSD::WaitForBegun(const std::string& operation, std::size_t times) {
  return WaitFor(
      [&] { return static_cast<std::size_t>(std::count(fBegun.begin(), fBegun.end(), operation)) >= times; });
}

bool ScriptedDNSSD::WaitForReleased(const std::string& operation, std::size_t times) {
  return WaitFor([&] {
    return static_cast<std::size_t>(std::count(fReleased.begin(), fReleased.end(), operation)) >= times;
  });
}

bool ScriptedDNSSD::WaitForHandled(std::size_t replies) {
  return WaitFor([&] { return fHandled.size() >= replies; });
}

bool ScriptedDNSSD::WaitUntilIdle() {
  // A reply that nobody notices comes after all others and so shows that they were handled.
  ReplyBrowse(0, "", 0, kDNSServiceErr_Unknown);
  std::size_t posted = 0;
  {
    const std::lock_guard lock(fMutex);
    posted = fPosted;
  }
  return WaitForHandled(posted);
}

std::vector<std::string> ScriptedDNSSD::Begun() {
  const std::lock_guard lock(fMutex);
  return fBegun;
}

std::vector<std::string> ScriptedDNSSD::Released() {
  const std::lock_guard lock(fMutex);
  return fReleased;
}

std::vector<std::string> ScriptedDNSSD::Handled() {
  const std::lock_guard lock(fMutex);
  return fHandled;
}

std::vector<std::string> ScriptedDNSSD::Calls() {
  const std::lock_guard lock(fMutex);
  return fCalls;
}

std::size_t ScriptedDNSSD::MostPendingLookups() {
  const std::lock_guard lock(fMutex);
  return fMostPending;
}

std::set<std::thread::id> ScriptedDNSSD::Threads() {
  const std::lock_guard lock(fMutex);
  return fThreads;
}

bool ScriptedDNSSD::Misused() {
  const std::lock_guard lock(fMutex);
  return fMisused;
}

void ScriptedDNSSD::Record(const std::string& call) {
  const std::lock_guard lock(fMutex);
  fCalls.push_back(call);
}

DNSServiceErrorType ScriptedDNSSD::CreateConnection(DNSServiceRef* ref) {
  *ref = Begin(Kind::kConnection, "");
  return kDNSServiceErr_NoError;
}

DNSServiceErrorType ScriptedDNSSD::Browse(DNSServiceRef* ref, DNSServiceFlags flags,
                                          std::uint32_t interfaceIndex, const char* type, const char* domain,
                                          DNSServiceBrowseReply callback, void* context) {
  fBrowseReply = callback;
  *ref = nullptr;
  Record("browse " + Words(flags, interfaceIndex, type, domain));
  if (!browseGivesReference || browseError != kDNSServiceErr_NoError) return browseError;
  *ref = Begin(Kind::kBrowse, "");
  fOperations.at(*ref)->context = context;
  return kDNSServiceErr_NoError;
}

DNSServiceErrorType ScriptedDNSSD::Resolve(DNSServiceRef* ref, DNSServiceFlags flags,
                                           std::uint32_t interfaceIndex, const char* name, const char* type,
                                           const char* domain, DNSServiceResolveReply callback,
                                           void* context) {
  fResolveReply = callback;
  *ref = nullptr;
  Record("resolve " + Words(flags, interfaceIndex, name, type, domain));
  const DNSServiceErrorType error = onResolve ? onResolve(name) : kDNSServiceErr_NoError;
  if (error != kDNSServiceErr_NoError) return error;
  *ref = Begin(Kind::kResolve, name);
  const std::lock_guard lock(fMutex);
  fOperations.at(*ref)->context = context;
  return kDNSServiceErr_NoError;
}

DNSServiceErrorType ScriptedDNSSD::GetAddrInfo(DNSServiceRef* ref, DNSServiceFlags flags,
                                               std::uint32_t interfaceIndex, std::uint32_t protocol,
                                               const char* hostName, DNSServiceGetAddrInfoReply callback,
                                               void* context) {
  // The engine looks its records up on the interface of their resolve.
  const Kind kind = interfaceIndex == 0 ? Kind::kFollow : Kind::kAddress;
  (kind == Kind::kFollow ? fFollowReply : fAddressReply) = callback;
  const bool isShared = (flags & kDNSServiceFlagsShareConnection) != 0;
  const DNSServiceRef connection = isShared ? *ref : nullptr;
  *ref = nullptr;
  Record("address " + Words(flags, interfaceIndex, protocol, hostName));
  const DNSServiceErrorType error = onGetAddrInfo ? onGetAddrInfo(hostName) : kDNSServiceErr_NoError;
  if (error != kDNSServiceErr_NoError) return error;
  *ref = Begin(kind, hostName, connection);
  const std::lock_guard lock(fMutex);
  fOperations.at(*ref)->context = context;
  return kDNSServiceErr_NoError;
}

int ScriptedDNSSD::RefSockFD(DNSServiceRef ref) {
  const std::lock_guard lock(fMutex);
  const Operation& operation = *fOperations.at(ref);
  if (operation.description == deafOperation) return kNoSuchSocket;
  return operation.highSocket ? operation.highSocket.Get() : operation.readable.Descriptor();
}

DNSServiceErrorType ScriptedDNSSD::ProcessResult(DNSServiceRef ref) {
  Reply reply;
  DNSServiceRef replying = nullptr;
  std::string description;
  {
    const std::lock_guard lock(fMutex);
    fThreads.insert(std::this_thread::get_id());
    const auto found = fOperations.find(ref);
    if (found == fOperations.end() || found->second->inside) {
      fMisused = true;
      return kDNSServiceErr_BadReference;
    }
    Operation& operation = *found->second;
    operation.inside = true;
    operation.insideThread = std::this_thread::get_id();
    description = operation.description;
    replying = NextWithReply(ref);
    if (replying != nullptr) {
      Operation& first = *fOperations.at(replying);
      description = first.description;
      reply = std::move(first.replies.front());
      first.replies.pop_front();
    }
    if (NextWithReply(ref) == nullptr) operation.readable.Clear();
  }
  if (reply) reply(replying);
  const std::lock_guard lock(fMutex);
  // The callback may have released the operation; that is allowed.
  const auto found = fOperations.find(ref);
  if (found != fOperations.end()) found->second->inside = false;
  fHandled.push_back(description);
  fChanged.notify_all();
  return processError;
}

void ScriptedDNSSD::RefDeallocate(DNSServiceRef ref) {
  const std::lock_guard lock(fMutex);
  const auto found = fOperations.find(ref);
  if (found == fOperations.end()) {
    fMisused = true;
    return;
  }
  if (found->second->inside && found->second->insideThread != std::this_thread::get_id()) fMisused = true;
  fThreads.insert(std::this_thread::get_id());
  if (found->second->kind == Kind::kConnection) {
    for (const auto& [other, operation] : fOperations) fMisused = fMisused || operation->connection == ref;
  } else {
    fReleased.push_back(std::move(found->second->description));
  }
  fOperations.erase(found);
  fChanged.notify_all();
}

}  // namespace vorn::testing
