// STKInputDlg and its frame, without the window.
#include "InputWorld.h"
#include "Scenes.h"

#include "support/Trace.h"

#include <QtGui/QCloseEvent>
#include <QtTest/QtTest>

namespace
{
const int FAILED = 7;

/// The input dialog with a GET INPUT stored.
struct Stage {
    Stage() : trace(world.log), dialog(world.dialog)
    {
        trace.name(world.host, "host window");
        dialog->SetInputRequest(inputRequest());
        trace.clear();
    }

    /// Builds the frame; it is not shown.
    void build()
    {
        (dialog->*(&InputPeek::initUI))(world.host);
        trace.clear();
    }

    /// Shows the dialog and acts in it once.
    void show(const std::function<void()> &act)
    {
        if (!world.show(act))
            problems << "problem: the dialog did not appear, or did not close";
    }

    template <class Member>
    void without(Member STKInputDlg::*member, const std::function<void()> &act)
    {
        const Member kept = world.at(member);
        world.at(member) = nullptr;
        act();
        world.at(member) = kept;
    }

    void invoke(const char *slot) { QMetaObject::invokeMethod(dialog, slot, Qt::DirectConnection); }
    void answer(const char *call) { world.sdk.answer(QByteArray("MDSV_STKSrv_") + call, FAILED); }

    QStringList end()
    {
        for (const QString &problem : world.end()) {
            if (!problem.startsWith("This plugin does not support ")) // the offscreen platform, about itself
                problems << "problem: " + problem;
        }
        return problems;
    }

    InputWorld world;
    support::Trace trace;
    QStringList problems;
    STKInputDlg *dialog;
};

using Scenes = QList<Scene<Stage>>;

Scene<Stage> scene(const QString &name, const std::function<void(Stage &)> &act)
{
    return {name, [=](Stage &s) {
                act(s);
                return QVariant();
            }};
}

/// With the frame built.
Scene<Stage> built(const QString &name, const std::function<void(Stage &)> &act)
{
    return scene(name, [=](Stage &s) {
        s.build();
        act(s);
    });
}

// ---------------------------------------------------------------- life and request

void addLife(Scenes *scenes)
{
    *scenes << scene("StkInputDlgInstance, the first call",
                     [](Stage &s) {
                         STKInputDlg::DestroyInstance();
                         s.trace.clear();
                         s.world.dialog = STKInputDlg::StkInputDlgInstance();
                     })
            << scene("StkInputDlgInstance, another call", [](Stage &) { STKInputDlg::StkInputDlgInstance(); })
            << scene("DestroyInstance", [](Stage &) { STKInputDlg::DestroyInstance(); })
            << scene("DestroyInstance, nothing there", [](Stage &s) {
                   STKInputDlg::DestroyInstance();
                   s.trace.clear();
                   STKInputDlg::DestroyInstance();
               });
}

void addRequest(Scenes *scenes)
{
    *scenes << scene("SetInputRequest", [](Stage &s) { s.dialog->SetInputRequest(inputRequest()); })
            << scene("SetInKeyRequest", [](Stage &s) { s.dialog->SetInKeyRequest(inputRequest()); })
            << built("SetInKeyRequest, a frame up, with a time-out",
                     [](Stage &s) {
                         StkInKeyRequest request = inputRequest();
                         request.nDuration = 5;
                         s.dialog->SetInKeyRequest(request);
                         s.trace.result(s.world.timer()->isActive() ? s.world.timer()->interval() : -1);
                     })
            << scene("SetBtnClicked", [](Stage &s) { s.dialog->SetBtnClicked(true); })
            << Scene<Stage>{"GetBtnClicked", [](Stage &s) { return s.dialog->GetBtnClicked(); }}
            << Scene<Stage>{"GetLastError", [](Stage &s) { return s.dialog->GetLastError(); }}
            << Scene<Stage>{"IsDialogCreated, no", [](Stage &s) { return s.dialog->IsDialogCreated(); }}
            << Scene<Stage>{"IsDialogCreated, yes",
                            [](Stage &s) {
                                s.build();
                                return s.dialog->IsDialogCreated();
                            }}
            << scene("DropRequest, none is up", [](Stage &s) { s.dialog->DropRequest(); })
            << built("DropRequest", [](Stage &s) { s.dialog->DropRequest(); })
            << built("AssignNULL", [](Stage &s) { (s.dialog->*(&InputPeek::AssignNULL))(); })
            << Scene<Stage>{"tr", [](Stage &s) {
                                QString (STKInputDlg::*const translate)(QString) const = &InputPeek::tr;
                                return (s.dialog->*translate)("KEY");
                            }};
}

// ---------------------------------------------------------------- the frame

template <class... Members>
void addMissing(Scenes *scenes, const QString &name, void (STKInputDlg::*run)(), Members... members)
{
    *scenes << built(name, [=](Stage &s) { (s.dialog->*run)(); });
    (void)std::initializer_list<int>{
        (*scenes << built(name + ", without " + members.first,
                          [=](Stage &s) { s.without(members.second, [&] { (s.dialog->*run)(); }); }),
         0)...};
}

template <class Member>
QPair<QString, Member STKInputDlg::*> missing(const char *name, Member STKInputDlg::*member)
{
    return {QString(name), member};
}

void addFrame(Scenes *scenes)
{
    const auto frame = missing("frame", &InputPeek::m_pInputExtendDlg);
    const auto widget = missing("main widget", &InputPeek::m_pMainWidget);
    const auto ok = missing("OK", &InputPeek::m_pBtnOk);
    const auto cancel = missing("Cancel", &InputPeek::m_pBtnCancel);
    const auto label = missing("label", &InputPeek::m_pLabelText);
    const auto field = missing("field", &InputPeek::m_pLineEditInput);
    *scenes << Scene<Stage>{"initUI", [](Stage &s) {
                                const bool result = (s.dialog->*(&InputPeek::initUI))(s.world.host);
                                return QVariant(result);
                            }};
    addMissing(scenes, "SetStkInputUiText", &InputPeek::SetStkInputUiText, frame, ok, cancel);
    addMissing(scenes, "setStkInputObjectName", &InputPeek::setStkInputObjectName, frame, widget, ok, cancel, label,
               field);
    addMissing(scenes, "setInitSetting", &InputPeek::setInitSetting, label, field, ok);
    *scenes << built("setInitSetting, digits only", [](Stage &s) {
        s.world.at(&InputPeek::m_stInKeyRequest).nInputType = 2;
        (s.dialog->*(&InputPeek::setInitSetting))();
    }) << scene("ShowStkInputDlg, OK", [](Stage &s) {
        s.show([&] {
            QTest::keyClick(s.world.field(), Qt::Key_X);
            s.world.ok()->click();
        });
    });
    *scenes << scene("ShowStkInputDlg, over another", [](Stage &s) {
        const auto second = [&] { s.dialog->ShowStkInputDlg(s.world.host); };
        const auto leaveBoth = [&] { s.world.cancel()->click(); };
        if (!s.world.show(QList<std::function<void()>>{second, leaveBoth}))
            s.problems << "problem: a dialog did not appear, or did not close";
    });
}

void closeFrame(Stage &s, STKInputExtendDlg *frame)
{
    QCloseEvent event;
    (frame->*(&InputFramePeek::closeEvent))(&event);
    s.trace.result(event.isAccepted() ? "accepted" : "ignored");
}

void addFrameEvents(Scenes *scenes)
{
    *scenes << scene("STKInputExtendDlg without a dialog: reject, closeEvent", [](Stage &s) {
        STKInputExtendDlg frame(nullptr, Qt::WindowCloseButtonHint, 1);
        frame.reject();
        closeFrame(s, &frame);
    }) << scene("STKInputExtendDlg::closeEvent", [](Stage &s) {
        s.show([&] {
            s.trace.clear();
            s.world.frame()->close();
        });
    }) << scene("STKInputExtendDlg::closeEvent, after a button", [](Stage &s) {
        s.show([&] {
            s.trace.clear();
            s.world.at(&InputPeek::m_bBtnClicked) = true;
            s.world.frame()->close();
        });
    }) << scene("STKInputExtendDlg::reject", [](Stage &s) {
        s.show([&] {
            s.trace.clear();
            s.world.frame()->reject();
        });
    });
}

// ---------------------------------------------------------------- the answer

void addButton(Scenes *scenes, const QString &name, const char *slot)
{
    for (bool key : {false, true}) {
        const QString kind = key ? ", GET INKEY" : ", GET INPUT";
        const char *const call = key ? "AnswerInKey" : "AnswerInput";
        for (bool refused : {false, true}) {
            *scenes << scene(name + kind + (refused ? ", refused" : ""), [=](Stage &s) {
                if (key)
                    s.dialog->SetInKeyRequest(inputRequest());
                s.build();
                s.world.field()->setText("x");
                if (refused)
                    s.answer(call);
                s.trace.clear();
                s.invoke(slot);
                s.trace.result(s.world.at(&InputPeek::m_nLastError));
            });
        }
    }
    *scenes << scene(name + ", no frame", [=](Stage &s) { s.invoke(slot); })
            << built(name + ", without logic",
                     [=](Stage &s) { s.without(&InputPeek::m_pStkLogic, [&] { s.invoke(slot); }); });
}

void addAnswers(Scenes *scenes)
{
    addButton(scenes, "onButtonClickOk", "onButtonClickOk");
    *scenes << built("onButtonClickOk, without field",
                     [](Stage &s) { s.without(&InputPeek::m_pLineEditInput, [&] { s.invoke("onButtonClickOk"); }); });
    addButton(scenes, "onButtonClickCancel", "onButtonClickCancel");
    *scenes << built("CloseDlg", [](Stage &s) { s.dialog->CloseDlg(); })
            << scene("CloseDlg, no frame", [](Stage &s) { s.dialog->CloseDlg(); })
            << built("onTimerTimeOut", [](Stage &s) { s.invoke("onTimerTimeOut"); })
            << scene("onTimerTimeOut, no timer", [](Stage &s) { s.invoke("onTimerTimeOut"); })
            << built("onTextEdited",
                     [](Stage &s) {
                         QMetaObject::invokeMethod(s.dialog, "onTextEdited", Q_ARG(QString, "x"));
                         s.trace.result(s.world.ok()->isEnabled() ? "OK enabled" : "OK disabled");
                     })
            << scene("onTextEdited, no frame",
                     [](Stage &s) { QMetaObject::invokeMethod(s.dialog, "onTextEdited", Q_ARG(QString, "x")); });
}
} // namespace

QStringList inputDialogTraces()
{
    Scenes scenes;
    addLife(&scenes);
    addRequest(&scenes);
    addFrame(&scenes);
    addFrameEvents(&scenes);
    addAnswers(&scenes);
    return played(scenes);
}
