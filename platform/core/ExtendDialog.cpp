#include "core/ExtendDialog.h"

#include "core/TitleBar.h"

#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMessageBox>
#include <QPainter>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>
#include <QtCore/QPointer>
#include <QtCore/QTimer>

#if QT_VERSION >= QT_VERSION_CHECK(5, 0, 0)
#include <QWindow>
#endif

#include <algorithm>

namespace
{

/// Sizes in pixels. The bar is low because windows of a fixed size must hold their content below it.
const int border = 1;
const int barHeight = 24;
const int messageMinimumWidth = 220; // a short text must not make a window of hardly more than its buttons
const int messageLook = 4;

Qt::WindowFlags frameFlags(Qt::WindowFlags flags)
{
    if (!(flags & Qt::Window)) {
        flags = (flags & ~Qt::WindowFlags(Qt::WindowType_Mask)) | Qt::Dialog;
    }
    return flags | Qt::FramelessWindowHint;
}

bool isPlainReturn(const QKeyEvent *event)
{
    const bool enter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    return enter && (event->modifiers() & ~Qt::KeypadModifier) == 0;
}

bool takesFocus(QWidget *frame, QWidget *widget)
{
    return widget->isEnabled() && widget->isVisibleTo(frame) && (widget->focusPolicy() & Qt::TabFocus);
}

/// Grabs the keyboard from the program's other windows only: a field that has grabbed it before its window was shown
/// has no more either, and nobody could type in other programs otherwise.
void grabForProgram(QWidget *widget)
{
    widget->grabKeyboard();
#if QT_VERSION >= QT_VERSION_CHECK(5, 0, 0)
    if (QWindow *window = widget->window()->windowHandle()) {
        window->setKeyboardGrabEnabled(false);
    }
#endif
}

/// Whether `window` is the window of a parent of `frame`, directly or further up.
bool isBehind(const QWidget *window, const QWidget *frame)
{
    const QWidget *parent = frame->parentWidget();
    while (parent && parent->window() != window) {
        parent = parent->window()->parentWidget();
    }
    return parent != 0;
}

} // namespace

/// Watches the frame and an embedded message box from outside their event handlers, so that a subclass may replace
/// any of those without losing the frame's behaviour.
class ExtendDialogPrivate : public QObject
{
    Q_OBJECT

public:
    ExtendDialogPrivate(ExtendDialog *frame, int widgetType);

    void replaceContent(QWidget *widget);

    ExtendDialog *const q;
    core::TitleBar *bar;
    QVBoxLayout *column;
    QPointer<QWidget> content;

    bool eventFilter(QObject *watched, QEvent *event) override;

public slots:
    void settleDefaultButton();
    void takeKeyboardBack();

private:
    void removeContent();
    void frameEvent(QEvent *event);
    bool contentEvent(QEvent *event);
    void fillWidth();
    void applySheet();
    void giveFocus();
    void borrowKeyboard();
    void returnKeyboard();
    void drawBorder();
    QPushButton *messageDefault() const;

    QPointer<QWidget> lender; ///< had grabbed the keyboard when this frame was shown over it
};

ExtendDialogPrivate::ExtendDialogPrivate(ExtendDialog *frame, int widgetType)
    : QObject(frame), q(frame), bar(new core::TitleBar(frame, barHeight)), column(new QVBoxLayout(frame))
{
    column->setContentsMargins(border, border, border, border);
    column->setSpacing(0);
    column->addWidget(bar);
    column->addStretch(0); // keeps the bar on top while there is no content

    if (widgetType == messageLook) {
        bar->setMinimumWidth(messageMinimumWidth);
    }
    bar->closeButton()->setAccessibleName(QDialog::tr("Close"));
    bar->closeButton()->setDefault(true);
    connect(bar->closeButton(), SIGNAL(clicked()), frame, SLOT(close()));
    connect(qApp, SIGNAL(focusChanged(QWidget *, QWidget *)), this, SLOT(settleDefaultButton()));
    frame->installEventFilter(this);
}

/// The earlier content is only taken out and hidden: whoever made it may still hold it. It stays a child of the
/// frame, which deletes it at the latest.
void ExtendDialogPrivate::removeContent()
{
    if (content) {
        content->removeEventFilter(this);
        column->removeWidget(content);
        content->hide();
    }
    content = 0;
}

void ExtendDialogPrivate::replaceContent(QWidget *widget)
{
    if (widget == content) {
        return;
    }
    removeContent();
    if (!widget) {
        return;
    }
    content = widget;
    if (widget->isWindow() || widget->parentWidget() != q) {
        // A dialog such as a message box is a window until it is told otherwise; here it is a part of one.
        widget->setParent(q, widget->windowFlags() & ~Qt::WindowFlags(Qt::WindowType_Mask));
    }
    widget->installEventFilter(this);
    column->insertWidget(1, widget, 1);
    widget->show();
    settleDefaultButton();
}

bool ExtendDialogPrivate::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == q) {
        frameEvent(event);
        return false;
    }
    return watched == content && contentEvent(event);
}

void ExtendDialogPrivate::frameEvent(QEvent *event)
{
    switch (event->type()) {
    case QEvent::Show:
        if (!event->spontaneous()) {
            applySheet();
            borrowKeyboard();
            q->setAttribute(Qt::WA_KeyboardFocusChange); // the focus ring shows from the start
            giveFocus();
            settleDefaultButton();
        }
        break;
    case QEvent::Hide:
        if (!event->spontaneous()) {
            returnKeyboard();
        }
        break;
    case QEvent::Paint:
        drawBorder();
        break;
    case QEvent::WindowTitleChange:
        bar->setTitle(q->windowTitle());
        break;
    case QEvent::WindowActivate:
    case QEvent::WindowDeactivate:
        bar->setActive(event->type() == QEvent::WindowActivate);
        q->update();
        // Once this change is over: activating in the middle of it would be undone by the rest of it.
        QTimer::singleShot(0, this, SLOT(takeKeyboardBack()));
        break;
    default:
        break;
    }
}

bool ExtendDialogPrivate::contentEvent(QEvent *event)
{
    if (!qobject_cast<QDialog *>(content)) {
        return false;
    }
    if (event->type() == QEvent::Show) {
        // Otherwise a dialog places itself on the screen when it is shown, and so leaves its place in the frame.
        content->setAttribute(Qt::WA_Moved);
    } else if (event->type() == QEvent::Resize) {
        fillWidth();
    } else if (event->type() == QEvent::KeyPress) {
        QKeyEvent *key = static_cast<QKeyEvent *>(event);
        if (key->key() == Qt::Key_Escape || isPlainReturn(key)) {
            key->ignore(); // these belong to the frame: on to it, past the embedded dialog
            return true;
        }
    }
    return false;
}

/// A message box fixes its own size to what its text and buttons need, and would leave a gap beside it in a frame that
/// is wider than that.
void ExtendDialogPrivate::fillWidth()
{
    if (qobject_cast<QMessageBox *>(content) && content->width() < bar->minimumWidth()) {
        content->setFixedWidth(bar->minimumWidth());
    }
}

/// QDialog looks for the default button among the buttons whose window it is, so a message box inside a frame never
/// takes the mark from an earlier default button, and the frame knows nothing of the box's. This does both.
void ExtendDialogPrivate::settleDefaultButton()
{
    const QList<QPushButton *> buttons = q->findChildren<QPushButton *>();
    QPushButton *wanted = messageDefault();
    if (!wanted) {
        // Plain content: QDialog's own account is right, unless a message box that is gone has left it with nothing.
        if (std::none_of(buttons.begin(), buttons.end(),
                         [this](QPushButton *button) { return button->isDefault() && button->isVisibleTo(q); })) {
            bar->closeButton()->setDefault(true);
        }
        return;
    }
    QPushButton *focused = qobject_cast<QPushButton *>(q->focusWidget());
    if (focused && focused->autoDefault() && content->isAncestorOf(focused)) {
        wanted = focused;
    }
    foreach (QPushButton *button, buttons) {
        button->setDefault(button == wanted);
    }
}

/// A window manager may give the keyboard to the window that this frame blocks, when that is clicked. Nobody would hear
/// the keys then.
void ExtendDialogPrivate::takeKeyboardBack()
{
    const QWidget *active = QApplication::activeWindow();
    if (!active || active == q || !q->isVisible() || QApplication::activeModalWidget() != q) {
        return;
    }
    const bool everything = q->windowModality() == Qt::ApplicationModal;
    if (everything ? !isBehind(q, active) : isBehind(active, q)) { // a window above this frame is not blocked
        q->raise();
        q->activateWindow();
    }
}

QPushButton *ExtendDialogPrivate::messageDefault() const
{
    QMessageBox *box = qobject_cast<QMessageBox *>(content);
    return box && !box->isWindow() ? box->defaultButton() : 0;
}

/// A style sheet looks at a widget's object name only once, and content may have got its names since.
void ExtendDialogPrivate::applySheet()
{
    foreach (QWidget *widget, q->findChildren<QWidget *>()) {
        if (widget->style()->inherits("QStyleSheetStyle")) {
            widget->style()->polish(widget);
            widget->updateGeometry();
        }
    }
}

/// Gives the focus to the first field for text, else to the first widget that takes it, when nobody has asked for it.
void ExtendDialogPrivate::giveFocus()
{
    if (q->focusWidget()) {
        return;
    }
    QWidget *first = 0;
    for (QWidget *widget = q->nextInFocusChain(); widget && widget != q; widget = widget->nextInFocusChain()) {
        if (!q->isAncestorOf(widget) || !takesFocus(q, widget)) {
            continue;
        }
        if (qobject_cast<QLineEdit *>(widget)) {
            first = widget;
            break;
        }
        first = first ? first : widget;
    }
    if (first) {
        first->setFocus(Qt::OtherFocusReason);
    }
}

/// A widget that has grabbed the keyboard would get the keys of a modal frame shown over it, too, and nobody could
/// answer the frame by keyboard: the grab rests while the frame is up.
void ExtendDialogPrivate::borrowKeyboard()
{
    QWidget *grabber = QWidget::keyboardGrabber();
    if (grabber && q->isModal() && grabber->window() != q) {
        lender = grabber;
        grabber->releaseKeyboard();
    }
}

void ExtendDialogPrivate::returnKeyboard()
{
    QWidget *grabber = lender;
    lender = 0;
    if (!grabber || !grabber->isVisible()) {
        return;
    }
    QWidget *top = QApplication::activeModalWidget();
    if (!top || top == q || top == grabber->window()) {
        grabForProgram(grabber);
    } else if (ExtendDialogPrivate *next = top->findChild<ExtendDialogPrivate *>()) {
        next->lender = grabber; // closed out of turn: the frame that is still up returns it
    }
}

/// As areas: a line would lie beside its place on a screen of another scale, and partly below the content.
void ExtendDialogPrivate::drawBorder()
{
    QPainter painter(q);
    const QColor colour = core::TitleBar::colour(q->isActiveWindow());
    const QRect all = q->rect();
    painter.fillRect(0, 0, all.width(), border, colour);
    painter.fillRect(0, all.height() - border, all.width(), border, colour);
    painter.fillRect(0, 0, border, all.height(), colour);
    painter.fillRect(all.width() - border, 0, border, all.height(), colour);
}

ExtendDialog::ExtendDialog(QWidget *parent, Qt::WindowFlags flags, int widgetType)
    : QDialog(parent, frameFlags(flags)), d(new ExtendDialogPrivate(this, widgetType))
{
}

/// The private part is a child and goes with the other children.
ExtendDialog::~ExtendDialog() {}

void ExtendDialog::AddMainWidget(QWidget *widget)
{
    d->replaceContent(widget);
}

void ExtendDialog::setWindowTitle(const QString &title)
{
    QDialog::setWindowTitle(title); // the bar follows by the event that this sends
}

void ExtendDialog::setWindowFlags(Qt::WindowFlags flags)
{
    QDialog::setWindowFlags(frameFlags(flags));
}

void ExtendDialog::changeSize(QSize size)
{
    if (size.isValid()) {
        d->column->activate(); // the content's new limits replace the old ones before they can stand in the way
        resize(size + QSize(2 * border, 2 * border + d->bar->height()));
    }
}

#include "ExtendDialog.moc"
