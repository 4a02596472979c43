#pragma once

class QKeyEvent;
class QPixmap;
class QPushButton;
class QString;
class QWidget;

// What the window and its three dialogs share: buttons large enough for a finger, and the key
// rule by which each screen takes a picture of itself.
namespace Screen {

constexpr int ButtonHeight = 48;
// The start-up help screen's two buttons, the only ones on a screen of their own.
constexpr int LargeButtonHeight = 96;

// A push button of the screens' fixed height.
QPushButton *button(const QString &text, QWidget *parent, int height = ButtonHeight);

// The picture a key press asks of a screen: the whole screen on F12, whatever the modifiers, and
// nothing (a null pixmap) on any other key. A screen passes no key on to its base class, so that
// Escape never closes a dialog.
QPixmap screenshotFor(QWidget *screen, const QKeyEvent *event);

} // namespace Screen
