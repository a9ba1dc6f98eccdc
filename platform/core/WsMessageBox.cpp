#include "core/WsMessageBox.h"

#include <QLabel>
#include <QtCore/QTextBoundaryFinder>

namespace
{

const int longestWord = 30; // characters that surely fit on one line of the box
const int breakEvery = 10;
const QChar zeroWidthSpace(0x200b);

/// The word with places where a line may break between two of its characters (composed ones stay whole).
QString breakableWord(const QString &word)
{
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, word);
    QString result;
    int taken = 0;
    for (int end = finder.toNextBoundary(); end > 0; end = finder.toNextBoundary()) {
        if (end - taken >= breakEvery && end < word.size()) {
            result += word.mid(taken, end - taken) + zeroWidthSpace;
            taken = end;
        }
    }
    return result + word.mid(taken);
}

/// Text without words that are too long for a line, which a label would cut off.
QString breakable(const QString &text)
{
    QString result;
    int start = 0;
    for (int i = 0; i <= text.size(); ++i) {
        if (i < text.size() && !text.at(i).isSpace() && text.at(i) != zeroWidthSpace) {
            continue;
        }
        const QString word = text.mid(start, i - start);
        result += word.size() > longestWord ? breakableWord(word) : word;
        result += text.mid(i, 1);
        start = i + 1;
    }
    return result;
}

void makeReadable(QLabel *label)
{
    if (label && label->textFormat() == Qt::PlainText) {
        const QString text = breakable(label->text());
        if (text != label->text()) {
            label->setText(text);
        }
    }
}

} // namespace

WsMessageBox::WsMessageBox(QWidget *parent) : QMessageBox(parent)
{
    setTextFormat(Qt::PlainText); // the text may come from a card
}

WsMessageBox::~WsMessageBox() {}

/// QMessageBox fixes its own size to what its texts and buttons need, so its size is the size it wants. Both of its
/// labels can be reached by their names only; this comes before they are first painted.
void WsMessageBox::resizeEvent(QResizeEvent *event)
{
    QMessageBox::resizeEvent(event);
    QLabel *informative = findChild<QLabel *>("qt_msgbox_informativelabel");
    if (informative) {
        informative->setTextFormat(Qt::PlainText); // made late, and not reached by setTextFormat() of the box
    }
    makeReadable(informative);
    makeReadable(findChild<QLabel *>("qt_msgbox_label"));
    emit changeSize(size());
}
