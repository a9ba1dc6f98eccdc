#include "HostTables.h"

#include "support/LogCapture.h"
#include "support/World.h"

#include "plugin/INotify.h"
#include "plugin/IUIPlugin.h"

#include "sdk/SdkControl.h"

#include <QtCore/QMetaMethod>
#include <QtCore/QPluginLoader>
#include <QtCore/QPointer>
#include <QtCore/QRect>
#include <QtCore/QRegularExpression>
#include <QtCore/QScopedPointer>
#include <QtTest/QtTest>

#include <QtWidgets/QApplication>
#include <QtWidgets/QWidget>

#include <new>

/// The real library called through its virtual tables by a host that was compiled apart from its headers.
class tst_PluginTables : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void cleanupTestCase();

    void everySlotHasItsFunction_data();
    void everySlotHasItsFunction();
    void everyTableDeletesTheWholeObject_data();
    void everyTableDeletesTheWholeObject();
    void metaObjectsOfTheLoadedLibrary();

private:
    void *part(HostPart which) const;

    QPluginLoader m_loader{STK_PLUGIN_FILE};
    QPointer<QObject> m_object;
    QScopedPointer<QWidget> m_host;
    QScopedPointer<support::LogCapture> m_log;
};

namespace
{
/// The function that a line of the plug-in's object says it has entered.
QString enteredFunction(const QString &line)
{
    const QString path = "../../src/STKPlugin/STKPlugin: ";
    if (line.startsWith("Start of " + path))
        return line.section(": ", 1, 1);
    return line.startsWith(path) && line.endsWith(" called") ? line.section(": ", 1, 1).section(' ', 0, 0) : QString();
}

/// The answer as text. Takes a string that was returned, which is the caller's.
QString printedAnswer(const HostSlot &slot, HostCallData *data)
{
    switch (slot.answer) {
    case HOST_NOTHING:
        return "nothing";
    case HOST_NUMBER:
        return QString::number(data->number);
    case HOST_TRUTH:
        return data->number ? "true" : "false";
    case HOST_STRING:
        break;
    }
    QString *string = std::launder(reinterpret_cast<QString *>(&data->string));
    const QString text = *string;
    string->~QString();
    return text;
}
} // namespace

void *tst_PluginTables::part(HostPart which) const
{
    void *const ui = qobject_cast<IUIPlugin *>(m_object.data());
    switch (which) {
    case HOST_UI:
        return ui;
    case HOST_DESTROY_EVENT:
        return hostDestroyEventOf(ui);
    case HOST_NOTIFY:
        break;
    }
    return qobject_cast<INotify *>(m_object.data());
}

void tst_PluginTables::init()
{
    m_log.reset(new support::LogCapture);
    m_host.reset(new QWidget);
    m_host->resize(640, 480);
    m_object = m_loader.instance();
    QVERIFY2(m_object, qPrintable(m_loader.errorString()));
    m_log->clear();
}

void tst_PluginTables::cleanup()
{
    if (m_object) {
        qobject_cast<IUIPlugin *>(m_object.data())->UnSDKRegisterEvent();
        delete m_object;
    }
    m_host.reset();
    const QStringList left = support::leftovers();
    // Qt asks the X server about a window that has gone meanwhile: nobody's fault, and harmless.
    const QStringList warnings = m_log->warnings().filter(QRegularExpression("^(?!QXcbConnection: XCB error)"));
    m_log.reset();
    QCOMPARE(left, QStringList());
    QCOMPARE(warnings, QStringList());
}

void tst_PluginTables::cleanupTestCase()
{
    sdk::shutDown();
}

void tst_PluginTables::everySlotHasItsFunction_data()
{
    const QHash<QString, QString> answers = {
        {"GetLastError", "0"},
        {"Init", "true"},
        {"GetPluginType", "0"},
        {"GetVersion", "257"},
        {"IsAllowRelease", "false"},
        {"GetPluginName", "STKPlugin"},
        {"QueryInterface", "0"},
        {"ShowWindow", "true"},
        {"DoModal", "0"},
        {"IsReady", "false"},
        {"ChangeLang", "true"},
        {"Notify", "0"},
        {"GetCLSID", "C4A17E92-3B5F-47d8-A1C6-5E09D3F7B218"},
    };
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("answer");
    QCOMPARE(hostSlotCount, 18);
    for (int i = 0; i < hostSlotCount; ++i)
        QTest::newRow(hostSlots[i].function) << i << answers.value(hostSlots[i].function, "nothing");
}

void tst_PluginTables::everySlotHasItsFunction()
{
    QFETCH(int, index);
    QFETCH(QString, answer);
    const HostSlot &slot = hostSlots[index];
    QRect rect(1, 2, 3, 4);
    const QString language = "de";
    HostCallData data = {m_host.data(), &rect, &language, this, 99, {nullptr, {nullptr, nullptr}}};
    slot.call(part(slot.part), &data);
    QCOMPARE(enteredFunction(m_log->debug().value(0)), QString(slot.function));
    QCOMPARE(printedAnswer(slot, &data), answer);
    QCOMPARE(rect, QRect(1, 2, 3, 4));
    QCOMPARE(data.out, static_cast<void *>(this));
    QCOMPARE(bool(m_host->findChild<QWidget *>("STKPlugin_Stkdialog")), QString(slot.function) == "ShowWindow");
}

void tst_PluginTables::everyTableDeletesTheWholeObject_data()
{
    QTest::addColumn<int>("which");
    QTest::newRow("IUIPlugin") << int(HOST_UI);
    QTest::newRow("IDestroyEvent") << int(HOST_DESTROY_EVENT);
    QTest::newRow("INotify") << int(HOST_NOTIFY);
}

void tst_PluginTables::everyTableDeletesTheWholeObject()
{
    QFETCH(int, which);
    qobject_cast<IUIPlugin *>(m_object.data())->UnSDKRegisterEvent();
    m_log->clear();
    hostDelete(part(HostPart(which)));
    QVERIFY(m_object.isNull());
    QCOMPARE(enteredFunction(m_log->debug().value(0)), QString("~STKPlugin"));
}

void tst_PluginTables::metaObjectsOfTheLoadedLibrary()
{
    const QMetaObject *meta = m_object->metaObject();
    QCOMPARE(meta->className(), "STKPlugin");
    QCOMPARE(meta->superClass(), &QObject::staticMetaObject);
    QCOMPARE(meta->methodCount(), QObject::staticMetaObject.methodCount());
    QCOMPARE(meta->propertyCount(), QObject::staticMetaObject.propertyCount());

    QRect rect;
    QVERIFY(qobject_cast<IUIPlugin *>(m_object.data())->ShowWindow(m_host.data(), rect));
    const QObject *table = m_host->findChild<QObject *>("STKPlugin_TableWidgetMenu");
    QVERIFY(table);
    QCOMPARE(table->metaObject()->className(), "STKTableWidget");
    QCOMPARE(m_host->findChild<QObject *>("STKPlugin_Stkdialog")->metaObject()->className(), "ExtendDialog");
}

QTEST_MAIN(tst_PluginTables)
#include "tst_PluginTables.moc"
