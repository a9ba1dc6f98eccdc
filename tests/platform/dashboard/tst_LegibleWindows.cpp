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
    QTemporaryDir m_folder;
    Options m_options;
};

void tst_LegibleWindows::initTestCase()
{
    m_options.profileFile = m_folder.filePath("card.yaml");
    QFile file(m_options.profileFile);
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
    const Legible detached(&window);
    QVERIFY2(detached.cutOff.isEmpty(), qPrintable(detached.cutOff.join('\n')));
    window.attachDevice();
    QVERIFY(QTest::qWaitFor([&] { return !session.menuTitle().isEmpty(); }));
    QCoreApplication::processEvents();
    const Legible attached(&window);
    QVERIFY2(attached.cutOff.isEmpty(), qPrintable(attached.cutOff.join('\n')));
    QVERIFY2(attached.texts >= 7, qPrintable(QString::number(attached.texts)));
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
        QTest::qWait(1); // the form is laid out anew
        const Legible form(&window);
        QVERIFY2(form.cutOff.isEmpty(), qPrintable(commands->currentText() + ": " + form.cutOff.join('\n')));
        QVERIFY2(form.texts > 10, qPrintable(QString::number(form.texts)));
    }
    auto *const tools = window.findChild<QTabWidget *>();
    tools->setCurrentIndex(1);
    QTest::qWait(1);
    const Legible card(&window);
    QVERIFY2(card.cutOff.isEmpty(), qPrintable(card.cutOff.join('\n')));
}

int main(int argc, char **argv)
{
    setScaleOfShard();
    QApplication application(argc, argv);
    tst_LegibleWindows test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_LegibleWindows.moc"
