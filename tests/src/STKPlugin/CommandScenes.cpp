// STKDialog's handlers of the commands: texts, the silent ones, tones, questions.
#include "DialogStage.h"

#include "core/WsSound.h"

using command::leave;

namespace
{
const int FAILED = 7;
const int AUTO = 0;
const int USER = 1;

/// A slot of the open window, and the same without logic.
void addSlot(DialogScenes *scenes, const QString &name, void (STKDialog::*run)())
{
    *scenes << inWindow(name, [=](DialogStage &s) { (s.dialog->*run)(); })
            << inWindow(name + ", without logic",
                        [=](DialogStage &s) { s.without(&DialogPeek::m_pStkLogic, [&] { (s.dialog->*run)(); }); });
}

void addRefused(DialogScenes *scenes, const QString &name, void (STKDialog::*run)(), const char *call)
{
    *scenes << inWindow(name + ", refused: " + call, [=](DialogStage &s) {
        s.answer(call, FAILED);
        (s.dialog->*run)();
    });
}

// ---------------------------------------------------------------- DISPLAY TEXT

/// The text "Hello" is shown and left in a way of command::leave().
void showText(DialogStage &s, int mode, int seconds, const QString &way)
{
    s.world.sdk.setPrompt("Hello", mode, seconds);
    s.inFrames({[&](QWidget *frame) { leave(frame, way); }}, [&] { s.dialog->onSTKDisplayText(); });
}

void tick(DialogStage &s, int times)
{
    for (int i = 0; i < times; ++i)
        s.dialog->onMessageTimeOut();
}

void addText(DialogScenes *scenes)
{
    for (const char *way : {"IDS_OK", "IDS_CANCEL", "close button"}) {
        *scenes << inWindow(QString("onSTKDisplayText, for the user, left by ") + way,
                            [=](DialogStage &s) { showText(s, USER, 0, way); })
                << inWindow(QString("onSTKDisplayText, clears itself, left by ") + way,
                            [=](DialogStage &s) { showText(s, AUTO, 9, way); });
    }
    *scenes << inWindow("onSTKDisplayText, clears itself after 2 s", [](DialogStage &s) {
        s.world.sdk.setPrompt("Hello", AUTO, 2);
        s.inFrames({[&](QWidget *) { tick(s, 3); }}, [&] { s.dialog->onSTKDisplayText(); });
    }) << inWindow("onSTKDisplayText, clears itself after the default time", [](DialogStage &s) {
        s.world.sdk.setPrompt("Hello", AUTO, 0);
        s.inFrames({[&](QWidget *) { tick(s, 4); }}, [&] { s.dialog->onSTKDisplayText(); });
    }) << noWindow("onSTKDisplayText, for the user, no window", [](DialogStage &s) {
        showText(s, USER, 0, "IDS_OK");
    }) << noWindow("onSTKDisplayText, clears itself, no window", [](DialogStage &s) {
        s.world.sdk.setPrompt("Hello", AUTO, 2);
        s.dialog->onSTKDisplayText();
    }) << inWindow("onSTKDisplayText, the response refused", [](DialogStage &s) {
        s.answer("SendNoDataResponse", FAILED);
        showText(s, USER, 0, "IDS_OK");
    }) << inWindow("onSTKDisplayText, without logic", [](DialogStage &s) {
        s.without(&DialogPeek::m_pStkLogic, [&] { s.dialog->onSTKDisplayText(); });
    });
    addRefused(scenes, "onSTKDisplayText", &STKDialog::onSTKDisplayText, "GetPromptText");
}

void addMessage(DialogScenes *scenes)
{
    for (const char *way : {"IDS_OK", "IDS_CANCEL", "close button", "Escape"}) {
        *scenes << DialogScene{QString("showTimeMessageBox, left by ") + way, [=](DialogStage &s) {
                                   int outcome = 0;
                                   s.inFrames({[=](QWidget *frame) { leave(frame, way); }},
                                              [&] { outcome = s.dialog->showTimeMessageBox("Hello"); });
                                   return QVariant("0x" + QString::number(outcome, 16));
                               }};
    }
    *scenes << inWindow("onMessageTimeOut, no timer", [](DialogStage &s) {
        tick(s, 1);
    }) << inWindow("onMessageTimeOut, no frame", [](DialogStage &s) {
        showText(s, AUTO, 2, "IDS_OK");
        s.trace.clear();
        tick(s, 1);
    }) << inWindow("onMessageTimeOut, no OK button", [](DialogStage &s) {
        s.world.sdk.setPrompt("Hello", AUTO, 2);
        const auto act = [&](QWidget *) {
            s.trace.clear();
            s.world.at(&DialogPeek::m_pMsgBtnOk) = nullptr;
            tick(s, 1);
        };
        s.inFrames({act}, [&] { s.dialog->onSTKDisplayText(); });
    });
}

// ---------------------------------------------------------------- the silent ones

void addSilent(DialogScenes *scenes)
{
    addSlot(scenes, "onSTKSetupCall", &STKDialog::onSTKSetupCall);
    addRefused(scenes, "onSTKSetupCall", &STKDialog::onSTKSetupCall, "SendNoDataResponse");
    addSlot(scenes, "onSTKSendSMS", &STKDialog::onSTKSendSMS);
    addSlot(scenes, "onSTKSendSS", &STKDialog::onSTKSendSS);
    addSlot(scenes, "onSTKSendUSSD", &STKDialog::onSTKSendUSSD);
    addSlot(scenes, "onSTKRefresh", &STKDialog::onSTKRefresh);
    addRefused(scenes, "onSTKRefresh", &STKDialog::onSTKRefresh, "GetRefreshInfo");
    addSlot(scenes, "onSTKLaunchBrowser, no address", &STKDialog::onSTKLaunchBrowser);
    addRefused(scenes, "onSTKLaunchBrowser", &STKDialog::onSTKLaunchBrowser, "GetLaunchBrowser");
    addRefused(scenes, "onSTKLaunchBrowser", &STKDialog::onSTKLaunchBrowser, "SendNoDataResponse");
    for (bool opens : {true, false}) {
        const QString suffix = opens ? "" : ", which the host does not open";
        *scenes << inWindow("onSTKLaunchBrowser, an address" + suffix, [=](DialogStage &s) {
            s.world.sdk.setBrowser(2, "http://localhost/");
            s.world.core.setOpenUrlResult(opens);
            s.dialog->onSTKLaunchBrowser();
        });
    }
    addSlot(scenes, "onSTKSetupIdleModeText", &STKDialog::onSTKSetupIdleModeText);
    addRefused(scenes, "onSTKSetupIdleModeText", &STKDialog::onSTKSetupIdleModeText, "GetIdleModePrompt");
    addRefused(scenes, "onSTKSetupIdleModeText", &STKDialog::onSTKSetupIdleModeText, "SendNoDataResponse");
}

// ---------------------------------------------------------------- PLAY TONE

void play(DialogStage &s, int tone)
{
    s.world.sdk.setTone(tone, 2, "Ring");
    s.dialog->onSTKPlayTone();
}

void addToneFiles(DialogScenes *scenes)
{
    *scenes << inWindow("onSTKPlayTone", [](DialogStage &s) {
        play(s, 3);
    }) << inWindow("onSTKPlayTone, the substitute", [](DialogStage &s) {
        play(s, 12);
    }) << inWindow("onSTKPlayTone, no file", [](DialogStage &s) {
        s.world.core.setPluginLibraryPath("/nowhere");
        play(s, 3);
    }) << inWindow("onSTKPlayTone, while another sounds", [](DialogStage &s) {
        play(s, 3);
        s.trace.clear();
        play(s, 8);
    }) << inWindow("onSTKPlayTone, after one that did not play", [](DialogStage &s) {
        s.world.core.setPlayResult(false);
        play(s, 3);
        s.trace.clear();
        play(s, 8);
    }) << inWindow("onSTKPlayTone, it does not play", [](DialogStage &s) {
        s.world.core.setPlayResult(false);
        play(s, 3);
    });
}

void addTones(DialogScenes *scenes)
{
    addToneFiles(scenes);
    for (const char *call : {"GetPlayTone", "SendNoDataResponse"})
        *scenes << inWindow(QString("onSTKPlayTone, refused: ") + call, [=](DialogStage &s) {
            s.answer(call, FAILED);
            play(s, 3);
        });
    *scenes << inWindow("onSTKPlayTone, without logic", [](DialogStage &s) {
        s.without(&DialogPeek::m_pStkLogic, [&] { play(s, 3); });
    }) << noWindow("onSTKPlayTone, no window", [](DialogStage &s) {
        play(s, 3);
    }) << inWindow("playTone, no file name", [](DialogStage &s) {
        s.dialog->playTone(QString());
    }) << inWindow("stopTone, no player", [](DialogStage &s) {
        s.dialog->stopTone();
    }) << inWindow("stopTone, a player that is silent", [](DialogStage &s) {
        s.world.core.setPlayResult(false);
        play(s, 3);
        s.trace.clear();
        s.dialog->stopTone();
    }) << inWindow("onSTKPlayToneTimeOut", [](DialogStage &s) {
        play(s, 3);
        s.trace.clear();
        s.dialog->onSTKPlayToneTimeOut();
    }) << noWindow("onSTKPlayToneTimeOut, no window", [](DialogStage &s) {
        s.dialog->onSTKPlayToneTimeOut();
    }) << inWindow("onPlayingFinished", [](DialogStage &s) {
        play(s, 3);
        s.trace.clear();
        support::CoreDouble::finish(DialogPeek::m_pWsSoundSTK);
    }) << noWindow("onPlayingFinished, no window", [](DialogStage &s) { s.dialog->onPlayingFinished(); });
}

// ---------------------------------------------------------------- GET INPUT and GET INKEY

/// "x" is typed and the dialog left in the ways given, one after the other.
void type(DialogStage &s, const QStringList &ways, void (STKDialog::*run)())
{
    s.world.sdk.setInput("Name?", 0, 1, 1, 9, 0, "");
    const auto act = [&](QWidget *frame) {
        QTest::keyClick(frame->findChild<ExtendLineEdit *>(), Qt::Key_X);
        for (const QString &way : ways)
            leave(frame, way);
    };
    s.inFrames({act}, [&] { (s.dialog->*run)(); });
}

void addTyped(DialogScenes *scenes, const QString &name, void (STKDialog::*run)(), const char *read, const char *answer)
{
    for (const char *way : {"IDS_STK_BTN_OK", "IDS_STK_BTN_CANCEL", "close", "Escape"}) {
        *scenes << inWindow(name + ", left by " + way, [=](DialogStage &s) { type(s, {way}, run); });
        if (way == QString("IDS_STK_BTN_OK"))
            continue;
        *scenes << inWindow(name + ", left by " + way + ", refused", [=](DialogStage &s) {
            s.answer(answer, FAILED);
            type(s, {way}, run);
        });
    }
    *scenes << inWindow(name + ", OK refused, then Cancel", [=](DialogStage &s) {
        s.world.sdk.answerOnce(QByteArray("MDSV_STKSrv_") + answer, FAILED);
        type(s, {"IDS_STK_BTN_OK", "IDS_STK_BTN_CANCEL"}, run);
    }) << inWindow(name + ", OK refused, then the frame's close", [=](DialogStage &s) {
        s.world.sdk.answerOnce(QByteArray("MDSV_STKSrv_") + answer, FAILED);
        type(s, {"IDS_STK_BTN_OK", "close"}, run);
    }) << noWindow(name + ", no window", [=](DialogStage &s) {
        type(s, {"IDS_STK_BTN_OK"}, run);
    }) << inWindow(name + ", without logic", [=](DialogStage &s) {
        s.without(&DialogPeek::m_pStkLogic, [&] { (s.dialog->*run)(); });
    }) << inWindow(name + ", without the input dialog", [=](DialogStage &s) {
        s.without(&DialogPeek::m_pStkInputDlg, [&] { (s.dialog->*run)(); });
    });
    addRefused(scenes, name, run, read);
}

void askYesNo(DialogStage &s, int duration, int result)
{
    s.world.sdk.setInKey("Sure?", 1, 0, duration);
    s.world.core.answerMessage(result);
    s.dialog->onSTKGetInkey();
}

void addYesNo(DialogScenes *scenes)
{
    *scenes << inWindow("onSTKGetInkey, yes", [](DialogStage &s) {
        askYesNo(s, 0, QMessageBox::Ok);
    }) << inWindow("onSTKGetInkey, no", [](DialogStage &s) {
        askYesNo(s, 0, QMessageBox::Cancel);
    }) << inWindow("onSTKGetInkey, yes, with a time-out", [](DialogStage &s) {
        askYesNo(s, 60000, QMessageBox::Ok);
    }) << inWindow("onSTKGetInkey, closed by its timer", [](DialogStage &s) {
        s.world.sdk.setInKey("Sure?", 1, 0, 60000);
        s.world.core.onShowMessage([&](QDialog *box) {
            box->setVisible(true);
            s.dialog->onSTKTimeOut();
            return box->isVisible() ? int(QMessageBox::Ok) : 0;
        });
        s.dialog->onSTKGetInkey();
    }) << inWindow("onSTKGetInkey, yes, refused", [](DialogStage &s) {
        s.answer("AnswerInKey", FAILED);
        askYesNo(s, 0, QMessageBox::Ok);
    }) << noWindow("onSTKGetInkey, yes or no, no window", [](DialogStage &s) { askYesNo(s, 0, QMessageBox::Ok); });
}

// ---------------------------------------------------------------- one over another, and the end of everything

/// A text in `mode` comes while one in `earlier` is shown; OK is pressed.
DialogScene textOverText(const QString &name, int earlier, int mode)
{
    return inWindow("onSTKDisplayText, " + name, [=](DialogStage &s) {
        const auto second = [&](QWidget *) {
            s.world.sdk.setPrompt("Second", mode, 5);
            s.dialog->onSTKDisplayText();
        };
        s.world.sdk.setPrompt("First", earlier, 9);
        s.inFrames({second, [](QWidget *frame) { leave(frame, "IDS_OK"); }}, [&] { s.dialog->onSTKDisplayText(); });
    });
}

void addNested(DialogScenes *scenes)
{
    *scenes << textOverText("for the user, over one for the user", USER, USER)
            << textOverText("for the user, over one that clears itself", AUTO, USER)
            << textOverText("clears itself, over one that clears itself", AUTO, AUTO)
            << inWindow("onSTKGetInput, over another",
                        [](DialogStage &s) {
                            s.world.sdk.setInput("Name?", 0, 1, 1, 9, 0, "");
                            const auto second = [&](QWidget *) { s.dialog->onSTKGetInput(); };
                            const auto answer = [](QWidget *frame) {
                                QTest::keyClick(frame->findChild<ExtendLineEdit *>(), Qt::Key_X);
                                leave(frame, "IDS_STK_BTN_OK");
                            };
                            s.inFrames({second, answer}, [&] { s.dialog->onSTKGetInput(); });
                        })
            << inWindow("onSTKGetInkey, yes or no, over another",
                        [](DialogStage &s) {
                            int boxes = 0;
                            s.world.core.onShowMessage([&](QDialog *) {
                                if (++boxes == 1)
                                    s.dialog->onSTKGetInkey();
                                return int(QMessageBox::Ok);
                            });
                            s.world.sdk.setInKey("Sure?", 1, 0, 0);
                            s.dialog->onSTKGetInkey();
                        })
            << inWindow("onSTKGetInkey, yes, the timer running", [](DialogStage &s) {
                   s.world.at(&DialogPeek::m_pStkTimer)->start(60000);
                   askYesNo(s, 60000, QMessageBox::Ok);
               });
}

/// The plug-in is deleted while the library takes the answer: nothing is touched after it.
void addDestroyed(DialogScenes *scenes)
{
    const struct {
        const char *name;
        const char *call;
        void (*run)(DialogStage &);
    } ROWS[] = {
        {"onSTKDisplayText", "SendNoDataResponse", [](DialogStage &s) { showText(s, USER, 0, "IDS_OK"); }},
        {"onSTKSetupCall", "SendNoDataResponse", [](DialogStage &s) { s.dialog->onSTKSetupCall(); }},
        {"onSTKSetupIdleModeText", "SendNoDataResponse", [](DialogStage &s) { s.dialog->onSTKSetupIdleModeText(); }},
        {"onSTKPlayTone", "SendNoDataResponse", [](DialogStage &s) { play(s, 3); }},
        {"onSTKGetInput", "AnswerInput",
         [](DialogStage &s) {
             type(s, {"IDS_STK_BTN_OK", "close"}, &STKDialog::onSTKGetInput);
         }},
        {"onSTKGetInkey, yes", "AnswerInKey", [](DialogStage &s) { askYesNo(s, 0, QMessageBox::Ok); }},
    };
    for (const auto &row : ROWS) {
        *scenes << inWindow(
            QString("%1, the plug-in deleted within %2").arg(row.name, row.call), [row](DialogStage &s) {
                s.world.sdk.onCall(QByteArray("MDSV_STKSrv_") + row.call, [&] { command::destroy(s.world); });
                row.run(s);
            });
    }
}
} // namespace

QStringList commandTraces()
{
    DialogScenes scenes;
    addText(&scenes);
    addMessage(&scenes);
    addSilent(&scenes);
    addTones(&scenes);
    addTyped(&scenes, "onSTKGetInput", &STKDialog::onSTKGetInput, "GetInputRequest", "AnswerInput");
    addTyped(&scenes, "onSTKGetInkey", &STKDialog::onSTKGetInkey, "GetInKeyRequest", "AnswerInKey");
    addYesNo(&scenes);
    addNested(&scenes);
    addDestroyed(&scenes);
    return played(scenes);
}
