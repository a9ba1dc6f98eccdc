#include "support/LogCapture.h"
#include "support/World.h"

#include "plugin/INotify.h"
#include "plugin/IUIPlugin.h"

#include "sdk/SdkControl.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonObject>
#include <QtCore/QPluginLoader>
#include <QtCore/QPointer>
#include <QtCore/QProcess>
#include <QtCore/QRect>
#include <QtCore/QRegularExpression>
#include <QtCore/QScopedPointer>
#include <QtTest/QtTest>

#include <QtWidgets/QApplication>
#include <QtWidgets/QWidget>

/// libSTKPlugin as a host meets it: the file's symbols, its metadata, and the object that the loader gives out.
class tst_PluginLibrary : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void cleanupTestCase();

    void exportsTheEntryPointsAndNothingElse();
    void exportsWhatTheVersionScriptLists();
    void hasNoNameOfItsOwn();
    void needsTheHostsLibrariesAndQtAlone();
    void needsOnlyTheContractsOfTheHostsLibraries();
    void namesItsInterfaceInTheMetadata();

    void castsByName_data();
    void castsByName();
    void interfacesStandAtDifferentAddresses();
    void answersThroughItsInterfaces();
    void loaderGivesOutOneInstance();
    void deletedInstanceIsFollowedByAFreshOne();
    void unloadingDeletesTheInstance();
    void windowOpensOverTheHosts();

private:
    QObject *instance();
    void close();

    QPluginLoader m_loader{STK_PLUGIN_FILE};
    QPointer<QObject> m_object;
    QScopedPointer<support::LogCapture> m_log; ///< keeps the plug-in's many lines out of the output
};

namespace
{

/// The names in the dynamic symbol table of a library, by nm; empty when nm failed.
QStringList symbols(const char *library, const char *which)
{
    QProcess nm;
    nm.start(STK_NM, {"-D", which, "--format=posix", library});
    if (!nm.waitForFinished(30000) || nm.exitStatus() != QProcess::NormalExit || nm.exitCode() != 0)
        return QStringList();
    QStringList names;
    for (const QString &line : QString::fromLocal8Bit(nm.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts))
        names << line.section(' ', 0, 0).section('@', 0, 0);
    names.sort();
    return names;
}

/// The values of one kind of entry in the library's dynamic section, by readelf: "NEEDED" or "SONAME".
QStringList dynamicEntries(const char *kind)
{
    QProcess readelf;
    readelf.start(STK_READELF, {"-d", "-W", STK_PLUGIN_FILE});
    if (!readelf.waitForFinished(30000) || readelf.exitStatus() != QProcess::NormalExit || readelf.exitCode() != 0)
        return QStringList("readelf failed");
    QStringList values;
    const QRegularExpression entry(QString("\\(%1\\).*\\[(.*)\\]").arg(kind));
    QRegularExpressionMatchIterator found = entry.globalMatch(QString::fromLocal8Bit(readelf.readAllStandardOutput()));
    while (found.hasNext())
        values << found.next().captured(1);
    return values;
}

/// The names under "global:" in the version script.
QStringList namesOfTheVersionScript()
{
    QFile script(STK_VERSION_SCRIPT);
    if (!script.open(QIODevice::ReadOnly))
        return QStringList(script.errorString());
    const QString globals = QString::fromLatin1(script.readAll()).section("global:", 1).section("local:", 0, 0);
    QStringList names;
    for (const QString &name : globals.split(';'))
        names << name.simplified();
    names.removeAll(QString());
    names.sort();
    return names;
}

const char *const CONTRACT_FUNCTIONS[] = {
    "MDSV_DevSrv_RegisterDevMgrCallback",
    "MDSV_DevSrv_UnRegisterDevMgrCallback",
    "MDSV_STKSrv_AnswerInKey",
    "MDSV_STKSrv_AnswerInput",
    "MDSV_STKSrv_GetIdleModePrompt",
    "MDSV_STKSrv_GetInKeyRequest",
    "MDSV_STKSrv_GetInputRequest",
    "MDSV_STKSrv_GetLaunchBrowser",
    "MDSV_STKSrv_GetMainMenu",
    "MDSV_STKSrv_GetPlayTone",
    "MDSV_STKSrv_GetPromptText",
    "MDSV_STKSrv_GetRefreshInfo",
    "MDSV_STKSrv_GetSubMenu",
    "MDSV_STKSrv_ReleaseMenus",
    "MDSV_STKSrv_ReleaseSubMenus",
    "MDSV_STKSrv_SelectMenuItem",
    "MDSV_STKSrv_SelectSubMenuItem",
    "MDSV_STKSrv_SendNoDataResponse",
    "MDSV_STK_RegisterCallBack",
    "MDSV_STK_UnRegisterCallBack",
};

/// Mangled, a member of a class begins with its length and name, also behind "K" and in tables of classes.
const char *const CONTRACT_CLASSES[] = {"11CommonUtils",  "12ExtendDialog", "14ExtendLineEdit",
                                        "12WsMessageBox", "7WsSound",       "6Change"};

bool isOfContractClass(const QString &symbol)
{
    for (const char *name : CONTRACT_CLASSES) {
        if (symbol.startsWith("_Z") && symbol.contains(name))
            return true;
    }
    return false;
}

} // namespace

/// The plug-in's object, new or the one that is there.
QObject *tst_PluginLibrary::instance()
{
    m_object = m_loader.instance();
    if (!m_object)
        QTest::qFail(qPrintable(m_loader.errorString()), __FILE__, __LINE__);
    return m_object;
}

/// Takes the plug-in down as a host does.
void tst_PluginLibrary::close()
{
    if (!m_object)
        return;
    IUIPlugin *plugin = qobject_cast<IUIPlugin *>(m_object.data());
    plugin->UnSDKRegisterEvent();
    plugin->OnDestroy();
    plugin->Release();
    delete m_object;
}

void tst_PluginLibrary::init()
{
    m_log.reset(new support::LogCapture);
}

void tst_PluginLibrary::cleanup()
{
    close();
    const QStringList left = support::leftovers();
    // Qt asks the X server about a window that has gone meanwhile: nobody's fault, and harmless.
    const QStringList warnings = m_log->warnings().filter(QRegularExpression("^(?!QXcbConnection: XCB error)"));
    m_log.reset();
    QCOMPARE(left, QStringList());
    QCOMPARE(warnings, QStringList());
}

void tst_PluginLibrary::cleanupTestCase()
{
    sdk::shutDown();
}

void tst_PluginLibrary::exportsTheEntryPointsAndNothingElse()
{
    QCOMPARE(symbols(STK_PLUGIN_FILE, "--defined-only"),
             (QStringList{"qt_plugin_instance", "qt_plugin_query_metadata"}));
}

void tst_PluginLibrary::exportsWhatTheVersionScriptLists()
{
    QStringList listed = namesOfTheVersionScript();
    QVERIFY(listed.removeOne("qt_plugin_query_verification_data")); // made with Qt 4 in place of the metadata
    QCOMPARE(symbols(STK_PLUGIN_FILE, "--defined-only"), listed);
}

/// Hosts load it by its path. With a name of its own a program could link it, and two of them would count as one.
void tst_PluginLibrary::hasNoNameOfItsOwn()
{
    QCOMPARE(dynamicEntries("SONAME"), QStringList());
    QCOMPARE(QFileInfo(STK_PLUGIN_FILE).fileName(), QString("libSTKPlugin.so"));
}

void tst_PluginLibrary::needsTheHostsLibrariesAndQtAlone()
{
    QStringList needed = dynamicEntries("NEEDED");
    needed.sort();
    // The compiler's own, with those of its sanitizers.
    const QStringList rest = needed.filter(QRegularExpression(
        "^(?!(libstdc\\+\\+|libgcc_s|libc|libm|libpthread|lib[atl]san|libubsan|ld-linux.*)\\.so\\.)"));
    QCOMPARE(rest, (QStringList{"libQt5Core.so.5", "libQt5Gui.so.5", "libQt5Widgets.so.5", "libcore.so", "libsdk.so"}));
}

void tst_PluginLibrary::needsOnlyTheContractsOfTheHostsLibraries()
{
    QStringList functions;
    const QStringList needed = symbols(STK_PLUGIN_FILE, "--undefined-only");
    for (const QString &symbol : symbols(STK_SDK_FILE, "--defined-only")) {
        if (needed.contains(symbol))
            functions << symbol;
    }
    QStringList contract;
    for (const char *name : CONTRACT_FUNCTIONS)
        contract << name;
    contract.sort();
    functions = functions.filter(QRegularExpression("^(?!_ZTI|_ZTS|_ZTV|_ZNSt|_ZSt)"));
    QCOMPARE(functions, contract);

    int classSymbols = 0;
    for (const QString &symbol : symbols(STK_CORE_FILE, "--defined-only")) {
        if (needed.contains(symbol)) {
            QVERIFY2(isOfContractClass(symbol), qPrintable(symbol));
            ++classSymbols;
        }
    }
    QVERIFY(classSymbols > 0);
}

void tst_PluginLibrary::namesItsInterfaceInTheMetadata()
{
    const QJsonObject data = QPluginLoader(STK_PLUGIN_FILE).metaData();
    QCOMPARE(data.value("IID").toString(), QString(STK_HOST_IID_PREFIX ".plugin.IUIPlugin"));
    QCOMPARE(data.value("className").toString(), QString("STKPlugin"));
}

void tst_PluginLibrary::castsByName_data()
{
    const QByteArray prefix = STK_HOST_IID_PREFIX;
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QString>("part");
    // In the order in which the object compares them.
    QTest::newRow("null") << QByteArray() << "null";
    QTest::newRow("class") << QByteArray("STKPlugin") << "object";
    QTest::newRow("IUIPlugin") << QByteArray("IUIPlugin") << "ui";
    QTest::newRow("INotify") << QByteArray("INotify") << "notify";
    QTest::newRow("IBasePlugin identifier") << prefix + ".plugin.IBasePlugin"
                                            << "ui";
    QTest::newRow("IUIPlugin identifier") << prefix + ".plugin.IUIPlugin"
                                          << "ui";
    QTest::newRow("INotify identifier") << prefix + ".plugin.INotify"
                                        << "notify";
    QTest::newRow("QObject") << QByteArray("QObject") << "object";
    QTest::newRow("IBasePlugin, plain") << QByteArray("IBasePlugin") << "null";
    QTest::newRow("IDestroyEvent") << QByteArray("IDestroyEvent") << "null";
    QTest::newRow("unknown identifier") << prefix + ".plugin.Nothing"
                                        << "null";
}

void tst_PluginLibrary::castsByName()
{
    QFETCH(QByteArray, name);
    QFETCH(QString, part);
    QObject *object = instance();
    QVERIFY(object);
    QCOMPARE(object->metaObject()->className(), "STKPlugin");
    // QObject comes first in the object, then IUIPlugin with its two tables, then INotify.
    char *const base = reinterpret_cast<char *>(object);
    void *const ui = base + sizeof(QObject);
    void *const notify = base + sizeof(QObject) + sizeof(IUIPlugin);
    void *const expected = part == "object" ? base : part == "ui" ? ui : part == "notify" ? notify : nullptr;
    QCOMPARE(object->qt_metacast(name.isNull() ? nullptr : name.constData()), expected);
}

void tst_PluginLibrary::interfacesStandAtDifferentAddresses()
{
    QObject *object = instance();
    QVERIFY(object);
    void *const base = qobject_cast<IBasePlugin *>(object);
    void *const ui = qobject_cast<IUIPlugin *>(object);
    void *const notify = qobject_cast<INotify *>(object);
    QVERIFY(base && ui && notify);
    QCOMPARE(base, ui);
    QVERIFY(notify != ui);
    QVERIFY(notify != static_cast<void *>(object));
}

void tst_PluginLibrary::answersThroughItsInterfaces()
{
    QObject *object = instance();
    IUIPlugin *plugin = qobject_cast<IUIPlugin *>(object);
    INotify *notify = qobject_cast<INotify *>(object);
    QVERIFY(plugin && notify);
    QCOMPARE(plugin->Init(), true);
    QCOMPARE(plugin->IsReady(), false);
    QCOMPARE(plugin->IsAllowRelease(), false);
    QCOMPARE(plugin->DoModal(), 0);
    QCOMPARE(plugin->GetPluginType(), 0);
    QCOMPARE(plugin->GetLastError(), 0);
    QCOMPARE(plugin->GetVersion(), 0x0101);
    QCOMPARE(plugin->GetPluginName(), QString("STKPlugin"));
    QCOMPARE(plugin->GetCLSID(), QString("C4A17E92-3B5F-47d8-A1C6-5E09D3F7B218"));
    QCOMPARE(plugin->ChangeLang("de"), true);
    QCOMPARE(plugin->ChangeLang(QString()), false);
    QCOMPARE(notify->Notify(320, 1, 2), 0);
    QCOMPARE(notify->Notify(319, 1, 2), 0);
    QObject *out = nullptr;
    QCOMPARE(plugin->QueryInterface(1, &out), 0);
    QVERIFY(!out);
}

void tst_PluginLibrary::loaderGivesOutOneInstance()
{
    QObject *first = instance();
    QVERIFY(first);
    QCOMPARE(instance(), first);
    QPluginLoader other(STK_PLUGIN_FILE);
    QCOMPARE(other.instance(), first);
    QVERIFY(!other.unload()); // the first still uses it
    QCOMPARE(instance(), first);
}

void tst_PluginLibrary::deletedInstanceIsFollowedByAFreshOne()
{
    for (int i = 0; i < 3; ++i) {
        const QPointer<QObject> object = instance();
        QVERIFY(object);
        QVERIFY(qobject_cast<IUIPlugin *>(object.data())->Init());
        close();
        QVERIFY(object.isNull());
    }
    QVERIFY(instance());
}

void tst_PluginLibrary::unloadingDeletesTheInstance()
{
    const QPointer<QObject> object = instance();
    QVERIFY(object);
    qobject_cast<IUIPlugin *>(object.data())->UnSDKRegisterEvent();
    QVERIFY(m_loader.unload());
    QVERIFY(object.isNull());
    QVERIFY(instance()); // it can be loaded again
}

void tst_PluginLibrary::windowOpensOverTheHosts()
{
    QWidget host;
    host.resize(640, 480);
    host.show();
    QVERIFY(QTest::qWaitForWindowExposed(&host));
    IUIPlugin *plugin = qobject_cast<IUIPlugin *>(instance());
    QVERIFY(plugin);
    QVERIFY(plugin->Init());
    QRect rect(host.rect());
    QVERIFY(plugin->ShowWindow(&host, rect));

    const QPointer<QWidget> frame = host.findChild<QWidget *>("STKPlugin_Stkdialog");
    QVERIFY(frame);
    QVERIFY(QTest::qWaitForWindowExposed(frame));
    QVERIFY(frame->isWindow());
    QCOMPARE(frame->windowModality(), Qt::WindowModal);
    frame->close();
    QTRY_VERIFY(frame.isNull());
    QVERIFY(host.isVisible());
}

QTEST_MAIN(tst_PluginLibrary)
#include "tst_PluginLibrary.moc"
