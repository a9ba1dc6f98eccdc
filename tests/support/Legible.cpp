#include "support/Legible.h"

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QComboBox>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QStyleOption>
#include <QTabBar>

namespace
{

QSize sizeOfText(const QWidget *widget, const QString &text)
{
    return widget->fontMetrics().size(Qt::TextShowMnemonic, text);
}

bool hasRoom(const QSize &text, const QSize &room)
{
    return text.width() <= room.width() && text.height() <= room.height();
}

bool fits(const QLabel *label)
{
    if (label->wordWrap())
        return label->heightForWidth(label->width()) <= label->height();
    return hasRoom(label->sizeHint(), label->size());
}

bool fits(const QPushButton *button)
{
    QStyleOptionButton option;
    option.initFrom(button);
    option.text = button->text();
    const QRect content = button->style()->subElementRect(QStyle::SE_PushButtonContents, &option, button);
    return hasRoom(sizeOfText(button, button->text()), content.size());
}

bool fits(const QComboBox *box)
{
    QStyleOptionComboBox option;
    option.initFrom(box);
    const QRect field = box->style()->subControlRect(QStyle::CC_ComboBox, &option, QStyle::SC_ComboBoxEditField, box);
    return hasRoom(sizeOfText(box, box->currentText()), field.size());
}

bool fits(const QTabBar *bar)
{
    for (int i = 0; i < bar->count(); ++i) {
        if (!hasRoom(sizeOfText(bar, bar->tabText(i)), bar->tabRect(i).size()))
            return false;
    }
    return true;
}

bool fits(const QHeaderView *header)
{
    for (int i = 0; i < header->count(); ++i) {
        const QString title = header->model()->headerData(i, header->orientation()).toString();
        if (!header->isSectionHidden(i) && sizeOfText(header, title).width() > header->sectionSize(i))
            return false;
    }
    return true;
}

/// A field's placeholder, or the height of its text.
bool fits(const QLineEdit *field)
{
    const QSize room = field->contentsRect().size();
    return hasRoom(QSize(sizeOfText(field, field->placeholderText()).width(), field->fontMetrics().height()), room);
}

/// Of a widget that shows a text, whether it has room; `*text` stays null for one that shows none.
bool fits(const QWidget *widget, QString *text)
{
    if (const auto *label = qobject_cast<const QLabel *>(widget)) {
        *text = label->text();
        return text->isEmpty() || fits(label);
    }
    if (const auto *button = qobject_cast<const QPushButton *>(widget)) {
        *text = button->text();
        return text->isEmpty() || fits(button);
    }
    if (const auto *button = qobject_cast<const QAbstractButton *>(widget)) {
        *text = button->text();
        return text->isEmpty() || hasRoom(button->sizeHint(), button->size());
    }
    if (const auto *box = qobject_cast<const QComboBox *>(widget)) {
        *text = box->currentText();
        return fits(box);
    }
    if (const auto *bar = qobject_cast<const QTabBar *>(widget)) {
        *text = bar->tabText(0);
        return fits(bar);
    }
    if (const auto *header = qobject_cast<const QHeaderView *>(widget)) {
        *text = "header";
        return header->orientation() != Qt::Horizontal || fits(header);
    }
    if (const auto *field = qobject_cast<const QLineEdit *>(widget)) {
        *text = field->text() + ' ' + field->placeholderText();
        return fits(field);
    }
    return true;
}

bool isScrolled(const QWidget *widget)
{
    for (const QWidget *parent = widget->parentWidget(); parent; parent = parent->parentWidget()) {
        if (qobject_cast<const QAbstractScrollArea *>(parent))
            return true;
    }
    return false;
}

} // namespace

Legible::Legible(const QWidget *window)
{
    const QList<QWidget *> widgets = window->findChildren<QWidget *>();
    for (const QWidget *widget : widgets) {
        QString text;
        if (!widget->isVisible() || widget->window() != window)
            continue;
        const bool hasPlace = isScrolled(widget) || widget->visibleRegion().boundingRect() == widget->rect();
        const bool isWhole = fits(widget, &text) && hasPlace;
        if (text.isEmpty())
            continue;
        ++texts;
        if (!isWhole)
            cutOff += QString("%1 (%2) \"%3\"").arg(widget->objectName(), widget->metaObject()->className(), text);
    }
}

void setScaleOfShard()
{
    const int shard = qEnvironmentVariable("STK_TEST_SHARD").section('/', 0, 0).toInt();
    qputenv("QT_SCALE_FACTOR", shard == 2 ? "1.5" : shard == 3 ? "2" : "1");
}
