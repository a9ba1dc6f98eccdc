#include "dashboard/CardPanel.h"
#include "dashboard/DashboardWindow.h"
#include "dashboard/InspectorWindow.h"
#include "dashboard/PluginHost.h"
#include "dashboard/Session.h"
#include "dashboard/Style.h"
#include "support/Legible.h"

#include "core/CoreControl.h"

#include <QApplication>
#include <QComboBox>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QtCore/QFile>

using namespace dashboard;

/// Whether every text of the host's own windows has room, at the scale of the program's share: 100, 150 or 200 %.
class tst_LegibleWindows : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanup();
    void dashboard_data();
    void dashboard();
    void inspector_data();
    void inspector();

private:
    static QString cutOffIn(const QWidget &window, int least);

    QTemporaryDir m_folder;
    Options m_options;
};

/// Once the window has been laid out. It must have that many texts at least.
QString tst_LegibleWindows::cutOffIn(const QWidget &window, int least)
{
    static_cast<void>(QTest::qWaitFor([&window] { return Legible(&window).cutOff.isEmpty(); }));
    const Legible legible(&window);
    return legible.texts < least ? QString("only %1 texts").arg(legible.texts) : legible.cutOff.join('\n');
}

void tst_LegibleWindows::initTestCase()
{
    m_options.card = m_folder.filePath("card.yaml");
    QFile file(m_options.card);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("name: Test\noperator: Aurora Mobile\nmenu:\n  title: Services of my card\n  items:\n    - text: One\n");
}

void tst_LegibleWindows::cleanup()
{
    core::setLanguage("en");
    QVERIFY(QApplication::topLevelWidgets().isEmpty());
}

void tst_LegibleWindows::dashboard_data()
{
    QTest::addColumn<bool>("isDark");
    QTest::addColumn<QString>("language");
    for (const bool isDark : {false, true}) {
        for (const QString &code : core::languages())
            QTest::addRow("%s, %s", qPrintable(code), isDark ? "dark" : "light") << isDark << code;
    }
}

void tst_LegibleWindows::dashboard()
{
    QFETCH(bool, isDark);
    QFETCH(QString, language);
    applyStyle(isDark);
    Session session(m_options);
    PluginHost plugin;
    DashboardWindow window(plugin, session);
    window.setLanguage(language);
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    QCOMPARE(cutOffIn(window, 6), QString());
    window.attachDevice();
    QVERIFY(QTest::qWaitFor([&] { return !session.menuTitle().isEmpty(); }));
    QCOMPARE(cutOffIn(window, 7), QString());
}

void tst_LegibleWindows::inspector_data()
{
    QTest::addColumn<bool>("isDark");
    QTest::newRow("light") << false;
    QTest::newRow("dark") << true;
}

/// With each command that its form can have, and with the card's side.
void tst_LegibleWindows::inspector()
{
    QFETCH(bool, isDark);
    applyStyle(isDark);
    SessionModel model;
    Session session(m_options);
    InspectorWindow window(model, session);
    window.open();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    auto *const commands = window.findChild<QComboBox *>("typeComboBox");
    QVERIFY(commands);
    for (int i = 0; i < commands->count(); ++i) {
        commands->setCurrentIndex(i);
        QCOMPARE(cutOffIn(window, 10), QString());
    }
    window.findChild<QTabWidget *>()->setCurrentIndex(1);
    QCOMPARE(cutOffIn(window, 10), QString());
}

int main(int argc, char **argv)
{
    setScaleOfShard();
    QApplication application(argc, argv);
    tst_LegibleWindows test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_LegibleWindows.moc"
