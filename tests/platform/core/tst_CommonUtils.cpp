#include "core/CommonUtils.h"

#include "core/CoreControl.h"

#include <QtCore/QSemaphore>
#include <QtCore/QThread>
#include <QtGui/QScreen>
#include <QtTest/QtTest>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QDialog>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>

class tst_CommonUtils : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void mainWindowIsTheOneSet();
    void deletedMainWindowReadsAsNone();

    void libraryPath_data();
    void libraryPath();

    void centresOverTheParent();
    void centresOverTheWindowOfAParentInside();
    void centresOnTheScreenWithoutAParent();
    void centredWindowStaysOnTheScreen_data();
    void centredWindowStaysOnTheScreen();
    void centredWindowIsHeldAgainstTheWindowManagerOnce();
    void centringNothingOrAChildDoesNothing();

    void messageAnswers_data();
    void messageAnswers();
    void messageButtonsInTheHostsLanguage();
    void messageWithoutSomeButtons_data();
    void messageWithoutSomeButtons();
    void messageTextIsPlainOrGuessed_data();
    void messageTextIsPlainOrGuessed();
    void messageBlocks_data();
    void messageBlocks();
    void messageReturnAndEscape_data();
    void messageReturnAndEscape();
    void messageHasACheckBoxWhenAsked();
    void messageWantsNoPointer();
    void messageClosedFromOutsideIsCancel();
    void messageDeletedFromOutsideIsCancel();
    void messageWhoseParentIsDeletedIsCancel();
    void messageOverAMessage();
    void outerMessageClosedFirst();

    void opensWebAddresses_data();
    void opensWebAddresses();
    void refusesOtherAddresses_data();
    void refusesOtherAddresses();
    void openerMayFail();

    void waitingForNothingIsOver();
    void waitingForAThreadThatNeverRanIsOver();
    void waitsUntilTheThreadHasFinished();
    void givesUpAfterTheTime();
    void negativeTimeDoesNotWait();
    void eventsGoOnWhileWaiting();
    void threadMayBeDeletedWhileWaiting();

private:
    /// Calls `act` with the dialog once a message is open.
    void whenOpen(const std::function<void(QDialog *)> &act);

    int show(const QString &text = "text");

    QWidget *m_parent = nullptr;
    QDialog *m_out = nullptr;
    bool m_acted = false;
};

namespace
{

class Worker : public QThread
{
public:
    ~Worker() override
    {
        go.release();
        wait();
    }

    QSemaphore go;

protected:
    void run() override { go.acquire(); }
};

QPushButton *button(QWidget *dialog, const QString &text)
{
    for (QPushButton *candidate : dialog->findChildren<QPushButton *>()) {
        if (candidate->text() == text) {
            return candidate;
        }
    }
    return nullptr;
}

/// Texts of the buttons below the message, without the title bar's.
QStringList buttonTexts(QWidget *dialog)
{
    QStringList texts;
    for (const QPushButton *candidate : dialog->findChildren<QPushButton *>()) {
        if (!candidate->text().isEmpty()) {
            texts << candidate->text();
        }
    }
    return texts;
}

} // namespace

void tst_CommonUtils::init()
{
    m_parent = new QWidget;
    m_parent->setGeometry(100, 100, 500, 400);
    m_parent->show();
    m_out = nullptr;
    m_acted = false;
}

void tst_CommonUtils::cleanup()
{
    delete m_parent;
    m_parent = nullptr;
    core::setMainWindow(nullptr);
    core::setUrlOpener(core::UrlOpener());
    core::setPluginLibraryPath(QString());
    QVERIFY(core::setLanguage("en"));
    QVERIFY(QApplication::topLevelWidgets().isEmpty());
    QVERIFY(!QApplication::activeModalWidget());
}

void tst_CommonUtils::whenOpen(const std::function<void(QDialog *)> &act)
{
    QTimer *timer = new QTimer(this);
    connect(timer, &QTimer::timeout, this, [this, timer, act] {
        QDialog *dialog = qobject_cast<QDialog *>(QApplication::activeModalWidget());
        if (dialog && dialog->isVisible()) {
            m_acted = true;
            delete timer;
            act(dialog);
        }
    });
    timer->start(10);
}

int tst_CommonUtils::show(const QString &text)
{
    return CommonUtils::ShowMessage(QMessageBox::Information, m_parent, "Title", text, "IDS_YES", "IDS_NO",
                                    "IDS_CANCEL", true, Qt::WindowCloseButtonHint, &m_out, QString(), true);
}

void tst_CommonUtils::mainWindowIsTheOneSet()
{
    QVERIFY(!CommonUtils::GetMainWindow());
    core::setMainWindow(m_parent);
    QCOMPARE(CommonUtils::GetMainWindow(), m_parent);
    core::setMainWindow(nullptr);
    QVERIFY(!CommonUtils::GetMainWindow());
}

void tst_CommonUtils::deletedMainWindowReadsAsNone()
{
    QWidget *window = new QWidget;
    core::setMainWindow(window);
    delete window;
    QVERIFY(!CommonUtils::GetMainWindow());
}

void tst_CommonUtils::libraryPath_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("answer");
    QTest::newRow("not set") << QString() << QCoreApplication::applicationDirPath();
    QTest::newRow("empty") << "" << QCoreApplication::applicationDirPath();
    QTest::newRow("plain") << "/usr/lib/host"
                           << "/usr/lib/host";
    QTest::newRow("slash at the end") << "/usr/lib/host/"
                                      << "/usr/lib/host";
    QTest::newRow("root") << "/"
                          << "";
}

void tst_CommonUtils::libraryPath()
{
    QFETCH(QString, path);
    core::setPluginLibraryPath("/somewhere/else");
    core::setPluginLibraryPath(path);
    QTEST(CommonUtils::GetPluginLibraryPath(), "answer");
}

/// What a window manager does: the window is elsewhere, and hears of it.
static void moveFromOutside(QWidget *window, const QPoint &place)
{
    const QPoint before = window->pos();
    window->move(place);
    QMoveEvent moved(place, before);
    QSpontaneKeyEvent::setSpontaneous(&moved);
    qApp->notify(window, &moved); // sendEvent would make it an event of our own
}

void tst_CommonUtils::centresOverTheParent()
{
    QDialog dialog(m_parent);
    dialog.setFixedSize(200, 100);
    dialog.show();
    CommonUtils::MoveCentre(&dialog);
    const QPoint away = dialog.frameGeometry().center() - m_parent->frameGeometry().center();
    QVERIFY(away.manhattanLength() <= 2);
}

void tst_CommonUtils::centresOverTheWindowOfAParentInside()
{
    QWidget *inside = new QWidget(m_parent);
    inside->setGeometry(0, 0, 20, 20);
    QDialog dialog(inside);
    dialog.setFixedSize(200, 100);
    CommonUtils::MoveCentre(&dialog);
    const QPoint away = dialog.frameGeometry().center() - m_parent->frameGeometry().center();
    QVERIFY(away.manhattanLength() <= 2);
}

void tst_CommonUtils::centresOnTheScreenWithoutAParent()
{
    QDialog dialog;
    dialog.setFixedSize(200, 100);
    dialog.show();
    CommonUtils::MoveCentre(&dialog);
    const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
    QVERIFY((dialog.frameGeometry().center() - screen.center()).manhattanLength() <= 2);
}

void tst_CommonUtils::centredWindowStaysOnTheScreen_data()
{
    QTest::addColumn<QPoint>("parentAt");
    const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
    QTest::newRow("left") << QPoint(screen.left() - 450, 100);
    QTest::newRow("top") << QPoint(100, screen.top() - 390);
    QTest::newRow("right") << QPoint(screen.right() - 20, 100);
    QTest::newRow("bottom") << QPoint(100, screen.bottom() - 20);
}

void tst_CommonUtils::centredWindowStaysOnTheScreen()
{
    QFETCH(QPoint, parentAt);
    m_parent->move(parentAt);
    QDialog dialog(m_parent);
    dialog.setFixedSize(380, 357);
    dialog.show();
    CommonUtils::MoveCentre(&dialog);
    QVERIFY(QGuiApplication::primaryScreen()->availableGeometry().contains(dialog.frameGeometry()));
}

void tst_CommonUtils::centredWindowIsHeldAgainstTheWindowManagerOnce()
{
    QDialog dialog(m_parent);
    dialog.setFixedSize(200, 100);
    dialog.show();
    CommonUtils::MoveCentre(&dialog);
    const QPoint centred = dialog.pos();
    moveFromOutside(&dialog, QPoint(1, 2));
    QCOMPARE(dialog.pos(), centred);
    moveFromOutside(&dialog, QPoint(3, 4));
    QCOMPARE(dialog.pos(), QPoint(3, 4));
}

void tst_CommonUtils::centringNothingOrAChildDoesNothing()
{
    CommonUtils::MoveCentre(nullptr);
    QWidget child(m_parent);
    child.setGeometry(7, 8, 30, 40);
    CommonUtils::MoveCentre(&child);
    QCOMPARE(child.geometry(), QRect(7, 8, 30, 40));
}

void tst_CommonUtils::messageAnswers_data()
{
    QTest::addColumn<QString>("pressed");
    QTest::addColumn<int>("answer");
    QTest::newRow("first button") << "Yes" << 1024;
    QTest::newRow("second button") << "No" << int(QMessageBox::No);
    QTest::newRow("third button") << "Cancel" << int(QMessageBox::Cancel);
}

void tst_CommonUtils::messageAnswers()
{
    QFETCH(QString, pressed);
    QDialog *whileOpen = nullptr;
    QDialog *dialogSeen = nullptr;
    QString title;
    whenOpen([&](QDialog *dialog) {
        whileOpen = m_out;
        dialogSeen = dialog;
        title = dialog->windowTitle();
        button(dialog, pressed)->click();
    });
    QTEST(show(), "answer");
    QVERIFY(whileOpen);
    QCOMPARE(whileOpen, dialogSeen);
    QCOMPARE(title, QString("Title"));
    QVERIFY(!m_out);
}

void tst_CommonUtils::messageButtonsInTheHostsLanguage()
{
    QVERIFY(core::setLanguage("de"));
    QStringList texts;
    whenOpen([&](QDialog *dialog) {
        texts = buttonTexts(dialog);
        dialog->close();
    });
    show();
    texts.sort();
    QCOMPARE(texts, QStringList() << "Abbrechen"
                                  << "Ja"
                                  << "Nein");
}

void tst_CommonUtils::messageWithoutSomeButtons_data()
{
    QTest::addColumn<QStringList>("keys");
    QTest::addColumn<QStringList>("texts");
    QTest::addColumn<int>("answer");
    QTest::newRow("first only") << (QStringList() << "IDS_OK"
                                                  << ""
                                                  << "")
                                << QStringList("OK") << 1024;
    QTest::newRow("second only") << (QStringList() << ""
                                                   << "IDS_NO"
                                                   << "")
                                 << QStringList("No") << int(QMessageBox::No);
    QTest::newRow("third only") << (QStringList() << ""
                                                  << ""
                                                  << "IDS_CANCEL")
                                << QStringList("Cancel") << int(QMessageBox::Cancel);
    QTest::newRow("none") << (QStringList() << ""
                                            << ""
                                            << "")
                          << QStringList() << int(QMessageBox::Cancel);
    QTest::newRow("unknown key") << (QStringList() << "IDS_WHAT"
                                                   << ""
                                                   << "")
                                 << QStringList("IDS_WHAT") << 1024;
}

void tst_CommonUtils::messageWithoutSomeButtons()
{
    QFETCH(QStringList, keys);
    QStringList texts;
    whenOpen([&](QDialog *dialog) {
        texts = buttonTexts(dialog);
        if (texts.isEmpty()) {
            dialog->close();
        } else {
            button(dialog, texts.first())->click();
        }
    });
    const int answer = CommonUtils::ShowMessage(QMessageBox::NoIcon, m_parent, "", "text", keys[0], keys[1], keys[2],
                                                true, Qt::WindowCloseButtonHint, nullptr, "", true);
    QTEST(texts, "texts");
    QTEST(answer, "answer");
}

void tst_CommonUtils::messageTextIsPlainOrGuessed_data()
{
    QTest::addColumn<bool>("plain");
    QTest::addColumn<int>("format");
    QTest::newRow("plain") << true << int(Qt::PlainText);
    QTest::newRow("guessed") << false << int(Qt::AutoText);
}

void tst_CommonUtils::messageTextIsPlainOrGuessed()
{
    QFETCH(bool, plain);
    int format = -1;
    whenOpen([&](QDialog *dialog) {
        for (const QLabel *label : dialog->findChildren<QLabel *>()) {
            format = label->text() == "<b>text</b>" ? label->textFormat() : format;
        }
        dialog->close();
    });
    CommonUtils::ShowMessage(QMessageBox::NoIcon, m_parent, "", "<b>text</b>", "IDS_OK", "", "", true, Qt::Dialog,
                             nullptr, "", plain);
    QTEST(format, "format");
}

void tst_CommonUtils::messageBlocks_data()
{
    QTest::addColumn<bool>("modal");
    QTest::addColumn<bool>("withParent");
    QTest::addColumn<int>("modality");
    QTest::newRow("parent only") << true << true << int(Qt::WindowModal);
    QTest::newRow("everything") << false << true << int(Qt::ApplicationModal);
    QTest::newRow("everything, as there is no parent") << true << false << int(Qt::ApplicationModal);
}

void tst_CommonUtils::messageBlocks()
{
    QFETCH(bool, modal);
    QFETCH(bool, withParent);
    int modality = -1;
    const QWidget *parent = nullptr;
    whenOpen([&](QDialog *dialog) {
        modality = dialog->windowModality();
        parent = dialog->parentWidget();
        dialog->close();
    });
    CommonUtils::ShowMessage(QMessageBox::NoIcon, withParent ? m_parent : nullptr, "", "text", "IDS_OK", "", "", modal,
                             Qt::WindowCloseButtonHint, nullptr, "", true);
    QTEST(modality, "modality");
    QCOMPARE(parent, withParent ? m_parent : nullptr);
}

void tst_CommonUtils::messageReturnAndEscape_data()
{
    QTest::addColumn<int>("key");
    QTest::addColumn<int>("answer");
    QTest::newRow("Return is the first button") << int(Qt::Key_Return) << 1024;
    QTest::newRow("Escape is no button") << int(Qt::Key_Escape) << int(QMessageBox::Cancel);
}

void tst_CommonUtils::messageReturnAndEscape()
{
    QFETCH(int, key);
    whenOpen([key](QDialog *dialog) { QTest::keyClick(dialog, Qt::Key(key)); });
    QTEST(show(), "answer");
}

void tst_CommonUtils::messageHasACheckBoxWhenAsked()
{
    QStringList found;
    whenOpen([&](QDialog *dialog) {
        for (const QCheckBox *box : dialog->findChildren<QCheckBox *>()) {
            if (box->isVisible()) {
                found << box->text();
            }
        }
        dialog->close();
    });
    CommonUtils::ShowMessage(QMessageBox::NoIcon, m_parent, "", "text", "IDS_OK", "", "", true, Qt::Dialog, nullptr,
                             "Do not ask again", true);
    QCOMPARE(found, QStringList("Do not ask again"));
}

void tst_CommonUtils::messageWantsNoPointer()
{
    whenOpen([](QDialog *dialog) { button(dialog, "OK")->click(); });
    QCOMPARE(CommonUtils::ShowMessage(QMessageBox::Warning, m_parent, "", "text", "IDS_OK", "", "", true, Qt::Dialog,
                                      nullptr, "", true),
             1024);
}

void tst_CommonUtils::messageClosedFromOutsideIsCancel()
{
    bool nullAtOnce = false;
    whenOpen([&](QDialog *) {
        m_out->close();
        nullAtOnce = !m_out; // not only when the call has returned
    });
    QCOMPARE(show(), int(QMessageBox::Cancel));
    QVERIFY(m_acted);
    QVERIFY(nullAtOnce);
    QVERIFY(!m_out);
}

void tst_CommonUtils::messageDeletedFromOutsideIsCancel()
{
    bool nullAtOnce = false;
    whenOpen([&](QDialog *) {
        delete m_out;
        nullAtOnce = !m_out;
    });
    QCOMPARE(show(), int(QMessageBox::Cancel));
    QVERIFY(m_acted);
    QVERIFY(nullAtOnce);
}

void tst_CommonUtils::messageWhoseParentIsDeletedIsCancel()
{
    whenOpen([&](QDialog *) {
        delete m_parent;
        m_parent = nullptr;
    });
    QCOMPARE(show(), int(QMessageBox::Cancel));
    QVERIFY(m_acted);
    QVERIFY(!m_out);
}

void tst_CommonUtils::messageOverAMessage()
{
    int inner = 0;
    QDialog *innerOut = nullptr;
    bool outerKept = false;
    whenOpen([&](QDialog *outer) {
        whenOpen([&](QDialog *dialog) { button(dialog, "OK")->click(); });
        inner = CommonUtils::ShowMessage(QMessageBox::NoIcon, outer, "", "inner", "IDS_OK", "", "", true, Qt::Dialog,
                                         &innerOut, "", true);
        outerKept = m_out == outer && outer->isVisible();
        button(outer, "No")->click();
    });
    QCOMPARE(show(), int(QMessageBox::No));
    QCOMPARE(inner, 1024);
    QVERIFY(outerKept);
    QVERIFY(!innerOut);
    QVERIFY(!m_out);
}

void tst_CommonUtils::outerMessageClosedFirst()
{
    int inner = 0;
    whenOpen([&](QDialog *outer) {
        whenOpen([&, outer](QDialog *) { delete outer; }); // takes the inner one, its child, along
        inner = CommonUtils::ShowMessage(QMessageBox::NoIcon, outer, "", "inner", "IDS_OK", "", "", true, Qt::Dialog,
                                         &m_out, "", true);
    });
    QCOMPARE(show(), int(QMessageBox::Cancel));
    QCOMPARE(inner, int(QMessageBox::Cancel));
    QVERIFY(!m_out);
}

void tst_CommonUtils::opensWebAddresses_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<QString>("opened");
    QTest::newRow("http") << "http://operator.example/a?b=c#d"
                          << "http://operator.example/a?b=c#d";
    QTest::newRow("https") << "https://operator.example"
                           << "https://operator.example";
    QTest::newRow("capitals") << "HTTPS://Operator.example/Path"
                              << "https://operator.example/Path";
    QTest::newRow("port") << "http://operator.example:8080/"
                          << "http://operator.example:8080/";
    QTest::newRow("blanks around") << "  http://operator.example/ \n"
                                   << "http://operator.example/";
    QTest::newRow("blank inside") << "http://operator.example/a b"
                                  << "http://operator.example/a%20b";
    QTest::newRow("number as host") << "http://192.0.2.1/"
                                    << "http://192.0.2.1/";
}

void tst_CommonUtils::opensWebAddresses()
{
    QFETCH(QString, url);
    QStringList opened;
    core::setUrlOpener([&opened](const QString &text) {
        opened << text;
        return true;
    });
    QVERIFY(CommonUtils::OpenUrl(url));
    QCOMPARE(opened.size(), 1);
    QTEST(opened.first(), "opened");
}

void tst_CommonUtils::refusesOtherAddresses_data()
{
    QTest::addColumn<QString>("url");
    QTest::newRow("empty") << "";
    QTest::newRow("no scheme") << "www.operator.example";
    QTest::newRow("file") << "file:///etc/passwd";
    QTest::newRow("path") << "/etc/passwd";
    QTest::newRow("script") << "javascript:alert(1)";
    QTest::newRow("mail") << "mailto:a@operator.example";
    QTest::newRow("telephone") << "tel:+123456789";
    QTest::newRow("ftp") << "ftp://operator.example/";
    QTest::newRow("longer scheme") << "httpx://operator.example/";
    QTest::newRow("no host") << "http:///path";
    QTest::newRow("scheme only") << "http:";
    QTest::newRow("no slashes") << "http:operator.example";
    QTest::newRow("bad port") << "http://operator.example:99999999/";
    QTest::newRow("bad host") << "http://ope rator/";
}

void tst_CommonUtils::refusesOtherAddresses()
{
    QFETCH(QString, url);
    QStringList opened;
    core::setUrlOpener([&opened](const QString &text) {
        opened << text;
        return true;
    });
    const QString warning = QString("CommonUtils: \"%1\" is not opened: it is no http or https address").arg(url);
    QTest::ignoreMessage(QtWarningMsg, qPrintable(warning));
    QVERIFY(!CommonUtils::OpenUrl(url));
    QCOMPARE(opened, QStringList());
}

void tst_CommonUtils::openerMayFail()
{
    core::setUrlOpener([](const QString &) { return false; });
    QVERIFY(!CommonUtils::OpenUrl("http://operator.example/"));
}

void tst_CommonUtils::waitingForNothingIsOver()
{
    QVERIFY(CommonUtils::WaitForThreadToStop(nullptr, 5));
}

void tst_CommonUtils::waitingForAThreadThatNeverRanIsOver()
{
    Worker worker;
    QVERIFY(CommonUtils::WaitForThreadToStop(&worker, 0));
}

void tst_CommonUtils::waitsUntilTheThreadHasFinished()
{
    Worker worker;
    worker.start();
    QTimer::singleShot(50, this, [&worker] { worker.go.release(); });
    QVERIFY(CommonUtils::WaitForThreadToStop(&worker, 10));
    QVERIFY(worker.isFinished());
}

void tst_CommonUtils::givesUpAfterTheTime()
{
    Worker worker;
    worker.start();
    QElapsedTimer clock;
    clock.start();
    QVERIFY(!CommonUtils::WaitForThreadToStop(&worker, 1));
    QVERIFY2(clock.elapsed() >= 1000, qPrintable(QString::number(clock.elapsed())));
    QVERIFY(worker.isRunning());
}

void tst_CommonUtils::negativeTimeDoesNotWait()
{
    Worker worker;
    worker.start();
    bool entered = false;
    QTimer::singleShot(0, this, [&entered] { entered = true; });
    QVERIFY(!CommonUtils::WaitForThreadToStop(&worker, -5));
    QVERIFY(!entered);
    QCoreApplication::processEvents();
}

void tst_CommonUtils::eventsGoOnWhileWaiting()
{
    Worker worker;
    int ticks = 0;
    QTimer ticking;
    connect(&ticking, &QTimer::timeout, this, [&] {
        if (++ticks == 5) {
            worker.go.release();
        }
    });
    worker.start();
    ticking.start(5);
    QVERIFY(CommonUtils::WaitForThreadToStop(&worker, 10));
    QVERIFY(ticks >= 5);
}

void tst_CommonUtils::threadMayBeDeletedWhileWaiting()
{
    Worker *worker = new Worker;
    worker->start();
    QTimer::singleShot(30, this, [worker] { delete worker; });
    QVERIFY(CommonUtils::WaitForThreadToStop(worker, 10));
}

QTEST_MAIN(tst_CommonUtils)
#include "tst_CommonUtils.moc"
