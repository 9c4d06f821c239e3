#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "app/ActivationRequest.h"

namespace vorn::app {

/// The program on the session bus (org.freedesktop.Application). It also ensures that the program runs only
/// once.
///
/// The object is on the bus before the name is requested, so a message that waits for the name finds it.
/// Requests are kept in order until a handler is set, and answered when they are handled. If the program ends
/// before that, the sender gets an error and may start another program. Messages that do not fit, or are too
/// many, get an error too. No message can block, throw or grow without bound.
///
/// A program answers nothing while it starts. Until a handler is set, it therefore owns a second name, which
/// tells another start to be patient: the name and ".Starting".
///
/// Main thread, while one application object exists. When that object goes, calls from the bus that nobody
/// has read are lost.
class ApplicationService final : public QDBusVirtualObject {
  Q_OBJECT

 public:
  enum class Claim {
    Owner,        ///< we are the program now
    AnotherRuns,  ///< another process is the program
    NoBus,        ///< there is no session bus, so nobody can know
  };
  using Handler = std::function<void(const ActivationRequest&)>;

  /// Which requests can be served; the others are refused.
  enum class Offer {
    Everything,
    Pages,  ///< there is no display
  };

  ApplicationService(QString name, QString objectPath, Offer offer);
  ~ApplicationService() override;

  /// Asks the bus for the name; blocks for its answer. Once ours, it stays ours.
  [[nodiscard]] Claim claimName();

  /// Gives the name back: from now on another start becomes the program, and another message starts one.
  /// Earlier messages that still wait are refused.
  void release();

  /// The same, but the caller handles the waiting messages.
  [[nodiscard]] std::vector<ActivationRequest> releaseAndTakeWaiting();

  /// How the owner of the name took a question.
  enum class Reply {
    Accepted,
    Refused,
    None,  ///< it is silent, or it has ended
  };

  /// Asks the owner of the name to show its panel. Blocks for the reply, a little more than half a second at
  /// most. It waits longer, ten seconds at most, for a program that is still starting.
  [[nodiscard]] Reply askOwnerToShow(const std::string& activationToken);

  /// Whether the owner of the name replies at all. Changes nothing there. Blocks like the above.
  [[nodiscard]] bool ownerReplies();

  /// The request for which the bus started us; empty if there is none, or if the name is not ours. Call it
  /// once, while no handler is set. Turns the event loop and blocks for the bus's answers, a few seconds at
  /// most.
  [[nodiscard]] std::optional<ActivationRequest> takeFirstRequest();

  /// From now on requests go to `handler`, waiting ones first, from the event loop. An empty handler lets
  /// them wait again.
  void setHandler(Handler handler);

  /// Calls `onEnd` once, from the event loop, when the bus of claimName has ended. The toolkit never connects
  /// to a bus again, so nobody can reach us from then on. Never called if claimName found no bus.
  void watchBus(std::function<void()> onEnd);

  QString introspect(const QString& path) const override;
  bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

 private slots:
  void busEnded();

 private:
  /// A request and its call, which waits for the answer.
  struct Waiting {
    ActivationRequest request;
    QDBusMessage call;
  };

  [[nodiscard]] QString startingName() const { return fName + QStringLiteral(".Starting"); }
  [[nodiscard]] bool isStarting() const;
  [[nodiscard]] Reply askOwner(const QDBusMessage& call);
  void endStart();
  void giveNameBack();
  void takeInWhatWasSent();
  void deliver();
  ActivationRequest takeOldest();

  const QString fName;
  const QString fObjectPath;
  const Offer fOffer;
  Handler fHandler;
  std::function<void()> fOnBusEnd;
  bool fHasMetBus = false;
  std::deque<Waiting> fWaiting;  ///< oldest first, at most kMostWaiting
  bool fOwnsName = false;
};

}  // namespace vorn::app
