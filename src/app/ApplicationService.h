#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace vorn::app {

/// What somebody on the session bus asks of the running program.
struct ActivationRequest {
  enum class Kind {
    Activate,     ///< the program was started (again): show what there is to show
    ShowDevices,  ///< show the panel
    OpenPage,     ///< open a page; nothing of the program itself appears
  };

  Kind kind = Kind::Activate;
  std::string address;          ///< of the page; whoever is on the bus chose it
  std::string activationToken;  ///< the asker's leave to take the focus; may be empty
};

/// The program as others on the session bus see it (org.freedesktop.Application),
/// and the means by which there is only one of it.
///
/// The object stands on the bus before the name is asked for, so a message that
/// waits for the name finds it. Requests are kept in order until a handler is
/// set, and answered when they are taken up: whoever asked a program that ended
/// before it could do so gets an error, and may start another. Messages that do
/// not fit, or are too many, are answered with an error too; nothing that
/// arrives can block, throw or grow without bound.
///
/// Main thread, while one application object exists: with it goes what the bus
/// has sent and nobody has looked at.
class ApplicationService final : public QDBusVirtualObject {
  Q_OBJECT

 public:
  enum class Claim {
    Owner,        ///< we are the program now
    AnotherRuns,  ///< somebody else is
    NoBus,        ///< there is no session bus, so nobody can tell
  };
  using Handler = std::function<void(const ActivationRequest&)>;

  /// The parameterised action that opens a page, and the one that shows the panel.
  static constexpr char kOpenPageAction[] = "open-page";
  static constexpr char kShowDevicesAction[] = "show-devices";

  /// What can be done for those who ask; the rest is refused.
  enum class Offer {
    Everything,
    Pages,  ///< there is no display
  };

  ApplicationService(QString name, QString objectPath, Offer offer);
  ~ApplicationService() override;

  /// Asks the bus for the name; blocks for its answer. Once ours, it stays so.
  [[nodiscard]] Claim claimName();

  /// Gives the name back: from here on another start becomes the program, and
  /// another message starts one. What was sent before and waits is refused.
  void release();

  /// The same, but what waits is taken up by the caller.
  [[nodiscard]] std::vector<ActivationRequest> releaseAndTakeWaiting();

  /// Asks whoever owns the name to show its panel; blocks for the answer, a
  /// few seconds at most. False when none came, or a refusal.
  bool askOwnerToShow(const std::string& activationToken);

  /// The request for whose sake the bus started us; empty when there is none.
  /// Once, after the name has become ours, while no handler is set; turns the
  /// event loop, blocks for the bus's answers, a few seconds at most.
  [[nodiscard]] std::optional<ActivationRequest> takeFirstRequest();

  /// From now on requests go to `handler`, those that wait first; from the
  /// event loop. An empty one lets them wait again.
  void setHandler(Handler handler);

  /// Calls `onEnd` once, from the event loop, when the bus that claimName met has
  /// ended: the toolkit never connects to one again, so nobody can reach us
  /// from then on. Never where claimName met none.
  void watchBus(std::function<void()> onEnd);

  QString introspect(const QString& path) const override;
  bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

 private slots:
  void busEnded();

 private:
  /// A request and the call that asks for it, which waits for its answer.
  struct Waiting {
    ActivationRequest request;
    QDBusMessage call;
  };

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
