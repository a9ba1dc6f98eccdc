// STKPlugin: the host's calls, one by one and as one session.
#include "DialogStage.h"

#include "STKPlugin/STKPlugin.h"

#include <QtCore/QElapsedTimer>

namespace
{
struct PluginPeek : STKPlugin {
    using STKPlugin::m_pStkDialog;
};

/// The plug-in's object, over the host's window.
struct Stage {
    Stage() : plugin(new STKPlugin)
    {
        dialogs.world.logic = STKLogic::CreateInstance();
        dialogs.begin();
    }

    QStringList end()
    {
        // The window's object is the stage's to end.
        if (plugin)
            support::peek(plugin.data(), &PluginPeek::m_pStkDialog) = nullptr;
        delete plugin;
        return dialogs.end();
    }

    DialogStage dialogs;
    support::Trace &trace = dialogs.trace;
    QPointer<STKPlugin> plugin;
};

using Scenes = QList<Scene<Stage>>;

Scene<Stage> scene(const QString &name, const std::function<void(Stage &)> &act)
{
    return {name, [=](Stage &s) {
                act(s);
                return QVariant();
            }};
}

void forgetWindowObject(Stage &s)
{
    support::peek(s.plugin.data(), &PluginPeek::m_pStkDialog) = nullptr;
}

void addFixedAnswers(Scenes *scenes)
{
    *scenes << Scene<Stage>{"Init", [](Stage &s) { return s.plugin->Init(); }}
            << Scene<Stage>{"IsReady", [](Stage &s) { return s.plugin->IsReady(); }}
            << Scene<Stage>{"IsAllowRelease", [](Stage &s) { return s.plugin->IsAllowRelease(); }}
            << Scene<Stage>{"DoModal", [](Stage &s) { return s.plugin->DoModal(); }}
            << Scene<Stage>{"GetPluginType", [](Stage &s) { return s.plugin->GetPluginType(); }}
            << Scene<Stage>{"GetLastError", [](Stage &s) { return s.plugin->GetLastError(); }}
            << Scene<Stage>{"GetVersion", [](Stage &s) { return s.plugin->GetVersion(); }}
            << Scene<Stage>{"GetPluginName", [](Stage &s) { return s.plugin->GetPluginName(); }}
            << Scene<Stage>{"GetCLSID", [](Stage &s) { return s.plugin->GetCLSID(); }}
            << Scene<Stage>{"QueryInterface",
                            [](Stage &s) {
                                QObject *out = s.plugin;
                                const int answer = s.plugin->QueryInterface(3, &out);
                                return QString("%1, %2").arg(answer).arg(out == s.plugin ? "untouched" : "written");
                            }}
            << scene("Hide", [](Stage &s) { s.plugin->Hide(); })
            << Scene<Stage>{"FitSize",
                            [](Stage &s) {
                                QRect rect(1, 2, 3, 4);
                                s.plugin->FitSize(rect);
                                return rect == QRect(1, 2, 3, 4) ? "untouched" : "changed";
                            }}
            << scene("OnDestroy", [](Stage &s) { s.plugin->OnDestroy(); })
            << scene("Release", [](Stage &s) { s.plugin->Release(); })
            << Scene<Stage>{"ChangeLang, a language", [](Stage &s) { return s.plugin->ChangeLang("de"); }}
            << Scene<Stage>{"ChangeLang, none", [](Stage &s) { return s.plugin->ChangeLang(""); }};
}

QVariant show(Stage &s)
{
    QRect rect(1, 2, 3, 4);
    return s.plugin->ShowWindow(s.dialogs.world.host, rect);
}

void addBehaviour(Scenes *scenes)
{
    *scenes << Scene<Stage>{"ShowWindow", show}
            << Scene<Stage>{"ShowWindow, without the window's object", [](Stage &s) {
                                forgetWindowObject(s);
                                return show(s);
                            }};
    for (unsigned int code : {319u, 320u, 321u})
        *scenes << Scene<Stage>{QString("Notify, %1, no window").arg(code),
                                [=](Stage &s) { return s.plugin->Notify(code, 1, 2); }}
                << Scene<Stage>{QString("Notify, %1, the window open").arg(code), [=](Stage &s) {
                                    s.dialogs.open();
                                    return s.plugin->Notify(code, 1, 2);
                                }};
    *scenes << Scene<Stage>{"Notify, 320, without the window's object",
                            [](Stage &s) {
                                forgetWindowObject(s);
                                return s.plugin->Notify(320, 1, 2);
                            }}
            << scene("UnSDKRegisterEvent", [](Stage &s) {
                   s.plugin->UnSDKRegisterEvent();
                   s.dialogs.world.logic = nullptr; // it is not to be withdrawn again
               });
}

void addLife(Scenes *scenes)
{
    *scenes << scene("STKPlugin, the window's object is there", [](Stage &) {
        STKPlugin *another = new STKPlugin;
        support::peek(another, &PluginPeek::m_pStkDialog) = nullptr;
        delete another;
    }) << scene("~STKPlugin", [](Stage &s) {
        s.plugin->UnSDKRegisterEvent();
        s.trace.clear();
        s.dialogs.world.dialog = nullptr;
        s.dialogs.world.logic = nullptr;
        delete s.plugin;
    }) << scene("UnSDKRegisterEvent, the window's object is gone", [](Stage &s) {
        command::destroy(s.dialogs.world);
        forgetWindowObject(s);
        s.trace.clear();
        s.plugin->UnSDKRegisterEvent();
        s.dialogs.world.dialog = DialogPeek::m_pStkDialogInstance;
        s.dialogs.threads << s.dialogs.world.thread();
    });
}

// ---------------------------------------------------------------- a session

/// Waits until the waiter has looked at the response flag since the trace was cleared.
void letTheWaiterLook(DialogStage &s)
{
    QElapsedTimer clock;
    clock.start();
    while (s.trace.linesElsewhere().filter("End of").isEmpty() && clock.elapsed() < 5000)
        QThread::msleep(5);
}

/// The wait ends, and its signal is delivered.
void endTheWait(DialogStage &s)
{
    s.world.thread()->wait(10000);
    QCoreApplication::sendPostedEvents(s.world.dialog, QEvent::MetaCall);
}

/// The card's next command comes while the window waits.
void nextCommand(DialogStage &s, int type, int cmdId)
{
    letTheWaiterLook(s);
    s.world.sdk.raiseStk(type, cmdId);
    endTheWait(s);
}

/// One step of the session under its own heading.
void step(DialogStage &s, QStringList *text, const QString &name, const std::function<void()> &act)
{
    s.trace.clear();
    act();
    *text << '[' + name + ']' << s.trace.lines();
    const QStringList waiter = s.trace.linesElsewhere();
    if (!waiter.isEmpty())
        *text << "on the waiter's thread:" << waiter;
    *text << QString();
}

void chooseRow(DialogStage &s, int row)
{
    s.world.table()->setCurrentCell(row, 0);
    s.world.select()->click();
}

void typeAndConfirm(QWidget *frame)
{
    QTest::keyClicks(frame->findChild<ExtendLineEdit *>(), "ann");
    command::leave(frame, "IDS_STK_BTN_OK");
}

void playSession(DialogStage &s, STKPlugin *plugin, QStringList *text)
{
    QRect rect;
    s.world.sdk.setPrompt("Hello", 1, 0);
    s.world.sdk.setInput("Name?", 0, 1, 1, 9, 0, "");
    s.world.sdk.setTone(3, 2, "Ring");
    step(s, text, "the host asks the plug-in in", [&] { plugin->Init(); });
    step(s, text, "the window opens", [&] { plugin->ShowWindow(s.world.host, rect); });
    step(s, text, "the card sets up its menu", [&] { s.world.sdk.raiseStk(MDSV_STKTYPE_SETUP_MENU, 1); });
    step(s, text, "News is selected, and the card answers with a menu", [&] {
        chooseRow(s, 1);
        nextCommand(s, MDSV_STKTYPE_SELECT_ITEM, 2);
    });
    step(s, text, "Weather is selected, and the card answers with a text, which is confirmed after the wait", [&] {
        chooseRow(s, 1);
        const auto confirm = [&](QWidget *frame) {
            endTheWait(s);
            command::leave(frame, "IDS_OK");
        };
        s.inFrames({confirm}, [&] { nextCommand(s, MDSV_STKTYPE_DISPLAY_TEXT, 3); });
    });
    step(s, text, "the card asks for an input, which is given, and answers with a tone", [&] {
        s.inFrames({typeAndConfirm}, [&] { s.world.sdk.raiseStk(MDSV_STKTYPE_GET_INPUT, 4); });
        nextCommand(s, MDSV_STKTYPE_PLAY_TONE, 5);
    });
    step(s, text, "the tone has come to its end", [&] { support::CoreDouble::finish(DialogPeek::m_pWsSoundSTK); });
    step(s, text, "the session ends", [&] { s.world.sdk.raiseStk(MDSV_STKTYPE_END_SESSION, 6); });
    step(s, text, "the language changes", [&] { plugin->Notify(320, 0, 0); });
    step(s, text, "the window is closed", [&] { s.world.close()->click(); });
    step(s, text, "the host withdraws the callbacks", [&] { plugin->UnSDKRegisterEvent(); });
    step(s, text, "the host says good-bye", [&] {
        plugin->OnDestroy();
        plugin->Release();
    });
    s.world.dialog = nullptr;
    s.world.logic = nullptr;
    step(s, text, "the plug-in is deleted", [&] { delete plugin; });
}
} // namespace

QStringList pluginTraces()
{
    Scenes scenes;
    addFixedAnswers(&scenes);
    addBehaviour(&scenes);
    addLife(&scenes);
    return played(scenes);
}

QStringList sessionTrace()
{
    QStringList text;
    DialogStage stage;
    playSession(stage, new STKPlugin, &text);
    return text + stage.end();
}
