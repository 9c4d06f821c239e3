#include "AVB/Util/ResponderMonitor.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>

#include "foundation/Clock.h"
#include "foundation/bus/SystemBus.h"

namespace vorn {
namespace {

using std::chrono::milliseconds;

constexpr char kResponderName[] = "org.freedesktop.Avahi";
constexpr char kOwnerRule[] =
    "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
    "member='NameOwnerChanged',arg0='org.freedesktop.Avahi'";

// How long a new connection waits for the bus. A bus that hangs counts as missing.
constexpr std::chrono::seconds kBusPatience{1};

// Any client of the bus can flood us. After so many messages, the monitor checks whether it must stop or
// probe.
constexpr int kMessagesAtOnce = 32;

}  // namespace

// One connection to the system bus, and what it shows about the responder.
class ResponderMonitor::Connection {
 public:
  explicit Connection(ResponderMonitor& monitor)
      : fMonitor(monitor),
        fBus(SystemBus::Connect(SystemBus::DefaultAddress(), Clock::now() + kBusPatience)) {
    if (!fBus) return;
    fBus->AddMatch(kOwnerRule);
    fOwnerSerial = fBus->Send(SystemBus::Itself(), "GetNameOwner", kResponderName);
  }

  explicit operator bool() const { return fBus != nullptr; }

  // Serves the bus until it is lost or the monitor stops.
  void Serve() {
    while (!fMonitor.fThread.MustStop() && fBus->IsConnected()) {
      HandleSome();
      Probe();
      fBus->Await(fMonitor.fThread.StopDescriptor(), TimeToProbe());
    }
  }

 private:
  void HandleSome() {
    for (int left = kMessagesAtOnce; left > 0; --left) {
      const auto message = fBus->Next();
      if (!message) return;
      Handle(message.get());
    }
  }

  void Handle(DBusMessage* message) {
    if (::dbus_message_is_signal(message, "org.freedesktop.DBus", "NameOwnerChanged") != FALSE) {
      // Any client of the bus can send us such a signal.
      if (::dbus_message_has_sender(message, "org.freedesktop.DBus") != FALSE) HandleOwnerChange(message);
      return;
    }
    const std::uint32_t serial = ::dbus_message_get_reply_serial(message);
    if (serial == 0) return;
    const bool isError = ::dbus_message_get_type(message) == DBUS_MESSAGE_TYPE_ERROR;
    if (serial == fOwnerSerial) {
      SetOwned(!isError);
    } else if (serial == fProbeSerial) {
      fProbeSerial = 0;
      fNextProbe = Clock::now() + fMonitor.fTiming.probePeriod;
      // An error is an answer of the bus: the owner has gone, and the owner's signal says so.
      if (!isError && fOwned) fMonitor.Report(State::kAnswering);
    }
  }

  void HandleOwnerChange(DBusMessage* message) {
    const char* name = nullptr;
    const char* before = nullptr;
    const char* after = nullptr;
    if (::dbus_message_get_args(message, nullptr, DBUS_TYPE_STRING, &name, DBUS_TYPE_STRING, &before,
                                DBUS_TYPE_STRING, &after, DBUS_TYPE_INVALID) == FALSE ||
        std::strcmp(name, kResponderName) != 0) {
      return;
    }
    if (*before != '\0') SetOwned(false);  // also if another one takes over at once
    if (*after != '\0') SetOwned(true);
  }

  void SetOwned(bool owned) {
    fOwned = owned;
    fProbeSerial = 0;
    fNextProbe = Clock::now();
    if (!owned) fMonitor.Report(State::kAbsent);
  }

  void Probe() {
    if (!fOwned || Clock::now() < fNextProbe) return;
    if (fProbeSerial != 0) fMonitor.Report(State::kSilent);
    fProbeSerial = fBus->Send({kResponderName, "/", "org.freedesktop.Avahi.Server"}, "GetState");
    fNextProbe = Clock::now() + fMonitor.fTiming.probeTimeout;
  }

  // Negative while there is nothing to probe.
  [[nodiscard]] milliseconds TimeToProbe() const {
    if (!fOwned) return milliseconds(-1);
    return std::max(std::chrono::ceil<milliseconds>(fNextProbe - Clock::now()), milliseconds(0));
  }

  ResponderMonitor& fMonitor;
  const std::unique_ptr<SystemBus> fBus;  // null: there is none
  bool fOwned = false;
  std::uint32_t fOwnerSerial = 0;
  std::uint32_t fProbeSerial = 0;  // serial number of the open probe; 0: none
  Clock::time_point fNextProbe;    // when to send the next probe, or to give up the open one
};

ResponderMonitor::ResponderMonitor(Callback onChange) : ResponderMonitor(std::move(onChange), Timing{}) {}

ResponderMonitor::ResponderMonitor(Callback onChange, Timing timing)
    : fOnChange(std::move(onChange)), fTiming(timing) {
  fThread.Start("responder watch", [this] { ThreadProc(); });
}

ResponderMonitor::~ResponderMonitor() = default;

void ResponderMonitor::ThreadProc() {
  do {
    try {
      Connection connection(*this);
      if (connection) connection.Serve();
      if (!fThread.MustStop()) Report(State::kAbsent);
    } catch (...) {  // for example no memory for the report; the next connection finds the state again
    }
  } while (fThread.Pause(fTiming.retryPeriod));
}

void ResponderMonitor::Report(State state) {
  if (state == fState) return;
  fState = State::kUnknown;  // until it is reported; a failed report is repeated
  fOnChange(state);
  fState = state;
}

}  // namespace vorn
