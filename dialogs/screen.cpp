#include "dialogs/screen.h"

#include <QKeyEvent>
#include <QPixmap>
#include <QPushButton>

namespace Screen {

QPushButton *button(const QString &text, QWidget *parent, int height)
{
    auto *button = new QPushButton(text, parent);
    button->setFixedHeight(height);
    return button;
}

QPixmap screenshotFor(QWidget *screen, const QKeyEvent *event)
{
    if (event->key() != Qt::Key_F12)
        return QPixmap();
    return screen->grab();
}

} // namespace Screen
