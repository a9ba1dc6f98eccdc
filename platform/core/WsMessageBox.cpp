#include "core/WsMessageBox.h"

#include <QLabel>

WsMessageBox::WsMessageBox(QWidget *parent) : QMessageBox(parent)
{
    setTextFormat(Qt::PlainText); // the text may come from a card
}

WsMessageBox::~WsMessageBox() {}

/// QMessageBox fixes its own size to what its texts and buttons need, so its size is the size it wants.
void WsMessageBox::resizeEvent(QResizeEvent *event)
{
    QMessageBox::resizeEvent(event);
    // The second text has a label of its own, made late, that setTextFormat() does not reach.
    QLabel *informative = findChild<QLabel *>("qt_msgbox_informativelabel");
    if (informative && informative->textFormat() != Qt::PlainText) {
        informative->setTextFormat(Qt::PlainText);
    }
    emit changeSize(size());
}
