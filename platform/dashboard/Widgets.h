#ifndef DASHBOARD_WIDGETS_H
#define DASHBOARD_WIDGETS_H

#include <QLabel>
#include <QWidget>

namespace dashboard
{

/// Gives a widget its name for style sheets and tests, and the one that screen readers say.
template <typename Widget>
Widget *named(Widget *widget, const char *objectName, const QString &accessibleName)
{
    widget->setObjectName(objectName);
    widget->setAccessibleName(accessibleName);
    return widget;
}

/// A label that shows a card's text as it is, never as markup.
inline QLabel *plainLabel(QWidget *parent, const QString &text = QString())
{
    auto *label = new QLabel(parent);
    label->setTextFormat(Qt::PlainText);
    label->setText(text);
    return label;
}

/// The same with its name for style sheets and tests. Screen readers say the text, and `meaning` with it.
inline QLabel *tellingLabel(QWidget *parent, const char *objectName, const QString &meaning)
{
    QLabel *const label = plainLabel(parent);
    label->setObjectName(objectName);
    label->setAccessibleDescription(meaning);
    return label;
}

/// A label whose mnemonic leads to `buddy`.
inline QLabel *labelFor(QWidget *buddy, const QString &text)
{
    auto *label = new QLabel(text);
    label->setBuddy(buddy);
    return label;
}

} // namespace dashboard

#endif // DASHBOARD_WIDGETS_H
