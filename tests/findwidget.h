#pragma once

#include <QGroupBox>
#include <QString>
#include <QWidget>

#include <type_traits>

// The first child of that type whose text (a group's title) starts with textStart, as a user
// finds a button or a box on the screen by what it says.
template<typename Widget>
Widget *find(const QWidget *screen, const QString &textStart)
{
    const char *property = std::is_base_of_v<QGroupBox, Widget> ? "title" : "text";
    for (Widget *widget : screen->findChildren<Widget *>()) {
        if (widget->property(property).toString().startsWith(textStart))
            return widget;
    }
    return nullptr;
}
