#include "core/TitleBar.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QPushButton>
#include <QStyle>
#include <QtCore/QtGlobal>

#if QT_VERSION >= QT_VERSION_CHECK(5, 15, 0)
#include <QWindow>
#endif

namespace core
{

namespace
{

const qreal crossReach = 4; // from the middle of the cross, in both directions

/// With lines and not from a picture, which would be soft on a screen of another scale.
void drawCross(QPainter *painter, const QRectF &place)
{
    const QPointF middle = place.center();
    const QPointF down(crossReach, crossReach), up(crossReach, -crossReach);
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(QPen(Qt::white, 1.6, Qt::SolidLine, Qt::RoundCap));
    painter->drawLine(middle - down, middle + down);
    painter->drawLine(middle - up, middle + up);
}

/// Draws itself flat on the bar and red under the pointer, unless a style sheet is in charge of looks; the cross is the
/// same then, unless the sheet has given the button an icon.
class CloseButton : public QPushButton
{
public:
    explicit CloseButton(QWidget *parent) : QPushButton(parent)
    {
        setFlat(true);
        setAttribute(Qt::WA_Hover);
    }

protected:
    void paintEvent(QPaintEvent *event) override
    {
        const bool hasSheet = style()->inherits("QStyleSheetStyle");
        if (hasSheet) {
            QPushButton::paintEvent(event);
        }
        QPainter painter(this);
        if (!hasSheet) {
            drawGround(&painter);
        }
        if (icon().isNull()) {
            drawCross(&painter, rect());
        }
    }

private:
    void drawGround(QPainter *painter)
    {
        if (isDown()) {
            painter->fillRect(rect(), QColor(0x9b, 0x1c, 0x1c));
        } else if (underMouse()) {
            painter->fillRect(rect(), QColor(0xc5, 0x30, 0x30));
        }
        if (hasFocus()) {
            painter->setPen(Qt::white);
            painter->drawRect(rect().adjusted(1, 1, -2, -2));
        }
    }
};

/// Tool tips guess markup; a title is data and must be shown as it is, so it goes in as escaped markup.
QString asToolTip(const QString &text)
{
    QString escaped = text;
    escaped.replace('&', "&amp;").replace('<', "&lt;").replace('>', "&gt;");
    return "<p>" + escaped + "</p>";
}

/// Line ends and tabs would break the bar's one line.
QString onOneLine(QString text)
{
    for (int i = 0; i < text.size(); ++i) {
        if (text.at(i).category() == QChar::Other_Control || text.at(i) == QChar::LineSeparator ||
            text.at(i) == QChar::ParagraphSeparator) {
            text[i] = ' ';
        }
    }
    return text;
}

/// Hands the move to the window manager, which also works where programs may not place their own windows.
bool startMoveBySystem(QWidget *window)
{
#if QT_VERSION >= QT_VERSION_CHECK(5, 15, 0)
    return window->windowHandle() && window->windowHandle()->startSystemMove();
#else
    Q_UNUSED(window);
    return false;
#endif
}

} // namespace

TitleBar::TitleBar(QWidget *parent, int height)
    : QFrame(parent), m_label(new QLabel(this)), m_closeButton(new CloseButton(this)), m_held(false), m_dragged(false)
{
    setObjectName("ExtendDialog_TitleBar");
    setFixedHeight(height);
    setAutoFillBackground(true);

    m_label->setObjectName("ExtendDialog_Title");
    m_label->setTextFormat(Qt::PlainText);
    m_label->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    QFont bold = m_label->font();
    bold.setBold(true);
    m_label->setFont(bold);

    m_closeButton->setObjectName("ExtendDialog_BtnClose");
    m_closeButton->setFixedSize(height + 8, height);
    m_closeButton->setFocusPolicy(Qt::NoFocus); // the keyboard has Escape; Tab stays in the content

    QHBoxLayout *row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(4);
    row->addSpacing(10); // no margin: that would stay on the left in a mirrored window
    row->addWidget(m_label, 1);
    row->addWidget(m_closeButton);
    setActive(true);
}

QColor TitleBar::colour(bool active)
{
    return active ? QColor(0x2f, 0x4a, 0x63) : QColor(0x5f, 0x6d, 0x7a);
}

void TitleBar::setActive(bool active)
{
    QPalette look = palette();
    look.setColor(QPalette::Window, colour(active));
    look.setColor(QPalette::WindowText, Qt::white);
    setPalette(look);
}

void TitleBar::setTitle(const QString &title)
{
    m_title = onOneLine(title);
    elide();
}

void TitleBar::elide()
{
    const QString shown = m_label->fontMetrics().elidedText(m_title, Qt::ElideRight, m_label->width());
    m_label->setText(shown);
    m_label->setToolTip(shown == m_title ? QString() : asToolTip(m_title));
}

void TitleBar::resizeEvent(QResizeEvent *event)
{
    QFrame::resizeEvent(event);
    layout()->activate(); // the label's new width is needed now
    elide();
}

void TitleBar::mousePressEvent(QMouseEvent *event)
{
    m_held = event->button() == Qt::LeftButton;
    m_dragged = false;
    m_pressed = event->globalPos();
    m_grab = m_pressed - window()->frameGeometry().topLeft();
    event->accept();
}

void TitleBar::mouseMoveEvent(QMouseEvent *event)
{
    if (m_held && (event->buttons() & Qt::LeftButton)) {
        drag(event->globalPos());
    }
    event->accept();
}

void TitleBar::mouseReleaseEvent(QMouseEvent *event)
{
    m_held = false;
    event->accept();
}

void TitleBar::drag(const QPoint &pointer)
{
    if (!m_dragged) {
        if ((pointer - m_pressed).manhattanLength() < QApplication::startDragDistance()) {
            return;
        }
        m_dragged = true;
        if (startMoveBySystem(window())) {
            m_held = false;
            return;
        }
    }
    window()->move(pointer - m_grab);
}

} // namespace core
