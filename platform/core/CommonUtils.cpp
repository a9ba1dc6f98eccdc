#include "core/CommonUtils.h"

#include "core/Change.h"
#include "core/CoreControl.h"
#include "core/ExtendDialog.h"
#include "core/WsMessageBox.h"

#include <QApplication>
#include <QCheckBox>
#include <QDesktopServices>
#include <QDesktopWidget>
#include <QGridLayout>
#include <QPushButton>
#include <QtCore/QPointer>
#include <QtCore/QThread>
#include <QtCore/QTimer>
#include <QtCore/QUrl>
#include <QtCore/QtDebug>

#include <chrono>

namespace
{

const int messageLook = 4;

QPointer<QWidget> &mainWindow()
{
    static QPointer<QWidget> window;
    return window;
}

QString &pluginLibraryPath()
{
    static QString path;
    return path;
}

core::UrlOpener &urlOpener()
{
    static core::UrlOpener opener;
    return opener;
}

/// Holds a window that has just been shown at its place against the window manager, which may place it by its own rule
/// after the window was moved. Ends with the first correction or after a second, so that nobody who drags the window
/// meets it.
class PlaceHolder : public QObject
{
public:
    PlaceHolder(QWidget *window, const QPoint &place) : QObject(window), m_window(window), m_place(place)
    {
        window->installEventFilter(this);
        QTimer::singleShot(1000, this, SLOT(deleteLater()));
    }

    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::Move && event->spontaneous() && m_window->pos() != m_place) {
            m_window->removeEventFilter(this);
            m_window->move(m_place);
        }
        return false;
    }

private:
    QWidget *m_window;
    QPoint m_place;
};

/// Keeps the caller's pointer to a dialog true: null from the moment the dialog is hidden or deleted.
class OutPointer : public QObject
{
public:
    OutPointer(QDialog *dialog, QDialog **out) : QObject(dialog), m_dialog(dialog), m_out(out)
    {
        *m_out = dialog;
        dialog->installEventFilter(this);
    }
    ~OutPointer() override { clear(); }

    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::Hide && !event->spontaneous()) {
            clear();
        }
        return false;
    }

private:
    /// Once only, for the caller's memory need not outlive the box; and never over another box's pointer.
    void clear()
    {
        if (m_out && *m_out == m_dialog) {
            *m_out = 0;
        }
        m_out = 0;
    }

    QDialog *const m_dialog;
    QDialog **m_out;
};

/// The three buttons of a message: role and result.
struct ButtonKind {
    QMessageBox::ButtonRole role;
    QMessageBox::StandardButton result;
};
const ButtonKind buttonKinds[] = {
    {QMessageBox::YesRole, QMessageBox::Ok},
    {QMessageBox::NoRole, QMessageBox::No},
    {QMessageBox::RejectRole, QMessageBox::Cancel},
};

/// Puts one button for each key into the box; the first of them is the default. An empty key leaves a null.
QList<QAbstractButton *> addButtons(WsMessageBox *box, const QStringList &keys)
{
    QList<QAbstractButton *> buttons;
    box->setStandardButtons(QMessageBox::NoButton); // none but these: a box without buttons would get an OK of its own
    for (int i = 0; i < keys.size(); ++i) {
        QPushButton *button = 0;
        if (!keys.at(i).isEmpty()) {
            button = box->addButton(Change::tr(keys.at(i), "XFramePlugin"), buttonKinds[i].role);
            if (!box->defaultButton()) {
                box->setDefaultButton(button);
            }
        }
        buttons << button;
    }
    return buttons;
}

void addCheckBox(WsMessageBox *box, const QString &text)
{
    if (text.isEmpty()) {
        return;
    }
    QCheckBox *check = new QCheckBox(text, box);
#if QT_VERSION >= QT_VERSION_CHECK(5, 2, 0)
    box->setCheckBox(check);
#else
    QGridLayout *grid = qobject_cast<QGridLayout *>(box->layout());
    grid->addWidget(check, grid->rowCount(), 0, 1, grid->columnCount());
#endif
}

/// Cancel unless the box is still there and one of `buttons` was clicked.
int resultOf(const QPointer<WsMessageBox> &box, const QList<QAbstractButton *> &buttons)
{
    const int index = box && box->clickedButton() ? buttons.indexOf(box->clickedButton()) : -1;
    return index < 0 ? QMessageBox::Cancel : buttonKinds[index].result;
}

/// The part of `area` of the size of `window` that is nearest to its wish; the top left corner wins when it is too big.
QPoint keptWithin(const QRect &area, const QRect &window)
{
    const int x = qMax(area.left(), qMin(window.left(), area.right() - window.width() + 1));
    const int y = qMax(area.top(), qMin(window.top(), area.bottom() - window.height() + 1));
    return QPoint(x, y);
}

bool isWebAddress(const QUrl &url)
{
    const QString scheme = url.scheme().toLower();
    return url.isValid() && (scheme == "http" || scheme == "https") && !url.host().isEmpty();
}

} // namespace

namespace core
{

void setMainWindow(QWidget *window)
{
    mainWindow() = window;
}

void setPluginLibraryPath(const QString &path)
{
    QString &stored = pluginLibraryPath();
    stored = path.isEmpty() ? QString() : path;
    while (stored.endsWith('/')) {
        stored.chop(1);
    }
}

void setUrlOpener(const UrlOpener &opener)
{
    urlOpener() = opener;
}

} // namespace core

QWidget *CommonUtils::GetMainWindow()
{
    return mainWindow();
}

void CommonUtils::MoveCentre(QWidget *window)
{
    if (!window || !window->isWindow()) {
        return;
    }
    if (!window->isVisible() && !window->testAttribute(Qt::WA_Resized)) {
        window->adjustSize(); // never shown and never sized: it has no size of its own yet
    }
    QWidget *parent = window->parentWidget() ? window->parentWidget()->window() : 0;
    const QRect screen = QApplication::desktop()->availableGeometry(parent ? parent : window);
    QRect place = window->frameGeometry();
    place.moveCenter(parent ? parent->frameGeometry().center() : screen.center());
    const QPoint corner = keptWithin(screen, place);
    window->move(corner);
    if (window->isVisible()) {
        new PlaceHolder(window, corner);
    }
}

int CommonUtils::ShowMessage(QMessageBox::Icon icon, QWidget *parent, QString title, QString text, QString button1,
                             QString button2, QString button3, bool modal, Qt::WindowFlags flags, QDialog **out,
                             QString checkText, bool plainText)
{
    QPointer<ExtendDialog> frame = new ExtendDialog(parent, flags, messageLook);
    QPointer<WsMessageBox> box = new WsMessageBox(frame);
    box->setIcon(icon);
    box->setTextFormat(plainText ? Qt::PlainText : Qt::AutoText);
    box->setText(text);
    addCheckBox(box, checkText);
    frame->setWindowTitle(title);
    frame->AddMainWidget(box);
    const QList<QAbstractButton *> buttons = addButtons(box, QStringList() << button1 << button2 << button3);
    QObject::connect(box, SIGNAL(changeSize(QSize)), frame, SLOT(changeSize(QSize)));
    QObject::connect(box, SIGNAL(buttonClicked(QAbstractButton *)), frame, SLOT(close()));
    if (out) {
        new OutPointer(frame, out);
    }
    frame->setWindowModality(modal && parent ? Qt::WindowModal : Qt::ApplicationModal);
    frame->exec();
    const int result = resultOf(box, buttons);
    delete frame; // null when the parent has taken it along
    return result;
}

bool CommonUtils::OpenUrl(QString url)
{
    const QUrl address(url.trimmed());
    if (!isWebAddress(address)) {
        qWarning("CommonUtils: \"%s\" is not opened: it is no http or https address", qPrintable(url));
        return false;
    }
    if (urlOpener()) {
        return urlOpener()(QString::fromLatin1(address.toEncoded()));
    }
    return QDesktopServices::openUrl(address);
}

bool CommonUtils::WaitForThreadToStop(QThread *thread, int seconds)
{
    const unsigned long slice = 20; // milliseconds between two looks at the events
    const std::chrono::steady_clock::time_point end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    QPointer<QThread> guarded = thread; // an event may bring its end and its deletion
    while (guarded && guarded->isRunning()) {
        if (std::chrono::steady_clock::now() >= end || guarded == QThread::currentThread()) {
            return false;
        }
        if (!guarded->wait(slice)) {
            // Without the user's input: the caller is in the middle of something and must not be entered again by it.
            QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
        }
    }
    return true;
}

QString CommonUtils::GetPluginLibraryPath()
{
    return pluginLibraryPath().isNull() ? QCoreApplication::applicationDirPath() : pluginLibraryPath();
}
