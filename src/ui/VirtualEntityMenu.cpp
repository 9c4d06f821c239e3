#include "ui/VirtualEntityMenu.h"

#include <QAction>
#include <QCoreApplication>
#include <QMenu>
#include <algorithm>
#include <utility>

#include "ui/DisplayText.h"

namespace vorn::ui {
namespace {

using Items = MacVirtualEntity::Items;

// The title is kept beside the text, because toolkits and styles write their own marks into the text.
std::string titleOf(const QAction& entry) {
  return entry.data().toByteArray().toStdString();
}

bool hasSameTitles(const QMenu& menu, const Items& items) {
  const auto actions = menu.actions();
  return std::equal(actions.begin(), actions.end(), items.begin(), items.end(),
                    [](const QAction* action, const MacVirtualEntity::Item& item) {
                      return titleOf(*action) == item.title;
                    });
}

// The interface's name is never cut, because it distinguishes services of the same name.
QString entryText(const std::string& title) {
  const auto colon = title.rfind(':');
  const std::string service = title.substr(0, colon);
  const QString name = service.empty() ? QString() : isolatedText(shortText(displayText(service)));
  return name + u':' + displayText(title.substr(colon + 1));
}

}  // namespace

VirtualEntityMenu::VirtualEntityMenu(std::shared_ptr<MacVirtualEntity> entity, Dispatch& dispatch)
    : fEntity(std::move(entity)), fDispatch(dispatch), fAlive(std::make_shared<VirtualEntityMenu*>(this)) {}

VirtualEntityMenu::~VirtualEntityMenu() {
  for (Place& place : fPlaces) close(place);
  fEntity->StopListings();  // a job may still hold the entity, and nobody waits for its answer
}

void VirtualEntityMenu::addTo(QMenu& menu) {
  fPlaces.push_back(
      {&menu, std::make_unique<QAction>(QCoreApplication::translate("VirtualEntityMenu", kTitle)), nullptr});
  ask();
}

void VirtualEntityMenu::removeFrom(const QMenu& menu) {
  const auto isThis = [&menu](const Place& place) { return place.menu.data() == &menu; };
  const auto place = std::find_if(fPlaces.begin(), fPlaces.end(), isThis);
  if (place == fPlaces.end()) return;
  close(*place);
  fPlaces.erase(place);
}

void VirtualEntityMenu::ask() {
  const auto answer = OnMain(fDispatch, fAlive, &VirtualEntityMenu::takeAnswer);
  fDispatch.AsyncBackground(Dispatch::Priority::kHigh, [answer, entity = fEntity, asked = ++fNow] {
    answer(asked, entity->EnumerateAVBInterfaces());
  });
}

void VirtualEntityMenu::takeAnswer(Moment asked, std::optional<Items> found) {
  if (asked > fAnswered && asked > fChosen) {
    fAnswered = asked;
    fItems = std::move(found);
    std::erase_if(fChoices, [asked](const auto& entry) {
      return entry.second.tools == 0 && entry.second.ended < asked;
    });
    for (const auto& [title, choice] : fChoices) mark(title, choice.on);
  }
  for (Place& place : fPlaces) show(place);
}

void VirtualEntityMenu::toggleMacVirtualEntity(const QAction& sender) {
  const std::string title = titleOf(sender);
  const bool on = sender.isChecked();  // the toolkit has set the mark already
  fChosen = ++fNow;
  Choice& choice = fChoices[title];
  choice.on = on;
  ++choice.tools;
  mark(title, on);
  for (const Place& place : fPlaces) {
    if (place.submenu) showMarks(*place.submenu);
  }
  const auto ended = OnMain(fDispatch, fAlive, &VirtualEntityMenu::toolEnded);
  fEntity->EnableDisableVirtualAudio(title, on, [ended, title] { ended(title); });
}

void VirtualEntityMenu::toolEnded(const std::string& title) {
  Choice& choice = fChoices.at(title);
  --choice.tools;
  choice.ended = ++fNow;
}

void VirtualEntityMenu::mark(const std::string& title, bool on) {
  if (!fItems) return;
  for (auto& item : *fItems) {
    if (item.title == title) item.on = on;
  }
}

void VirtualEntityMenu::show(Place& place) {
  if (!place.menu) return;
  if (!fItems) {
    place.menu->removeAction(place.entry.get());
    return;
  }
  // The present one may be open, so it is kept if it fits.
  if (!place.submenu || !hasSameTitles(*place.submenu, *fItems)) {
    const QPointer<QMenu> old = std::exchange(place.submenu, makeSubmenu(*place.menu));
    place.entry->setMenu(place.submenu.data());
    if (old) old->deleteLater();
  }
  showMarks(*place.submenu);
  const auto actions = place.menu->actions();
  if (!actions.contains(place.entry.get())) {
    place.menu->insertAction(actions.value(kIndex), place.entry.get());
  }
}

QMenu* VirtualEntityMenu::makeSubmenu(QMenu& parent) {
  auto* submenu = new QMenu(&parent);
  for (const auto& item : *fItems) {
    QAction* action = submenu->addAction(QString());
    setLiteralText(*action, entryText(item.title), MenuForm::Drawn);
    action->setCheckable(true);
    action->setData(QByteArray::fromStdString(item.title));
  }
  QObject::connect(submenu, &QMenu::triggered, submenu,
                   [this](const QAction* sender) { toggleMacVirtualEntity(*sender); });
  return submenu;
}

void VirtualEntityMenu::showMarks(const QMenu& submenu) const {
  if (!fItems) return;
  const auto actions = submenu.actions();
  for (const auto& item : *fItems) {
    for (QAction* action : actions) {
      if (titleOf(*action) == item.title) action->setChecked(item.on);
    }
  }
}

// The submenu may be the one whose event is handled now.
void VirtualEntityMenu::close(Place& place) {
  place.entry.reset();
  if (!place.submenu) return;
  QObject::disconnect(place.submenu, &QMenu::triggered, nullptr, nullptr);
  place.submenu->deleteLater();
}

}  // namespace vorn::ui
