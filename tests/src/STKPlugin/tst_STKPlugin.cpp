#include "support/CoreDouble.h"
#include "support/LogCapture.h"
#include "support/Peek.h"
#include "support/SdkDouble.h"
#include "support/VirtualSlot.h"
#include "support/World.h"

#include "STKPlugin/STKDialog.h"
#include "STKPlugin/STKInputDlg.h"
#include "STKPlugin/STKLogic.h"
#include "STKPlugin/STKPlugin.h"
#include "STKPlugin/STKThread.h"

#include <QtCore/QMetaMethod>
#include <QtCore/QPointer>
#include <QtCore/QScopedPointer>
#include <QtTest/QtTest>

#include <QtWidgets/QApplication>
#include <QtWidgets/QPushButton>

#include <climits>
#include <type_traits>

using support::CoreDouble;
using support::LogCapture;
using support::peek;
using support::SdkDouble;
using support::slotOf;
namespace journal = support::journal;

/// The entry point that the plug-in's loader looks up by name.
extern "C" QObject *qt_plugin_instance();

namespace
{

struct Peek : STKPlugin {
    using STKPlugin::m_pStkDialog;
};

struct DialogPeek : STKDialog {
    using STKDialog::m_pExtendDlg;
    using STKDialog::m_pStkDialogInstance;
    using STKDialog::m_pStkThread;
};

struct LogicPeek : STKLogic {
    using STKLogic::m_pStkLogicInst;
    using STKLogic::receivers;
};

struct InputPeek : STKInputDlg {
    using STKInputDlg::m_pStkInputDlgInstance;
};

const char *const PATH = "../../src/STKPlugin/STKPlugin";
const int LANGUAGE_CHANGED = 320;

QString startOf(const QString &function)
{
    return QString("Start of %1: %2: <time>: ").arg(PATH, function);
}

QString endOf(const QString &function)
{
    return QString("End of %1: %2: <time>: ").arg(PATH, function);
}

/// An operation that answers a fixed value and does nothing else.
struct FixedAnswer {
    const char *function;
    QVariant answer;
    QVariant (*run)(STKPlugin *plugin);
};

const QList<FixedAnswer> &fixedAnswers()
{
    static const QList<FixedAnswer> ALL = {
        {"Init", true, [](STKPlugin *plugin) { return QVariant(plugin->Init()); }},
        {"IsReady", false, [](STKPlugin *plugin) { return QVariant(plugin->IsReady()); }},
        {"IsAllowRelease", false, [](STKPlugin *plugin) { return QVariant(plugin->IsAllowRelease()); }},
        {"DoModal", 0, [](STKPlugin *plugin) { return QVariant(plugin->DoModal()); }},
        {"GetPluginType", 0, [](STKPlugin *plugin) { return QVariant(plugin->GetPluginType()); }},
        {"GetLastError", 0, [](STKPlugin *plugin) { return QVariant(plugin->GetLastError()); }},
        {"GetVersion", 257, [](STKPlugin *plugin) { return QVariant(plugin->GetVersion()); }},
        {"GetPluginName", "STKPlugin", [](STKPlugin *plugin) { return QVariant(plugin->GetPluginName()); }},
        {"GetCLSID", "C4A17E92-3B5F-47d8-A1C6-5E09D3F7B218",
         [](STKPlugin *plugin) { return QVariant(plugin->GetCLSID()); }},
        {"QueryInterface", 0,
         [](STKPlugin *plugin) {
             QObject *out = plugin;
             const int answer = plugin->QueryInterface(7, &out);
             return out == plugin ? QVariant(answer) : QVariant("the pointer was changed");
         }},
        {"Hide", QVariant(),
         [](STKPlugin *plugin) {
             plugin->Hide();
             return QVariant();
         }},
        {"FitSize", QVariant(),
         [](STKPlugin *plugin) {
             QRect rect(1, 2, 3, 4);
             plugin->FitSize(rect);
             return rect == QRect(1, 2, 3, 4) ? QVariant() : QVariant("the rectangle was changed");
         }},
        {"OnDestroy", QVariant(),
         [](STKPlugin *plugin) {
             plugin->OnDestroy();
             return QVariant();
         }},
        {"Release", QVariant(),
         [](STKPlugin *plugin) {
             plugin->Release();
             return QVariant();
         }},
    };
    return ALL;
}

} // namespace

class tst_STKPlugin : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void metaObjectIsBare();
    void interfacesKeepTheirTables();
    void interfacesHoldNoData();
    void objectHasOneMemberOfItsOwn();
    void identifiersShareTheHostsPrefix();
    void castsByName_data();
    void castsByName();
    void interfacesAreFoundByCasting();

    void constructionBringsEverythingUp();
    void constructionIsLogged();
    void destructionTakesEverythingDown();
    void destructionWithoutWindowObjectOnlyLogs();
    void entryPointKeepsOneInstanceAtATime();

    void answersAFixedValueAndOnlyLogs_data();
    void answersAFixedValueAndOnlyLogs();
    void leavesTheOpenWindowAlone_data();
    void leavesTheOpenWindowAlone();
    void queryInterfaceTakesAnything();
    void anyLanguageButNoneIsAccepted_data();
    void anyLanguageButNoneIsAccepted();

    void showWindowOpensOverTheParent();
    void showWindowTwiceOpensTwoFrames();
    void showWindowWithoutWindowObjectFails();

    void languageChangeGivesTheButtonsNewTexts_data();
    void languageChangeGivesTheButtonsNewTexts();
    void otherNotificationsAreIgnored_data();
    void otherNotificationsAreIgnored();
    void languageChangeBeforeTheWindowChangesNothing();
    void languageChangeWithoutWindowObjectIsIgnored();

    void callbacksAreWithdrawn();
    void withdrawingMakesTheWindowObjectWhenThereIsNone();
    void hostDrivesItFromLoadingToDeletion();
    void worksInSilenceWhenDebugOutputIsOff();

private:
    STKPlugin *make();
    void show();
    void destroy();
    QStringList ownLog() const;
    QList<QPushButton *> buttons() const;

    QScopedPointer<LogCapture> m_log;
    QScopedPointer<SdkDouble> m_sdk;
    QScopedPointer<CoreDouble> m_core;
    QScopedPointer<QWidget> m_parent;
    QPointer<STKPlugin> m_plugin;
};

/// The plug-in, with what came before forgotten.
STKPlugin *tst_STKPlugin::make()
{
    m_plugin = new STKPlugin;
    journal::clear();
    m_log->clear();
    return m_plugin;
}

void tst_STKPlugin::show()
{
    QRect rect;
    m_plugin->ShowWindow(m_parent.data(), rect);
    journal::clear();
    m_log->clear();
}

/// Deletes the plug-in, and the waiter that the window's object deliberately leaves behind when it is not running.
void tst_STKPlugin::destroy()
{
    STKDialog *dialog = DialogPeek::m_pStkDialogInstance;
    QPointer<STKThread> waiter = dialog ? peek(dialog, &DialogPeek::m_pStkThread) : nullptr;
    delete m_plugin;
    STKDialog::Destroy();
    delete waiter;
}

/// The log lines of STKPlugin itself.
QStringList tst_STKPlugin::ownLog() const
{
    return m_log->debug().filter(QString(PATH) + ":");
}

QList<QPushButton *> tst_STKPlugin::buttons() const
{
    QList<QPushButton *> result;
    for (const char *name : {"Back", "Select", "Close"})
        result << m_parent->findChild<QPushButton *>(QString("STKPlugin_PushBtn") + name);
    return result;
}

void tst_STKPlugin::init()
{
    m_log.reset(new LogCapture);
    m_sdk.reset(new SdkDouble);
    m_core.reset(new CoreDouble);
    m_parent.reset(new QWidget);
    m_parent->setObjectName("main");
    m_parent->show();
    m_sdk->setMainMenu("Operator", {{1, "News"}, {2, "Balance"}});
}

void tst_STKPlugin::cleanup()
{
    destroy();
    m_parent.reset();
    const QStringList left = support::leftovers();
    const QStringList faults = m_sdk->faults();
    const QStringList warnings = m_log->warnings();
    m_core.reset();
    m_sdk.reset();
    m_log.reset();
    QCOMPARE(left, QStringList());
    QCOMPARE(faults, QStringList());
    QCOMPARE(warnings, QStringList());
    QVERIFY(!LogicPeek::m_pStkLogicInst);
    QVERIFY(!InputPeek::m_pStkInputDlgInstance);
}

void tst_STKPlugin::metaObjectIsBare()
{
    const QMetaObject &meta = STKPlugin::staticMetaObject;
    QCOMPARE(meta.className(), "STKPlugin");
    QCOMPARE(meta.superClass()->className(), "QObject");
    QCOMPARE(meta.methodCount(), meta.methodOffset());
    QCOMPARE(meta.propertyCount(), meta.propertyOffset());
}

void tst_STKPlugin::interfacesKeepTheirTables()
{
    // Two slots for the destructor come first in every table.
    const int ui[] = {
        slotOf(&IUIPlugin::Release),       slotOf(&IUIPlugin::GetLastError),   slotOf(&IUIPlugin::Init),
        slotOf(&IUIPlugin::GetPluginType), slotOf(&IUIPlugin::GetCLSID),       slotOf(&IUIPlugin::GetVersion),
        slotOf(&IUIPlugin::GetPluginName), slotOf(&IUIPlugin::IsAllowRelease), slotOf(&IUIPlugin::QueryInterface),
        slotOf(&IUIPlugin::ShowWindow),    slotOf(&IUIPlugin::DoModal),        slotOf(&IUIPlugin::Hide),
        slotOf(&IUIPlugin::FitSize),       slotOf(&IUIPlugin::IsReady),        slotOf(&IUIPlugin::ChangeLang)};
    for (int i = 0; i < 15; ++i)
        QCOMPARE(ui[i], i + 2);
    QCOMPARE(slotOf(&IDestroyEvent::OnDestroy), 2);
    QCOMPARE(slotOf(&IDestroyEvent::UnSDKRegisterEvent), 3);
    QCOMPARE(slotOf(&INotify::Notify), 2);

    // IDestroyEvent is a second base of IBasePlugin, with a table of its own behind the first.
    STKPlugin *plugin = make();
    IUIPlugin *const asUi = plugin;
    QCOMPARE(static_cast<void *>(static_cast<IBaseInterface *>(asUi)), static_cast<void *>(asUi));
    QCOMPARE(reinterpret_cast<char *>(static_cast<IDestroyEvent *>(asUi)) - reinterpret_cast<char *>(asUi),
             ptrdiff_t(sizeof(void *)));
}

void tst_STKPlugin::interfacesHoldNoData()
{
    // Nothing but the pointers to their tables: a host that was compiled before finds every part of the object.
    QCOMPARE(sizeof(IBaseInterface), sizeof(void *));
    QCOMPARE(sizeof(IDestroyEvent), sizeof(void *));
    QCOMPARE(sizeof(IBasePlugin), 2 * sizeof(void *));
    QCOMPARE(sizeof(IUIPlugin), 2 * sizeof(void *));
    QCOMPARE(sizeof(INotify), sizeof(void *));
    QVERIFY(std::is_abstract<IBaseInterface>::value && std::is_abstract<IDestroyEvent>::value);
    QVERIFY(std::is_abstract<IBasePlugin>::value && std::is_abstract<IUIPlugin>::value);
    QVERIFY(std::is_abstract<INotify>::value);
}

void tst_STKPlugin::objectHasOneMemberOfItsOwn()
{
    STKPlugin *plugin = make();
    const size_t bases = sizeof(QObject) + sizeof(IUIPlugin) + sizeof(INotify);
    QCOMPARE(sizeof(STKPlugin), bases + sizeof(STKDialog *));
    const char *const member = reinterpret_cast<const char *>(&peek(plugin, &Peek::m_pStkDialog));
    QCOMPARE(size_t(member - reinterpret_cast<const char *>(plugin)), bases);
}

void tst_STKPlugin::identifiersShareTheHostsPrefix()
{
    const QString prefix = STK_HOST_IID_PREFIX;
    QCOMPARE(QString(qobject_interface_iid<IBasePlugin *>()), prefix + ".plugin.IBasePlugin");
    QCOMPARE(QString(qobject_interface_iid<IUIPlugin *>()), prefix + ".plugin.IUIPlugin");
    QCOMPARE(QString(qobject_interface_iid<INotify *>()), prefix + ".plugin.INotify");
}

void tst_STKPlugin::castsByName_data()
{
    const QByteArray prefix = STK_HOST_IID_PREFIX;
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QString>("part");
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
    QTest::newRow("lower case") << QByteArray("stkplugin") << "null";
    QTest::newRow("identifier in upper case") << (prefix + ".plugin.INotify").toUpper() << "null";
    QTest::newRow("base interface") << QByteArray("IBaseInterface") << "null";
    QTest::newRow("destroy interface") << QByteArray("IDestroyEvent") << "null";
    QTest::newRow("unknown") << QByteArray("QWidget") << "null";
    QTest::newRow("empty") << QByteArray("") << "null";
    QTest::newRow("null") << QByteArray() << "null";
}

void tst_STKPlugin::castsByName()
{
    QFETCH(QByteArray, name);
    QFETCH(QString, part);
    STKPlugin *plugin = make();
    void *const expected = part == "object"   ? static_cast<void *>(plugin)
                           : part == "ui"     ? static_cast<void *>(static_cast<IUIPlugin *>(plugin))
                           : part == "notify" ? static_cast<void *>(static_cast<INotify *>(plugin))
                                              : nullptr;
    QCOMPARE(plugin->qt_metacast(name.isNull() ? nullptr : name.constData()), expected);
}

void tst_STKPlugin::interfacesAreFoundByCasting()
{
    STKPlugin *plugin = make();
    QObject *object = plugin;
    QCOMPARE(qobject_cast<IUIPlugin *>(object), static_cast<IUIPlugin *>(plugin));
    QCOMPARE(qobject_cast<IBasePlugin *>(object), static_cast<IBasePlugin *>(plugin));
    QCOMPARE(qobject_cast<INotify *>(object), static_cast<INotify *>(plugin));
    QCOMPARE(static_cast<void *>(qobject_cast<IBasePlugin *>(object)),
             static_cast<void *>(qobject_cast<IUIPlugin *>(object)));
    QVERIFY(static_cast<void *>(qobject_cast<INotify *>(object)) !=
            static_cast<void *>(qobject_cast<IUIPlugin *>(object)));
}

void tst_STKPlugin::constructionBringsEverythingUp()
{
    QVERIFY(!DialogPeek::m_pStkDialogInstance);
    m_plugin = new STKPlugin;
    QVERIFY(!m_plugin->parent());
    STKDialog *dialog = DialogPeek::m_pStkDialogInstance;
    QVERIFY(dialog);
    QCOMPARE(peek(m_plugin.data(), &Peek::m_pStkDialog), dialog);
    QVERIFY(peek(dialog, &DialogPeek::m_pStkThread));
    QVERIFY(!peek(dialog, &DialogPeek::m_pStkThread)->isRunning());
    QVERIFY(InputPeek::m_pStkInputDlgInstance);
    QCOMPARE(journal::names("MDSV_"), (QStringList{"MDSV_STK_RegisterCallBack", "MDSV_DevSrv_RegisterDevMgrCallback"}));
    QVERIFY(m_sdk->stkCallback());
    QVERIFY(m_sdk->deviceCallback());

    STKLogic *logic = LogicPeek::m_pStkLogicInst;
    QVERIFY(logic);
    const QMetaObject *meta = logic->metaObject();
    for (int i = meta->methodOffset(); i < meta->methodCount(); ++i) {
        const QByteArray signal = "2" + meta->method(i).methodSignature();
        QVERIFY2((logic->*(&LogicPeek::receivers))(signal.constData()) == 1, signal.constData());
    }
    // No window yet.
    QVERIFY(!peek(dialog, &DialogPeek::m_pExtendDlg));
    QCOMPARE(m_core->frames().size(), 0);
    QCOMPARE(QApplication::topLevelWidgets(), QWidgetList{m_parent.data()});
}

void tst_STKPlugin::constructionIsLogged()
{
    m_plugin = new STKPlugin;
    QCOMPARE(ownLog(), (QStringList{startOf("STKPlugin"), endOf("STKPlugin")}));
    QCOMPARE(m_log->debug().first(), startOf("STKPlugin"));
    QCOMPARE(m_log->debug().last(), endOf("STKPlugin"));
}

void tst_STKPlugin::destructionTakesEverythingDown()
{
    make();
    show();
    QPointer<STKDialog> dialog = DialogPeek::m_pStkDialogInstance;
    STKThread *waiter = peek(dialog.data(), &DialogPeek::m_pStkThread);
    delete m_plugin;
    QVERIFY(dialog.isNull());
    QVERIFY(!DialogPeek::m_pStkDialogInstance);
    QVERIFY(!LogicPeek::m_pStkLogicInst);
    QVERIFY(!InputPeek::m_pStkInputDlgInstance);
    QCOMPARE(ownLog(), (QStringList{startOf("~STKPlugin"), endOf("~STKPlugin")}));
    QCOMPARE(m_log->debug().first(), startOf("~STKPlugin"));
    QCOMPARE(m_log->debug().last(), endOf("~STKPlugin"));
    QCOMPARE(journal::names("MDSV_"), QStringList()); // withdrawing the callbacks is the host's call
    delete waiter;
}

void tst_STKPlugin::destructionWithoutWindowObjectOnlyLogs()
{
    STKPlugin *plugin = make();
    peek(plugin, &Peek::m_pStkDialog) = nullptr;
    delete plugin;
    QVERIFY(DialogPeek::m_pStkDialogInstance);
    QCOMPARE(m_log->debug(), (QStringList{startOf("~STKPlugin"), endOf("~STKPlugin")}));
}

void tst_STKPlugin::entryPointKeepsOneInstanceAtATime()
{
    QObject *first = qt_plugin_instance();
    m_plugin = qobject_cast<STKPlugin *>(first);
    QVERIFY(m_plugin);
    QCOMPARE(qt_plugin_instance(), first);
    QCOMPARE(ownLog().filter("Start of").size(), 1);

    destroy();
    m_log->clear();
    journal::clear();
    m_plugin = qobject_cast<STKPlugin *>(qt_plugin_instance());
    QVERIFY(m_plugin);
    QCOMPARE(ownLog(), (QStringList{startOf("STKPlugin"), endOf("STKPlugin")}));
    QCOMPARE(journal::count("MDSV_STK_RegisterCallBack"), 1);
    QVERIFY(DialogPeek::m_pStkDialogInstance);
}

void tst_STKPlugin::answersAFixedValueAndOnlyLogs_data()
{
    QTest::addColumn<int>("index");
    for (int i = 0; i < fixedAnswers().size(); ++i)
        QTest::newRow(fixedAnswers().at(i).function) << i;
}

void tst_STKPlugin::answersAFixedValueAndOnlyLogs()
{
    QFETCH(int, index);
    const FixedAnswer &operation = fixedAnswers().at(index);
    make();
    const QVariant answer = operation.run(m_plugin);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(answer.toString(), operation.answer.toString());
    QVERIFY(answer == operation.answer);
    QCOMPARE(m_log->debug(), (QStringList{startOf(operation.function), endOf(operation.function)}));
    QCOMPARE(journal::lines(), QStringList());
    QVERIFY(m_plugin);
}

void tst_STKPlugin::leavesTheOpenWindowAlone_data()
{
    answersAFixedValueAndOnlyLogs_data();
}

void tst_STKPlugin::leavesTheOpenWindowAlone()
{
    QFETCH(int, index);
    make();
    show();
    QWidget *frame = peek(DialogPeek::m_pStkDialogInstance, &DialogPeek::m_pExtendDlg).data();
    const QRect geometry = frame->geometry();
    fixedAnswers().at(index).run(m_plugin);
    QCoreApplication::processEvents();
    QVERIFY(frame->isVisible());
    QCOMPARE(frame->geometry(), geometry);
    QCOMPARE(peek(DialogPeek::m_pStkDialogInstance, &DialogPeek::m_pExtendDlg).data(), frame);
    QCOMPARE(journal::lines(), QStringList());
}

void tst_STKPlugin::queryInterfaceTakesAnything()
{
    STKPlugin *plugin = make();
    for (int id : {0, 1, -1, INT_MAX, INT_MIN}) {
        QObject *out = nullptr;
        QCOMPARE(plugin->QueryInterface(id, &out), 0);
        QVERIFY(!out);
        QCOMPARE(plugin->QueryInterface(id, nullptr), 0);
    }
}

void tst_STKPlugin::anyLanguageButNoneIsAccepted_data()
{
    QTest::addColumn<QString>("language");
    QTest::addColumn<bool>("accepted");
    QTest::newRow("empty") << "" << false;
    QTest::newRow("null") << QString() << false;
    QTest::newRow("de") << "de" << true;
    QTest::newRow("no language at all") << "?" << true;
    QTest::newRow("a blank") << " " << true;
}

void tst_STKPlugin::anyLanguageButNoneIsAccepted()
{
    QFETCH(QString, language);
    QFETCH(bool, accepted);
    make();
    show();
    QCOMPARE(m_plugin->ChangeLang(language), accepted);
    QCOMPARE(m_log->debug(), (QStringList{startOf("ChangeLang"), endOf("ChangeLang")}));
    QCOMPARE(journal::lines(), QStringList()); // no text was asked for
}

void tst_STKPlugin::showWindowOpensOverTheParent()
{
    make();
    QRect rect(10, 20, 30, 40);
    QCOMPARE(m_plugin->ShowWindow(m_parent.data(), rect), true);
    QCOMPARE(rect, QRect(10, 20, 30, 40));
    QCOMPARE(ownLog(), (QStringList{startOf("ShowWindow"), endOf("ShowWindow")}));
    QCOMPARE(m_core->frames().size(), 1);
    QCOMPARE(m_core->frames().first()->parentWidget(), m_parent.data());
    QVERIFY(m_core->frames().first()->isVisible());
    QCOMPARE(m_core->frames().first()->windowTitle(), QString("Operator"));
}

void tst_STKPlugin::showWindowTwiceOpensTwoFrames()
{
    make();
    show();
    show();
    QCOMPARE(m_core->frames().size(), 2);
    QVERIFY(m_core->frames().at(0) && m_core->frames().at(0)->isVisible());
    QVERIFY(m_core->frames().at(1) && m_core->frames().at(1)->isVisible());
}

void tst_STKPlugin::showWindowWithoutWindowObjectFails()
{
    STKPlugin *plugin = make();
    STKDialog *dialog = peek(plugin, &Peek::m_pStkDialog);
    peek(plugin, &Peek::m_pStkDialog) = nullptr;
    QRect rect;
    QCOMPARE(plugin->ShowWindow(m_parent.data(), rect), false);
    QCOMPARE(m_log->debug(),
             (QStringList{startOf("ShowWindow"), QString("Arg is NULL: <time>: %1: ShowWindow 62").arg(PATH)}));
    QCOMPARE(journal::lines(), QStringList());
    peek(plugin, &Peek::m_pStkDialog) = dialog;
}

void tst_STKPlugin::languageChangeGivesTheButtonsNewTexts_data()
{
    QTest::addColumn<unsigned int>("first");
    QTest::addColumn<unsigned int>("second");
    QTest::newRow("zeros") << 0u << 0u;
    QTest::newRow("ones") << 1u << 1u;
    QTest::newRow("greatest") << UINT_MAX << UINT_MAX;
}

void tst_STKPlugin::languageChangeGivesTheButtonsNewTexts()
{
    QFETCH(unsigned int, first);
    QFETCH(unsigned int, second);
    make();
    show();
    m_core->setTranslator([](const QString &key, const QString &group) { return "neu " + group + " " + key; });
    QCOMPARE(m_plugin->Notify(LANGUAGE_CHANGED, first, second), 0);

    QCOMPARE(journal::lines(), (QStringList{"Change::tr(\"IDS_STK_BTN_BACK\", \"STKPlugin\")",
                                            "Change::tr(\"IDS_STK_BTN_SELECT\", \"STKPlugin\")",
                                            "Change::tr(\"IDS_STK_BTN_CLOSE\", \"STKPlugin\")"}));
    QStringList texts;
    for (const QPushButton *button : buttons())
        texts << button->text();
    QCOMPARE(texts, (QStringList{"neu STKPlugin IDS_STK_BTN_BACK", "neu STKPlugin IDS_STK_BTN_SELECT",
                                 "neu STKPlugin IDS_STK_BTN_CLOSE"}));
    QCOMPARE(ownLog(), (QStringList{startOf("Notify"), endOf("Notify")}));
}

void tst_STKPlugin::otherNotificationsAreIgnored_data()
{
    QTest::addColumn<unsigned int>("code");
    for (unsigned int code : {0u, 319u, 321u, 320u + 0x10000u, UINT_MAX})
        QTest::addRow("%u", code) << code;
}

void tst_STKPlugin::otherNotificationsAreIgnored()
{
    QFETCH(unsigned int, code);
    make();
    show();
    QCOMPARE(m_plugin->Notify(code, 320, 320), 0);
    QCOMPARE(journal::lines(), QStringList());
    QCOMPARE(m_log->debug(), (QStringList{startOf("Notify"), endOf("Notify")}));
}

void tst_STKPlugin::languageChangeBeforeTheWindowChangesNothing()
{
    make();
    QCOMPARE(m_plugin->Notify(LANGUAGE_CHANGED, 0, 0), 0);
    QCOMPARE(journal::lines(), QStringList());
    QCOMPARE(m_log->debug().filter("Widgets id NULL ").size(), 1);
}

void tst_STKPlugin::languageChangeWithoutWindowObjectIsIgnored()
{
    STKPlugin *plugin = make();
    STKDialog *dialog = peek(plugin, &Peek::m_pStkDialog);
    peek(plugin, &Peek::m_pStkDialog) = nullptr;
    QCOMPARE(plugin->Notify(LANGUAGE_CHANGED, 0, 0), 0);
    QCOMPARE(m_log->debug(), (QStringList{startOf("Notify"), endOf("Notify")}));
    peek(plugin, &Peek::m_pStkDialog) = dialog;
}

void tst_STKPlugin::callbacksAreWithdrawn()
{
    make();
    STKDialog *dialog = DialogPeek::m_pStkDialogInstance;
    m_plugin->UnSDKRegisterEvent();
    QCOMPARE(journal::names(), (QStringList{"MDSV_STK_UnRegisterCallBack", "MDSV_DevSrv_UnRegisterDevMgrCallback"}));
    QVERIFY(!m_sdk->stkCallback());
    QVERIFY(!m_sdk->deviceCallback());
    QCOMPARE(DialogPeek::m_pStkDialogInstance, dialog);
    QCOMPARE(m_log->debug().first(), QString("%1: UnSDKRegisterEvent called").arg(PATH));
    QCOMPARE(m_log->debug().last(), QString("%1: UnSDKRegisterEvent exit").arg(PATH));
    QCOMPARE(ownLog().size(), 2);
}

void tst_STKPlugin::withdrawingMakesTheWindowObjectWhenThereIsNone()
{
    STKPlugin *plugin = make();
    STKThread *waiter = peek(DialogPeek::m_pStkDialogInstance, &DialogPeek::m_pStkThread);
    plugin->UnSDKRegisterEvent();
    STKDialog::Destroy();
    delete waiter;
    peek(plugin, &Peek::m_pStkDialog) = nullptr;
    journal::clear();

    plugin->UnSDKRegisterEvent();
    QVERIFY(DialogPeek::m_pStkDialogInstance);
    QVERIFY(!peek(plugin, &Peek::m_pStkDialog));
    QCOMPARE(journal::names("MDSV_"),
             (QStringList{"MDSV_STK_RegisterCallBack", "MDSV_DevSrv_RegisterDevMgrCallback",
                          "MDSV_STK_UnRegisterCallBack", "MDSV_DevSrv_UnRegisterDevMgrCallback"}));
}

void tst_STKPlugin::hostDrivesItFromLoadingToDeletion()
{
    QObject *object = qt_plugin_instance();
    m_plugin = qobject_cast<STKPlugin *>(object);
    IUIPlugin *ui = qobject_cast<IUIPlugin *>(object);
    INotify *notify = qobject_cast<INotify *>(object);
    QVERIFY(ui && notify);
    QVERIFY(ui->Init());
    QRect rect;
    QVERIFY(ui->ShowWindow(m_parent.data(), rect));
    QCOMPARE(notify->Notify(LANGUAGE_CHANGED, 0, 0), 0);
    ui->UnSDKRegisterEvent();
    ui->OnDestroy();
    ui->Release();
    QVERIFY(m_plugin);
    QVERIFY(m_core->frames().first()->isVisible());
    destroy();
    QVERIFY(!m_plugin);
}

void tst_STKPlugin::worksInSilenceWhenDebugOutputIsOff()
{
    m_log->setDebugOutput(false);
    make();
    for (const FixedAnswer &operation : fixedAnswers())
        QVERIFY2(operation.run(m_plugin) == operation.answer, operation.function);
    QRect rect;
    QVERIFY(m_plugin->ShowWindow(m_parent.data(), rect));
    QVERIFY(m_plugin->ChangeLang("de"));
    QCOMPARE(m_plugin->Notify(LANGUAGE_CHANGED, 0, 0), 0);
    m_plugin->UnSDKRegisterEvent();
    STKDialog *dialog = peek(m_plugin.data(), &Peek::m_pStkDialog);
    peek(m_plugin.data(), &Peek::m_pStkDialog) = nullptr;
    QVERIFY(!m_plugin->ShowWindow(m_parent.data(), rect));
    peek(m_plugin.data(), &Peek::m_pStkDialog) = dialog;
    destroy();
    QCOMPARE(m_log->debug(), QStringList());
}

QTEST_MAIN(tst_STKPlugin)
#include "tst_STKPlugin.moc"
