#pragma once

#include <QDialog>
#include <QString>

class QLabel;

namespace vorn::ui {

/// A small window with words about the program, made when it is asked for. It stays open without the panel
/// and deletes itself when it is closed, at the latest when the event loop ends. Main thread only.
class InformationWindow : public QDialog {
  Q_OBJECT

 public:
  /// Version, build, the update server and the licences of what the program uses. `updateServer`: the address
  /// that the program asks for new firmware; empty: it does not ask.
  static void showAbout(const QString& updateServer);

  static void showKeyboardShortcuts();

  /// "About Vorn Device Finder"
  [[nodiscard]] static QString aboutTitle();
  [[nodiscard]] static QString keyboardShortcutsTitle();

 private:
  explicit InformationWindow(const QString& title);
  /// `text` may have markup. The window gets its size, but never more than the screen's free area.
  void setText(const QString& text);

  /// Shows the window with this title: the one that is open, or a new one.
  static void present(const QString& title, const QString& text);

  QLabel* const fWords;
};

}  // namespace vorn::ui
