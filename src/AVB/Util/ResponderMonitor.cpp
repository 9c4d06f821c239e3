#include "AVB/Util/ResponderMonitor.h"

#include <dbus/dbus.h>
#include <poll.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>

#include "foundation/Clock.h"

namespace vorn {
namespace {

using std::chrono::milliseconds;

constexpr char kResponderName[] = "org.freedesktop.Avahi";
constexpr char kOwnerRule[] =
    "type='signal',sender='org.freedesktop.DBus',interface='org.freedesktop.DBus',"
    "member='NameOwnerChanged',arg0='org.freedesktop.Avahi'";

struct MessageDeleter {
  void operator()(DBusMessage* message) const { ::dbus_message_unref(message); }
};
using Message = std::unique_ptr<DBusMessage, MessageDeleter>;

struct ConnectionDeleter {
  void operator()(DBusConnection* connection) const {
    ::dbus_connection_close(connection);
    ::dbus_connection_unref(connection);
  }
};

}  // namespace

// One connection to the system bus, and what it shows about the responder.
class ResponderMonitor::Connection {
 public:
  explicit Connection(ResponderMonitor& monitor) : fMonitor(monitor) {
    fBus.reset(::dbus_bus_get_private(DBUS_BUS_SYSTEM, nullptr));
    if (!fBus) return;
    ::dbus_connection_set_exit_on_disconnect(fBus.get(), FALSE);
    ::dbus_bus_add_match(fBus.get(), kOwnerRule, nullptr);  // without an error to fill, it does not wait
    Send("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetNameOwner",
         fOwnerSerial);
  }

  explicit operator bool() const { return fBus != nullptr; }

  // Serves the bus until it is lost or the monitor stops.
  void Serve() {
    while (!fMonitor.fThread.MustStop() && ::dbus_connection_get_is_connected(fBus.get()) != FALSE) {
      ::dbus_connection_read_write(fBus.get(), 0);
      while (Message message{::dbus_connection_pop_message(fBus.get())}) Handle(message.get());
      Probe();
      WaitForTraffic();
    }
  }

 private:
  void Send(const char* destination, const char* path, const char* interface, const char* method,
            dbus_uint32_t& serial) {
    const Message call(::dbus_message_new_method_call(destination, path, interface, method));
    if (!call) return;
    ::dbus_message_set_auto_start(call.get(), FALSE);
    if (std::strcmp(method, "GetNameOwner") == 0) {
      const char* name = kResponderName;
      ::dbus_message_append_args(call.get(), DBUS_TYPE_STRING, &name, DBUS_TYPE_INVALID);
    }
    ::dbus_connection_send(fBus.get(), call.get(), &serial);
    ::dbus_connection_flush(fBus.get());
  }

  void Handle(DBusMessage* message) {
    if (::dbus_message_is_signal(message, "org.freedesktop.DBus", "NameOwnerChanged") != FALSE) {
      // Any client of the bus can send us such a signal.
      if (::dbus_message_has_sender(message, "org.freedesktop.DBus") != FALSE) HandleOwnerChange(message);
      return;
    }
    const dbus_uint32_t serial = ::dbus_message_get_reply_serial(message);
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
    Send(kResponderName, "/", "org.freedesktop.Avahi.Server", "GetState", fProbeSerial);
    fNextProbe = Clock::now() + fMonitor.fTiming.probeTimeout;
  }

  void WaitForTraffic() const {
    // Sending may have read messages, and then the descriptor does not report them any more.
    if (::dbus_connection_get_dispatch_status(fBus.get()) == DBUS_DISPATCH_DATA_REMAINS) return;
    int descriptor = -1;
    if (::dbus_connection_get_unix_fd(fBus.get(), &descriptor) == FALSE) return;
    pollfd descriptors[] = {{descriptor, POLLIN, 0}, {fMonitor.fThread.StopDescriptor(), POLLIN, 0}};
    int timeout = -1;
    if (fOwned) {
      const auto left = std::chrono::ceil<milliseconds>(fNextProbe - Clock::now());
      timeout = static_cast<int>(std::max<milliseconds::rep>(left.count(), 0));
    }
    ::poll(descriptors, 2, timeout);
  }

  ResponderMonitor& fMonitor;
  std::unique_ptr<DBusConnection, ConnectionDeleter> fBus;
  bool fOwned = false;
  dbus_uint32_t fOwnerSerial = 0;
  dbus_uint32_t fProbeSerial = 0;  // serial number of the open probe; 0: none
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
