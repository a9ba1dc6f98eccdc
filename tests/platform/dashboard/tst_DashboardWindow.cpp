#include "dashboard/DashboardWindow.h"

#include "core/CoreControl.h"
#include "dashboard/PluginHost.h"
#include "dashboard/Session.h"

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QTreeWidget>
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
    void attachedDeviceShowsItsMenu();
    void deviceButtonTakesTheDeviceAway();
    void toolkitButtonOpensThePluginsWindow_data();
    void toolkitButtonOpensThePluginsWindow();
    void keyboardReachesEverything();
    void languageGoesToCoreAndPlugin();
    void languagesHaveTheirOwnNames();
    void nextLanguageComesAndGoesRound();
    void arabicIsWrittenFromTheRight();
    void arabicIsReadableInTheSession();
    void idleTextIsShown();
    void presentLanguageChosenAgainChangesNothing();
    void sessionIsShownNewestLast();
    void chosenLineShowsItsBytes();
    void brokenProfileIsReportedInAMessage();
    void cardTextIsNoMarkup();
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
    QFile file(m_options.profileFile);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
}

bool tst_DashboardWindow::attach()
{
    m_window->attachDevice();
    return QTest::qWaitFor([this] { return !m_session->menuTitle().isEmpty(); });
}

void tst_DashboardWindow::init()
{
    m_options.profileFile = m_folder.filePath("card.yaml");
    writeProfile("name: Test\nmenu:\n  title: Test menu\n  items:\n    - text: One\n");
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
    QCOMPARE(find<QLabel>("titleLabel")->text(), QString("No device"));
    QVERIFY(find<QLabel>("deviceLabel")->text().endsWith("Device detached"));
    QCOMPARE(find<QPushButton>("deviceButton")->text(), QString("&Attach device"));
    QVERIFY(!find<QPushButton>("simToolkitButton")->isEnabled());
}

void tst_DashboardWindow::attachedDeviceShowsItsMenu()
{
    QTest::mouseClick(find<QPushButton>("deviceButton"), Qt::LeftButton);
    QTRY_COMPARE(find<QLabel>("titleLabel")->text(), QString("Test menu"));
    QVERIFY(find<QLabel>("deviceLabel")->text().endsWith("Device attached"));
    QCOMPARE(find<QPushButton>("deviceButton")->text(), QString("&Detach device"));
    QVERIFY(find<QPushButton>("simToolkitButton")->isEnabled());
}

void tst_DashboardWindow::deviceButtonTakesTheDeviceAway()
{
    QVERIFY(attach());
    QTest::mouseClick(find<QPushButton>("deviceButton"), Qt::LeftButton);
    QTRY_COMPARE(find<QLabel>("titleLabel")->text(), QString("No device"));
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
    QTest::mouseClick(find<QPushButton>("simToolkitButton"), Qt::LeftButton);
    qApp->setProperty("opens", QVariant());
    QCOMPARE(calls(), QStringList("ShowWindow DashboardWindow 900x560"));
    auto *tree = find<QTreeWidget>("sessionTree");
    QTRY_VERIFY(!tree->findItems("opens the SIM Toolkit window", Qt::MatchExactly, 2).isEmpty());
    QCoreApplication::processEvents();
    QCOMPARE(tree->findItems("the SIM Toolkit window did not open", Qt::MatchExactly, 2).size(), opens ? 0 : 1);
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
    QTest::keyClick(m_window.get(), Qt::Key_E, Qt::AltModifier);
    QTRY_VERIFY(find<QTreeWidget>("sessionTree")->hasFocus());

    QStringList visited;
    for (int i = 0; i < 6; ++i) {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        visited << QApplication::focusWidget()->objectName();
    }
    visited.sort();
    QCOMPARE(visited, QStringList({"bytesLineEdit", "deviceButton", "inspectorButton", "languageComboBox",
                                   "sessionTree", "simToolkitButton"}));
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
    auto *tree = find<QTreeWidget>("sessionTree");
    const auto left = [this](QWidget *widget) { return widget->mapTo(m_window.get(), QPoint()).x(); };
    QVERIFY(left(chooser) < left(tree));
    chooser->setFocus();
    QTest::keyClick(chooser, Qt::Key_End);
    QTRY_COMPARE(core::language(), QString("ar"));
    QTRY_VERIFY(left(chooser) > left(tree));
    QCOMPARE(tree->layoutDirection(), Qt::LeftToRight); // English words and bytes
}

void tst_DashboardWindow::arabicIsReadableInTheSession()
{
    m_session->addHostEntry("plain \"text\", 3 items");
    m_session->addHostEntry("mixed \"\u0639\u0631\", 3 items");
    auto *tree = find<QTreeWidget>("sessionTree");
    QTRY_COMPARE(tree->topLevelItemCount(), 2);
    QCOMPARE(tree->topLevelItem(0)->text(2), QString("plain \"text\", 3 items"));
    QCOMPARE(tree->topLevelItem(1)->text(2), QString("mixed \"\u200e\u0639\u0631\"\u200e, 3 items"));
}

void tst_DashboardWindow::idleTextIsShown()
{
    writeProfile("name: Test\nmenu:\n  title: T\n  items:\n    - text: One\nat-start:\n  - idle-text: <i>Good</i>\n");
    auto *label = find<QLabel>("idleLabel");
    QCOMPARE(label->text(), QString());
    QVERIFY(!find<QLabel>("idleCaptionLabel")->isVisible());
    QVERIFY(attach());
    QTRY_COMPARE(label->text(), QString("<i>Good</i>"));
    QCOMPARE(label->textFormat(), Qt::PlainText);
    QVERIFY(find<QLabel>("idleCaptionLabel")->isVisible());
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

void tst_DashboardWindow::sessionIsShownNewestLast()
{
    m_session->addHostEntry("first");
    m_session->addHostEntry("second");
    auto *tree = find<QTreeWidget>("sessionTree");
    QTRY_COMPARE(tree->topLevelItemCount(), 2);
    QCOMPARE(tree->topLevelItem(0)->text(2), QString("first"));
    QCOMPARE(tree->topLevelItem(1)->text(2), QString("second"));
    QCOMPARE(tree->topLevelItem(1)->text(1), QString("host"));
    QVERIFY(QTime::fromString(tree->topLevelItem(1)->text(0), "hh:mm:ss").isValid());
}

void tst_DashboardWindow::chosenLineShowsItsBytes()
{
    QVERIFY(attach());
    auto *tree = find<QTreeWidget>("sessionTree");
    QTRY_COMPARE(tree->findItems("card asks", Qt::MatchExactly, 1).size(), 1);
    tree->setCurrentItem(tree->findItems("card asks", Qt::MatchExactly, 1).constFirst());
    QVERIFY2(find<QLineEdit>("bytesLineEdit")->text().startsWith("D0 "),
             qPrintable(find<QLineEdit>("bytesLineEdit")->text()));
    tree->setCurrentItem(tree->findItems("host", Qt::MatchExactly, 1).constFirst());
    QCOMPARE(find<QLineEdit>("bytesLineEdit")->text(), QString());
    QVERIFY(find<QLineEdit>("bytesLineEdit")->isReadOnly());
}

void tst_DashboardWindow::brokenProfileIsReportedInAMessage()
{
    writeProfile("menu: [\n");
    m_window->attachDevice();
    auto *box = m_window->findChild<QMessageBox *>();
    QVERIFY(box);
    QVERIFY(QTest::qWaitForWindowExposed(box));
    QVERIFY2(box->informativeText().startsWith(m_options.profileFile + ":"), qPrintable(box->informativeText()));
    QVERIFY(!m_session->isAttached());
    box->accept();
    QTRY_VERIFY(!m_window->findChild<QMessageBox *>());
}

void tst_DashboardWindow::cardTextIsNoMarkup()
{
    writeProfile("name: Test\nmenu:\n  title: '<b>Bold</b>'\n  items:\n    - text: One\n");
    QVERIFY(attach());
    auto *label = find<QLabel>("titleLabel");
    QTRY_COMPARE(label->text(), QString("<b>Bold</b>"));
    QCOMPARE(label->textFormat(), Qt::PlainText);
}

void tst_DashboardWindow::everyControlHasANameToRead()
{
    for (const char *name : {"simToolkitButton", "deviceButton", "languageComboBox", "sessionTree", "bytesLineEdit"})
        QVERIFY2(!find<QWidget>(name)->accessibleName().isEmpty(), name);
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
