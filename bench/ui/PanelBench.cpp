// From the arrival of a list to painted rows, and the cost of its parts. Needs no display: it draws off the
// screen unless QT_QPA_PLATFORM names another platform.

#include <benchmark/benchmark.h>

#include <QApplication>
#include <algorithm>

#include "tests/ui/ScriptedOwner.h"
#include "ui/DeviceListModel.h"
#include "ui/ReturnIsDoubleClickTableView.h"

namespace {

using namespace vorn::ui;

int Rows(const benchmark::State& state) {
  return static_cast<int>(state.range(0));
}

void WorkOff() {
  for (int i = 0; i < 3; ++i) QCoreApplication::processEvents();
}

/// An open panel that lists this many devices.
class OpenPanel {
 public:
  explicit OpenPanel(int rows) : fList(Devices(rows)) {
    fOwner.fList = fList;
    fOwner.setPanelVisible(true);
    WorkOff();
  }
  void publish() {
    fOwner.publish(fList);
    WorkOff();
  }
  List& list() { return fList; }
  ReturnIsDoubleClickTableView* table() { return fOwner.table(); }

 private:
  ScriptedOwner fOwner;
  List fList;
};

// One visible device changes its firmware. The owner's copy of the list is included.
void OneChangeToPaintedRow(benchmark::State& state) {
  OpenPanel panel(Rows(state));
  std::uint64_t build = 0;
  for (auto _ : state) {
    panel.list()[2].firmwareVersion = vorn::FirmwareVersion{1, 0, 0, ++build};
    panel.publish();
  }
}
BENCHMARK(OneChangeToPaintedRow)->Arg(30)->Arg(1000)->Unit(benchmark::kMicrosecond);

// A device comes and goes at the top: every visible row moves and is painted.
void OneArrivalToPaintedRows(benchmark::State& state) {
  OpenPanel panel(Rows(state));
  bool there = false;
  for (auto _ : state) {
    if (there) panel.list().erase(panel.list().begin());
    if (!there) panel.list().insert(panel.list().begin(), Device("aaa"));
    there = !there;
    panel.publish();
  }
}
BENCHMARK(OneArrivalToPaintedRows)->Arg(30)->Arg(1000)->Unit(benchmark::kMicrosecond);

// The whole order is reversed.
void ReversalToPaintedRows(benchmark::State& state) {
  OpenPanel panel(Rows(state));
  for (auto _ : state) {
    std::reverse(panel.list().begin(), panel.list().end());
    panel.publish();
  }
}
BENCHMARK(ReversalToPaintedRows)->Arg(30)->Arg(1000)->Unit(benchmark::kMicrosecond);

// The whole viewport, as scrolling needs it.
void RepaintOfTheViewport(benchmark::State& state) {
  OpenPanel panel(Rows(state));
  for (auto _ : state) panel.table()->viewport()->repaint();
}
BENCHMARK(RepaintOfTheViewport)->Arg(30)->Arg(1000)->Unit(benchmark::kMicrosecond);

// An unchanged list into the model alone.
void UnchangedListIntoTheModel(benchmark::State& state) {
  DeviceListModel model;
  const List list = Devices(Rows(state));
  const DeviceList::SharedUnits inTurns[]{Shared(list), Shared(list)};
  std::size_t turn = 0;
  model.setList(inTurns[turn]);
  for (auto _ : state) model.setList(inTurns[turn ^= 1]);
}
BENCHMARK(UnchangedListIntoTheModel)->Arg(30)->Arg(1000)->Unit(benchmark::kMicrosecond);

// From nothing to a window on the screen with all its rows.
void OpeningThePanel(benchmark::State& state) {
  ScriptedOwner owner;
  owner.fList = Devices(Rows(state));
  for (auto _ : state) {
    owner.setPanelVisible(true);
    WorkOff();
    owner.setPanelVisible(false);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  }
}
BENCHMARK(OpeningThePanel)->Arg(30)->Arg(1000)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication application(argc, argv);
  QApplication::setStyle(QStringLiteral("Fusion"));
  QApplication::setApplicationDisplayName(QStringLiteral("Vorn Device Finder"));
  QApplication::setQuitOnLastWindowClosed(false);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
