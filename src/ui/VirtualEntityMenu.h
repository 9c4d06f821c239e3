#pragma once

#include <QPointer>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "virtualentity/MacVirtualEntity.h"

class QAction;
class QMenu;

namespace vorn::ui {

/// The workstation's own AVB entity in the menus: an entry with a submenu that
/// has one check mark for each capable interface. Owns entries, submenus and
/// marks of all menus, which show the same state.
///
/// takeAnswer brings in what was found, and the user's choice goes to the entity. A mark changes when its
/// item is chosen, before the tool has run. The answer to the latest question counts. It changes nothing if
/// its question is older than the latest choice. If its question is older than the end of a choice's tool, it
/// keeps the mark of that choice.
///
/// Main thread only.
class VirtualEntityMenu {
 public:
  static constexpr char kTitle[] = QT_TRANSLATE_NOOP("VirtualEntityMenu", "Launch Mac Virtual Entity");
  static constexpr int kIndex = 3;  ///< of the entry in each menu

  /// The dispatch must live longer than this object.
  VirtualEntityMenu(std::shared_ptr<MacVirtualEntity> entity, Dispatch& dispatch);
  /// Removes the entry from every menu and ends the current enumeration.
  ~VirtualEntityMenu();
  VirtualEntityMenu(const VirtualEntityMenu&) = delete;
  VirtualEntityMenu& operator=(const VirtualEntityMenu&) = delete;

  /// Asks for the interfaces in one background job of high priority. From its answer on, `menu` has the entry
  /// as long as the latest answer has interfaces. Every menu follows that answer.
  void addTo(QMenu& menu);
  /// Call it before `menu` is destroyed. A menu that was not added is ignored.
  void removeFrom(const QMenu& menu);

 private:
  /// Orders questions, choices and ends of tools; a later one is greater.
  using Moment = std::uint64_t;
  using Items = MacVirtualEntity::Items;

  struct Place {
    QPointer<QMenu> menu;
    std::unique_ptr<QAction> entry;
    QPointer<QMenu> submenu;  ///< child of the menu
  };
  struct Choice {
    bool on = false;
    int tools = 0;     ///< that run for this item
    Moment ended = 0;  ///< the latest end of one
  };

  void ask();
  void takeAnswer(Moment asked, std::optional<Items> found);
  void toggleMacVirtualEntity(const QAction& sender);
  void toolEnded(const std::string& title);
  void mark(const std::string& title, bool on);
  void show(Place& place);
  QMenu* makeSubmenu(QMenu& parent);
  void showMarks(const QMenu& submenu) const;
  static void close(Place& place);

  const std::shared_ptr<MacVirtualEntity> fEntity;
  Dispatch& fDispatch;
  std::shared_ptr<VirtualEntityMenu*> fAlive;  ///< for OnMain
  std::vector<Place> fPlaces;
  std::optional<Items> fItems;  ///< the latest answer, with the later choices; empty: no menu has the entry
  Moment fNow = 0;
  Moment fAnswered = 0;                    ///< when the question of the latest answer was asked
  Moment fChosen = 0;                      ///< of the latest choice
  std::map<std::string, Choice> fChoices;  ///< that an answer may not know yet, by the item's title
};

}  // namespace vorn::ui
