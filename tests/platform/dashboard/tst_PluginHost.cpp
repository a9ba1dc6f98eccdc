#include "dashboard/PluginHost.h"

#include <QTemporaryDir>
#include <QTest>
#include <QWidget>
#include <QtCore/QFile>

using dashboard::PluginHost;

namespace
{

QStringList calls()
{
    return qApp->property("calls").toStringList();
}

const QStringList farewell{"UnSDKRegisterEvent", "OnDestroy", "Release", "delete"};

} // namespace

class tst_PluginHost : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void callsThePluginInOrder();
    void unloadsWhenDestroyed();
    void secondLoadReplacesTheFirst();
    void knowsThePluginsTitle();
    void freshInstanceAfterUnload();
    void objectThatReleasesItselfIsNotDeletedTwice();
    void refusingPluginIsTakenOut();
    void failureTellsFileAndReason_data();
    void failureTellsFileAndReason();
    void failureDropsThePluginBefore();
    void nothingLoadedDoesNothing();

private:
    QTemporaryDir m_folder;
};

void tst_PluginHost::init()
{
    qApp->setProperty("calls", QStringList());
}

void tst_PluginHost::cleanup()
{
    QCOMPARE(calls().count("delete"), calls().count("create"));
    QVERIFY(QApplication::topLevelWidgets().isEmpty());
}

void tst_PluginHost::callsThePluginInOrder()
{
    QWidget window;
    window.setObjectName("main");
    PluginHost host;
    QString error;
    QVERIFY2(host.load(PLUGIN_GOOD, &error), qPrintable(error));
    QVERIFY(host.isLoaded());
    QVERIFY(host.showWindow(&window, QRect(0, 0, 640, 480)));
    host.changeLanguage("de");
    host.unload();
    QVERIFY(!host.isLoaded());
    QCOMPARE(calls(),
             QStringList({"create", "Init", "ShowWindow main 640x480", "ChangeLang de", "Notify 320 0 0"}) + farewell);
}

void tst_PluginHost::unloadsWhenDestroyed()
{
    {
        PluginHost host;
        QString error;
        QVERIFY(host.load(PLUGIN_GOOD, &error));
    }
    QCOMPARE(calls(), QStringList({"create", "Init"}) + farewell);
}

void tst_PluginHost::secondLoadReplacesTheFirst()
{
    PluginHost host;
    QString error;
    QVERIFY(host.load(PLUGIN_GOOD, &error));
    QVERIFY(host.load(PLUGIN_GOOD, &error));
    host.unload();
    QCOMPARE(calls(), QStringList({"create", "Init"}) + farewell + QStringList({"create", "Init"}) + farewell);
}

void tst_PluginHost::knowsThePluginsTitle()
{
    PluginHost host;
    QString error;
    QVERIFY(host.load(PLUGIN_GOOD, &error));
    QCOMPARE(host.title(), QString("Double 2.11"));
}

void tst_PluginHost::freshInstanceAfterUnload()
{
    PluginHost host;
    QString error;
    for (int round = 1; round <= 3; ++round) {
        QVERIFY(host.load(PLUGIN_GOOD, &error));
        QCOMPARE(calls().count("create"), round);
        host.unload();
        QCOMPARE(calls().count("delete"), round);
    }
}

void tst_PluginHost::objectThatReleasesItselfIsNotDeletedTwice()
{
    PluginHost host;
    QString error;
    QVERIFY(host.load(PLUGIN_RELEASING, &error));
    host.unload();
    QCOMPARE(calls(), QStringList({"create", "Init"}) + farewell);
}

void tst_PluginHost::refusingPluginIsTakenOut()
{
    PluginHost host;
    QString error;
    QVERIFY(!host.load(PLUGIN_REFUSING, &error));
    QVERIFY(!host.isLoaded());
    QCOMPARE(calls(), QStringList({"create", "Init"}) + farewell);
}

void tst_PluginHost::failureTellsFileAndReason_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("reason");

    const QString textFile = m_folder.filePath("text.so");
    QFile text(textFile);
    QVERIFY(text.open(QIODevice::WriteOnly) && text.write("no library\n") > 0);
    QTest::newRow("no file") << m_folder.filePath("missing.so") << "there is no plug-in file";
    QTest::newRow("empty name") << QString() << "there is no plug-in file ''";
    QTest::newRow("folder") << m_folder.path() << "there is no plug-in file";
    QTest::newRow("text file") << textFile << "cannot be loaded as a plug-in";
    QTest::newRow("library, but no plug-in") << LIBRARY_WITHOUT_PLUGIN << "cannot be loaded as a plug-in";
    QTest::newRow("plug-in of another kind")
        << PLUGIN_OTHER_KIND << "no interface org.opendashboard.plugin.IBasePlugin";
    QTest::newRow("one interface of three") << PLUGIN_HALF << "no interface org.opendashboard.plugin.IBasePlugin";
    QTest::newRow("Init answers false") << PLUGIN_REFUSING << "refused to start (last error 77)";
}

void tst_PluginHost::failureTellsFileAndReason()
{
    QFETCH(QString, file);
    QFETCH(QString, reason);
    PluginHost host;
    QString error;
    QVERIFY(!host.load(file, &error));
    QVERIFY2(error.contains(reason), qPrintable(error));
    QVERIFY2(error.contains("'" + file + "'"), qPrintable(error));
    QVERIFY(!host.isLoaded());
}

void tst_PluginHost::failureDropsThePluginBefore()
{
    PluginHost host;
    QString error;
    QVERIFY(host.load(PLUGIN_GOOD, &error));
    QVERIFY(!host.load(PLUGIN_OTHER_KIND, &error));
    QVERIFY(!host.isLoaded());
    QCOMPARE(calls(), QStringList({"create", "Init"}) + farewell);
    QVERIFY2(host.load(PLUGIN_GOOD, &error), qPrintable(error));
}

void tst_PluginHost::nothingLoadedDoesNothing()
{
    QWidget window;
    PluginHost host;
    QVERIFY(!host.isLoaded());
    QVERIFY(host.title().isEmpty());
    QVERIFY(!host.showWindow(&window, QRect()));
    host.changeLanguage("de");
    host.unload();
    host.unload();
    QCOMPARE(calls(), QStringList());
}

QTEST_MAIN(tst_PluginHost)
#include "tst_PluginHost.moc"
