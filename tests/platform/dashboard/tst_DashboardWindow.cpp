#include "dashboard/DashboardWindow.h"

#include "core/CoreControl.h"
#include "dashboard/Languages.h"
#include "dashboard/PluginHost.h"
#include "dashboard/Session.h"
#include "dashboard/SignalBars.h"
#include "platform/dashboard/ReaderDouble.h"

#include <QAccessible>
#include <QComboBox>
#include <QLabel>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QtCore/QFile>

#include <memory>

using namespace dashboard;

class tst_DashboardWindow : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void startsWithoutDevice();
    void emptyReaderSaysSoUntilThereIsACard();
    void cardInAModemShowsNoSignal();
    void attachedDeviceShowsItsMenu();
    void deviceButtonTakesTheDeviceAway();
    void toolkitButtonOpensThePluginsWindow_data();
    void toolkitButtonOpensThePluginsWindow();
    void keyboardReachesEverything();
    void languageGoesToCoreAndPlugin();
    void languagesHaveTheirOwnNames();
    void nextLanguageComesAndGoesRound();
    void arabicIsWrittenFromTheRight();
    void idleTextIsShown();
    void presentLanguageChosenAgainChangesNothing();
    void brokenProfileIsReportedInAMessage();
    void cardTextIsNoMarkup();
    void deviceWithoutNetworkHasNoSignal();
    void longTitleIsCut();
    void everyControlHasANameToRead();
    void openDialogsAreClosed();

private:
    template <typename Widget>
    Widget *find(const char *name) const
    {
        Widget *widget = m_window->findChild<Widget *>(name);
        if (!widget)
            qFatal("the window has no %s", name);
        return widget;
    }
    QStringList calls() const { return qApp->property("calls").toStringList(); }
    void writeProfile(const QByteArray &content);
    bool attach();

    QTemporaryDir m_folder;
    Options m_options;
    std::unique_ptr<Session> m_session;
    std::unique_ptr<PluginHost> m_plugin;
    std::unique_ptr<DashboardWindow> m_window;
};

void tst_DashboardWindow::writeProfile(const QByteArray &content)
{
    QFile file(m_options.card);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
}

bool tst_DashboardWindow::attach()
{
    m_window->attachDevice();
    return QTest::qWaitFor([this] { return !m_session->menuTitle().isEmpty(); });
}

void tst_DashboardWindow::init()
{
    m_options.card = m_folder.filePath("card.yaml");
    writeProfile("name: Test\noperator: Test operator\nmenu:\n  title: Test menu\n  items:\n    - text: One\n");
    m_session.reset(new Session(m_options));
    m_plugin.reset(new PluginHost);
    QString error;
    QVERIFY2(m_plugin->load(PLUGIN_GOOD, &error), qPrintable(error));
    qApp->setProperty("calls", QStringList());
    m_window.reset(new DashboardWindow(*m_plugin, *m_session));
    m_window->show();
    QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
}

void tst_DashboardWindow::cleanup()
{
    m_window.reset();
    m_plugin.reset();
    m_session.reset();
    core::setLanguage("en");
    QVERIFY(QApplication::topLevelWidgets().isEmpty());
    QVERIFY(!QApplication::activeModalWidget());
}

void tst_DashboardWindow::startsWithoutDevice()
{
    QCOMPARE(find<QLabel>("operatorLabel")->text(), QString("No device"));
    QCOMPARE(find<SignalBars>("signalBars")->strength(), 0);
    QCOMPARE(find<QPushButton>("simToolkitButton")->text(), QString("&SIM Toolkit"));
    QVERIFY(find<QLabel>("deviceLabel")->text().endsWith("Device detached"));
    QCOMPARE(find<QPushButton>("deviceButton")->text(), QString("&Attach device"));
    QVERIFY(!find<QPushButton>("simToolkitButton")->isEnabled());
}

void tst_DashboardWindow::emptyReaderSaysSoUntilThereIsACard()
{
    ReaderDouble reader(m_options.card.toStdString());
    QVERIFY(attach());
    sdk::attachDevice(reader.channel());
    QTRY_COMPARE(find<QLabel>("operatorLabel")->text(), QString("No card"));
    QVERIFY(find<QLabel>("deviceLabel")->text().endsWith("Insert a card"));
    QCOMPARE(find<SignalBars>("signalBars")->strength(), 0);
    QCOMPARE(find<QPushButton>("simToolkitButton")->text(), QString("&SIM Toolkit"));
    QVERIFY(!find<QPushButton>("simToolkitButton")->isEnabled());
    QCOMPARE(find<QPushButton>("deviceButton")->text(), QString("&Detach device"));
    QCOMPARE(find<QLabel>("idleCaptionLabel")->text(), QString("There is no card"));
    reader.insert();
    QTRY_COMPARE(find<QPushButton>("simToolkitButton")->text(), QString("&SIM Toolkit\nTest menu"));
    QCOMPARE(find<QLabel>("idleCaptionLabel")->text(), QString("The card shows no text on the idle screen"));
    QVERIFY(find<QPushButton>("simToolkitButton")->isEnabled());
    QVERIFY(find<QLabel>("deviceLabel")->text().endsWith("Device attached"));
}

void tst_DashboardWindow::cardInAModemShowsNoSignal()
{
    ReaderDouble modem(m_options.card.toStdString());
    QString error;
    QVERIFY2(m_session->attach("modem:127.0.0.1:1", &error), qPrintable(error)); // nobody is there
    sdk::attachDevice(modem.channel());
    QTRY_COMPARE(find<QLabel>("operatorLabel")->text(), QString("No card"));
    QVERIFY(find<QLabel>("deviceLabel")->text().endsWith("Plug the modem in"));
    modem.insert();
    QTRY_COMPARE(find<QLabel>("operatorLabel")->text(), QString("Card in a modem"));
    QVERIFY(find<SignalBars>("signalBars")->isHidden());
    QVERIFY(m_session->attach(m_options.card, &error));
    QTRY_COMPARE(find<QLabel>("operatorLabel")->text(), QString("Test operator"));
    QVERIFY(!find<SignalBars>("signalBars")->isHidden());
}

void tst_DashboardWindow::attachedDeviceShowsItsMenu()
{
    QTest::mouseClick(find<QPushButton>("deviceButton"), Qt::LeftButton);
    QTRY_COMPARE(find<QPushButton>("simToolkitButton")->text(), QString("&SIM Toolkit\nTest menu"));
    QCOMPARE(find<QLabel>("operatorLabel")->text(), QString("Test operator"));
    QCOMPARE(find<SignalBars>("signalBars")->strength(), SignalBars::most);
    QVERIFY(find<QLabel>("deviceLabel")->text().endsWith("Device attached"));
    QCOMPARE(find<QPushButton>("deviceButton")->text(), QString("&Detach device"));
    QVERIFY(find<QPushButton>("simToolkitButton")->isEnabled());
}

void tst_DashboardWindow::deviceButtonTakesTheDeviceAway()
{
    QVERIFY(attach());
    QTest::mouseClick(find<QPushButton>("deviceButton"), Qt::LeftButton);
    QTRY_COMPARE(find<QLabel>("operatorLabel")->text(), QString("No device"));
    QCOMPARE(find<SignalBars>("signalBars")->strength(), 0);
    QCOMPARE(find<QPushButton>("simToolkitButton")->text(), QString("&SIM Toolkit"));
    QVERIFY(!m_session->isAttached());
    QVERIFY(!find<QPushButton>("simToolkitButton")->isEnabled());
}

void tst_DashboardWindow::toolkitButtonOpensThePluginsWindow_data()
{
    QTest::addColumn<bool>("opens");

    QTest::newRow("opens") << true;
    QTest::newRow("does not open") << false;
}

void tst_DashboardWindow::toolkitButtonOpensThePluginsWindow()
{
    QFETCH(bool, opens);
    qApp->setProperty("opens", opens);
    QVERIFY(attach());
    QStringList lines;
    QObject context; // ends the connection with the lines
    connect(m_session.get(), &Session::entryAdded, &context,
            [&lines](const SessionEntry &entry) { lines << toLine(entry); });
    QTest::mouseClick(find<QPushButton>("simToolkitButton"), Qt::LeftButton);
    qApp->setProperty("opens", QVariant());
    QCOMPARE(calls(), QStringList("ShowWindow DashboardWindow 760x520"));
    QTRY_VERIFY(lines.contains("host: opens the SIM Toolkit window"));
    QCoreApplication::processEvents();
    QCOMPARE(lines.count("host: the SIM Toolkit window did not open"), opens ? 0 : 1);
}

void tst_DashboardWindow::keyboardReachesEverything()
{
    QTest::keyClick(m_window.get(), Qt::Key_A, Qt::AltModifier);
    QTRY_VERIFY(!m_session->menuTitle().isEmpty());
    QTRY_VERIFY(find<QPushButton>("simToolkitButton")->isEnabled());
    QTest::keyClick(m_window.get(), Qt::Key_S, Qt::AltModifier);
    QTRY_COMPARE(calls().size(), 1);
    QTest::keyClick(m_window.get(), Qt::Key_L, Qt::AltModifier);
    QTRY_VERIFY(find<QComboBox>("languageComboBox")->hasFocus());
    QSignalSpy inspector(m_window.get(), &DashboardWindow::inspectorAsked);
    QTest::keyClick(m_window.get(), Qt::Key_I, Qt::AltModifier);
    QTRY_COMPARE(inspector.count(), 1);

    QStringList visited;
    for (int i = 0; i < 4; ++i) {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        visited << QApplication::focusWidget()->objectName();
    }
    visited.sort();
    QCOMPARE(visited, QStringList({"deviceButton", "inspectorButton", "languageComboBox", "simToolkitButton"}));
}

void tst_DashboardWindow::languageGoesToCoreAndPlugin()
{
    auto *chooser = find<QComboBox>("languageComboBox");
    QCOMPARE(chooser->count(), core::languages().size());
    QVERIFY(chooser->count() > 1);
    QCOMPARE(chooser->currentData().toString(), QString("en"));
    chooser->setFocus();
    QTest::keyClick(chooser, Qt::Key_Down);
    const QString code = core::languages().at(1);
    QTRY_COMPARE(core::language(), code);
    QCOMPARE(calls(), QStringList({"ChangeLang " + code, "Notify 320 0 0"}));
}

void tst_DashboardWindow::languagesHaveTheirOwnNames()
{
    auto *chooser = find<QComboBox>("languageComboBox");
    QStringList names;
    for (int i = 0; i < chooser->count(); ++i)
        names << chooser->itemText(i);
    QCOMPARE(names, QStringList({"English", "Deutsch", "Français", "Español", "Русский", "简体中文", "العربية"}));
    QCOMPARE(languageName("it"), QString("Italiano")); // one that may come
}

void tst_DashboardWindow::nextLanguageComesAndGoesRound()
{
    auto *chooser = find<QComboBox>("languageComboBox");
    const QStringList codes = core::languages();
    for (int i = 1; i <= codes.size(); ++i) {
        m_window->nextLanguage();
        const QString &code = codes.at(i % codes.size());
        QCOMPARE(core::language(), code);
        QCOMPARE(chooser->currentData().toString(), code);
        QCOMPARE(calls().mid(2 * (i - 1)), QStringList({"ChangeLang " + code, "Notify 320 0 0"}));
    }
}

void tst_DashboardWindow::arabicIsWrittenFromTheRight()
{
    auto *chooser = find<QComboBox>("languageComboBox");
    auto *device = find<QPushButton>("deviceButton");
    const auto left = [this](QWidget *widget) { return widget->mapTo(m_window.get(), QPoint()).x(); };
    QVERIFY(left(chooser) > left(device));
    chooser->setFocus();
    QTest::keyClick(chooser, Qt::Key_End);
    QTRY_COMPARE(core::language(), QString("ar"));
    QTRY_VERIFY(left(chooser) < left(device));
}

void tst_DashboardWindow::idleTextIsShown()
{
    writeProfile("name: Test\nmenu:\n  title: T\n  items:\n    - text: One\nat-start:\n  - idle-text: <i>Good</i>\n");
    auto *label = find<QLabel>("idleLabel");
    QCOMPARE(label->text(), QString());
    QCOMPARE(find<QLabel>("idleCaptionLabel")->text(), QString("There is no card"));
    QVERIFY(attach());
    QTRY_COMPARE(label->text(), QString("<i>Good</i>"));
    QCOMPARE(label->textFormat(), Qt::PlainText);
    QCOMPARE(find<QLabel>("idleCaptionLabel")->text(), QString("On the idle screen"));
    m_window->toggleDevice();
    QCOMPARE(label->text(), QString());
}

void tst_DashboardWindow::presentLanguageChosenAgainChangesNothing()
{
    auto *chooser = find<QComboBox>("languageComboBox");
    chooser->setFocus();
    QTest::keyClick(chooser, Qt::Key_Home);
    QTest::keyClick(chooser, Qt::Key_Up);
    QCoreApplication::processEvents();
    QCOMPARE(core::language(), QString("en"));
    QCOMPARE(calls(), QStringList());
}

void tst_DashboardWindow::brokenProfileIsReportedInAMessage()
{
    writeProfile("menu: [\n");
    m_window->attachDevice();
    auto *box = m_window->findChild<QMessageBox *>();
    QVERIFY(box);
    QVERIFY(QTest::qWaitForWindowExposed(box));
    QVERIFY2(box->informativeText().startsWith(m_options.card + ":"), qPrintable(box->informativeText()));
    QVERIFY(!m_session->isAttached());
    box->accept();
    QTRY_VERIFY(!m_window->findChild<QMessageBox *>());
}

void tst_DashboardWindow::cardTextIsNoMarkup()
{
    writeProfile("name: Test\nmenu:\n  title: '<b>Bold</b> & more'\n  items:\n    - text: One\n");
    QVERIFY(attach());
    QTRY_COMPARE(find<QPushButton>("simToolkitButton")->text(), QString("&SIM Toolkit\n<b>Bold</b> && more"));
    QCOMPARE(find<QLabel>("operatorLabel")->textFormat(), Qt::PlainText);
}

void tst_DashboardWindow::deviceWithoutNetworkHasNoSignal()
{
    writeProfile("name: Test\nnetwork: false\nmenu:\n  title: T\n  items:\n    - text: One\n");
    QVERIFY(attach());
    QTRY_COMPARE(find<QLabel>("operatorLabel")->text(), QString("No network"));
    QCOMPARE(find<SignalBars>("signalBars")->strength(), 0);
    QCOMPARE(find<SignalBars>("signalBars")->accessibleName(), QString("No signal"));
}

void tst_DashboardWindow::longTitleIsCut()
{
    writeProfile("name: Test\nmenu:\n  title: " + QByteArray("long ").repeated(40) + "\n  items:\n    - text: One\n");
    QVERIFY(attach());
    QTRY_VERIFY(find<QPushButton>("simToolkitButton")->text().endsWith(QChar(0x2026)));
    QVERIFY(find<QPushButton>("simToolkitButton")->width() < m_window->width());
    QVERIFY(find<QPushButton>("simToolkitButton")->accessibleDescription().startsWith("long long"));
}

void tst_DashboardWindow::everyControlHasANameToRead()
{
    const auto nameOf = [this](const char *name) {
        QAccessibleInterface *const part = QAccessible::queryAccessibleInterface(find<QWidget>(name));
        return part ? part->text(QAccessible::Name) : QString();
    };
    for (const char *name : {"signalBars", "simToolkitButton", "deviceButton", "inspectorButton", "languageComboBox"})
        QVERIFY2(!nameOf(name).isEmpty(), name);
    for (const char *name : {"operatorLabel", "deviceLabel", "idleCaptionLabel"})
        QCOMPARE(nameOf(name), find<QLabel>(name)->text());
}

void tst_DashboardWindow::openDialogsAreClosed()
{
    auto *dialog = new QDialog(m_window.get());
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->open();
    QVERIFY(QTest::qWaitForWindowExposed(dialog));
    QPointer<QDialog> guard(dialog);
    m_window->closeDialogs();
    QTRY_VERIFY(!guard);
    m_window->closeDialogs();
}

QTEST_MAIN(tst_DashboardWindow)
#include "tst_DashboardWindow.moc"
