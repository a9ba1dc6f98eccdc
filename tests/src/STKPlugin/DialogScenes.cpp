// STKDialog's own life, its window with frame and table, menus, waits and timers.
#include "DialogStage.h"

#include <QtGui/QCloseEvent>
#include <QtGui/QKeyEvent>
#include <QtGui/QMouseEvent>

namespace
{
const int FAILED = 7;

using Handler = QPair<QString, void (STKDialog::*)()>;

struct TablePeek : STKTableWidget {
    using STKTableWidget::keyPressEvent;
    using STKTableWidget::m_pStkDialog;
    using STKTableWidget::mousePressEvent;
    using STKTableWidget::mouseReleaseEvent;
};

struct FramePeek : STKExtendDlg {
    using STKExtendDlg::closeEvent;
};

QVariant truth(bool value)
{
    return value;
}

/// A scene whose result counts.
DialogScene answering(const QString &name, bool window, const std::function<QVariant(DialogStage &)> &act)
{
    return {name, [=](DialogStage &s) {
                if (window)
                    s.open();
                return act(s);
            }};
}

void selectRow(DialogStage &s, int row)
{
    s.world.table()->setCurrentCell(row, 0);
    s.trace.clear();
}

/// SELECT ITEM 9 has come, and its second row is chosen.
void inSubMenu(DialogStage &s)
{
    s.world.sdk.raiseStk(MDSV_STKTYPE_SELECT_ITEM, 9);
    selectRow(s, 1);
}

// ---------------------------------------------------------------- life

void addLife(DialogScenes *scenes)
{
    *scenes << noWindow("Instance, the first call", [](DialogStage &s) {
        command::destroy(s.world);
        s.trace.clear();
        s.world.dialog = STKDialog::Instance();
        s.world.logic = STKLogic::CreateInstance();
        s.threads << s.world.thread();
    }) << noWindow("Instance, another call", [](DialogStage &) {
        STKDialog::Instance();
    }) << noWindow("Destroy", [](DialogStage &s) {
        command::destroy(s.world);
    }) << noWindow("Destroy, nothing there", [](DialogStage &s) {
        command::destroy(s.world);
        s.trace.clear();
        STKDialog::Destroy();
    }) << inWindow("Destroy, while the waiter runs", [](DialogStage &s) {
        s.world.startWait();
        s.trace.clear();
        command::destroy(s.world);
    }) << inWindow("Destroy, while a tone sounds", [](DialogStage &s) {
        s.dialog->playTone("x.wav");
        s.trace.clear();
        command::destroy(s.world);
    }) << noWindow("unSDKRegisterEvent, without logic", [](DialogStage &s) {
        s.without(&DialogPeek::m_pStkLogic, [&] { s.dialog->unSDKRegisterEvent(); });
    });
}

// ---------------------------------------------------------------- the window

QVariant build(DialogStage &s)
{
    const bool built = s.dialog->initUI(s.world.host);
    return truth(built);
}

QVariant show(DialogStage &s)
{
    QRect rect;
    const bool shown = s.dialog->ShowStkDlg(s.world.host, rect);
    return truth(shown);
}

void addBuilding(DialogScenes *scenes, const QString &name, QVariant (*run)(DialogStage &))
{
    *scenes << answering(name, false, run) << answering(name + ", the main menu refused", false, [=](DialogStage &s) {
        s.answer("GetMainMenu", FAILED);
        return run(s);
    }) << answering(name + ", the release refused", false, [=](DialogStage &s) {
        s.answer("ReleaseMenus", FAILED);
        return run(s);
    }) << answering(name + ", without logic", false, [=](DialogStage &s) {
        QVariant result;
        s.without(&DialogPeek::m_pStkLogic, [&] { result = run(s); });
        return result;
    }) << answering(name + ", a second time", true, run);
}

/// An operation of the open window, and the same with one of its widgets missing.
template <class... Members>
void addMissing(DialogScenes *scenes, const QString &name, void (STKDialog::*run)(), Members... members)
{
    *scenes << inWindow(name, [=](DialogStage &s) { (s.dialog->*run)(); });
    (void)std::initializer_list<int>{
        (*scenes << inWindow(name + ", without " + members.first,
                             [=](DialogStage &s) { s.without(members.second, [&] { (s.dialog->*run)(); }); }),
         0)...};
}

template <class Member>
QPair<QString, Member STKDialog::*> missing(const char *name, Member STKDialog::*member)
{
    return {QString(name), member};
}

void addWindow(DialogScenes *scenes)
{
    addBuilding(scenes, "initUI", build);
    addBuilding(scenes, "ShowStkDlg", show);
    const auto frame = missing("frame", &DialogPeek::m_pExtendDlg);
    const auto widget = missing("main widget", &DialogPeek::m_pMainWidget);
    const auto back = missing("Back", &DialogPeek::m_pBtnBack);
    const auto select = missing("Select", &DialogPeek::m_pBtnSelect);
    const auto close = missing("Close", &DialogPeek::m_pBtnClose);
    const auto table = missing("table", &DialogPeek::m_pTableWidget);
    addMissing(scenes, "setStkObjectName", &STKDialog::setStkObjectName, frame, widget, back, select, close, table);
    addMissing(scenes, "SetStkUiText", &STKDialog::SetStkUiText, back, select, close);
    *scenes << answering("tr", false, [](DialogStage &s) { return s.dialog->tr(QString("KEY")); });
}

// ---------------------------------------------------------------- the frame

void closeFrame(DialogStage &s)
{
    s.trace.result(s.world.frame()->close() ? "closed" : "refused");
}

void addFrame(DialogScenes *scenes)
{
    *scenes << noWindow("STKExtendDlg without a dialog: reject, closeEvent",
                        [](DialogStage &s) {
                            STKExtendDlg frame(nullptr, Qt::WindowCloseButtonHint, 1);
                            frame.reject();
                            QCloseEvent event;
                            (frame.*(&FramePeek::closeEvent))(&event);
                            s.trace.result(event.isAccepted() ? "accepted" : "ignored");
                        })
            << inWindow("STKExtendDlg::reject", [](DialogStage &s) { s.world.frame()->reject(); })
            << inWindow("STKExtendDlg::reject, while the waiter runs",
                        [](DialogStage &s) {
                            s.world.startWait();
                            s.trace.clear();
                            s.world.frame()->reject();
                        })
            << inWindow("STKExtendDlg::closeEvent", closeFrame)
            << inWindow("STKExtendDlg::closeEvent, while the waiter runs",
                        [](DialogStage &s) {
                            s.world.startWait();
                            s.trace.clear();
                            closeFrame(s);
                        })
            << inWindow("STKExtendDlg::closeEvent, after Enter on a row",
                        [](DialogStage &s) {
                            selectRow(s, 0);
                            s.world.at(&DialogPeek::m_bEnterPressed) = true;
                            closeFrame(s);
                        })
            << inWindow("STKExtendDlg::closeEvent, after Enter on a row, the choice refused", [](DialogStage &s) {
                   selectRow(s, 0);
                   s.world.at(&DialogPeek::m_bEnterPressed) = true;
                   s.answer("SelectMenuItem", FAILED);
                   closeFrame(s);
               });
}

// ---------------------------------------------------------------- the table

void press(DialogStage &s, int key)
{
    QKeyEvent event(QEvent::KeyPress, key, Qt::NoModifier);
    (s.world.table()->*(&TablePeek::keyPressEvent))(&event);
    s.trace.result(event.isAccepted() ? "accepted" : "ignored");
}

/// A release of the left button on the second row, or below the last.
void release(DialogStage &s, bool onRow)
{
    STKTableWidget *table = s.world.table();
    const QPoint point = onRow ? table->visualItemRect(table->item(1, 0)).center()
                               : table->viewport()->rect().bottomLeft() + QPoint(20, -5);
    QMouseEvent event(QEvent::MouseButtonRelease, point, Qt::LeftButton, Qt::NoButton, Qt::NoModifier);
    (table->*(&TablePeek::mouseReleaseEvent))(&event);
}

void withoutDialog(DialogStage &s, const std::function<void()> &act)
{
    QPointer<STKDialog> &dialog = support::peek(s.world.table(), &TablePeek::m_pStkDialog);
    dialog = nullptr;
    act();
    dialog = s.dialog;
}

void withoutTable(DialogStage &s, const std::function<void(STKTableWidget *)> &act)
{
    STKTableWidget *table = s.world.table();
    s.without(&DialogPeek::m_pTableWidget, [&] { act(table); });
}

void addKeys(DialogScenes *scenes)
{
    *scenes << noWindow("STKTableWidget", [](DialogStage &) {
        STKTableWidget table(nullptr);
    }) << inWindow("keyPressEvent, no event", [](DialogStage &s) {
        (s.world.table()->*(&TablePeek::keyPressEvent))(nullptr);
    }) << inWindow("keyPressEvent, no dialog", [](DialogStage &s) {
        withoutDialog(s, [&] { press(s, Qt::Key_Return); });
    }) << inWindow("keyPressEvent, while the waiter runs", [](DialogStage &s) {
        s.world.startWait();
        s.trace.clear();
        press(s, Qt::Key_Down);
    }) << inWindow("keyPressEvent, Return without a table", [](DialogStage &s) {
        withoutTable(s, [](STKTableWidget *table) {
            QKeyEvent event(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
            (table->*(&TablePeek::keyPressEvent))(&event);
        });
    }) << inWindow("keyPressEvent, Return on a selected row", [](DialogStage &s) {
        selectRow(s, 1);
        press(s, Qt::Key_Return);
    }) << inWindow("keyPressEvent, Enter on no row", [](DialogStage &s) {
        press(s, Qt::Key_Enter);
    }) << inWindow("keyPressEvent, Down", [](DialogStage &s) {
        press(s, Qt::Key_Down);
    }) << inWindow("keyPressEvent, Backspace", [](DialogStage &s) { press(s, Qt::Key_Backspace); });
}

void addMouse(DialogScenes *scenes)
{
    *scenes << inWindow("mousePressEvent", [](DialogStage &s) {
        STKTableWidget *table = s.world.table();
        QMouseEvent event(QEvent::MouseButtonPress, table->visualItemRect(table->item(1, 0)).center(), Qt::LeftButton,
                          Qt::LeftButton, Qt::NoModifier);
        (table->*(&TablePeek::mousePressEvent))(&event);
    }) << inWindow("mouseReleaseEvent, on a row", [](DialogStage &s) {
        release(s, true);
    }) << inWindow("mouseReleaseEvent, below the rows", [](DialogStage &s) {
        release(s, false);
    }) << inWindow("mouseReleaseEvent, below the rows, no dialog", [](DialogStage &s) {
        withoutDialog(s, [&] { release(s, false); });
    }) << inWindow("mouseReleaseEvent, below the rows, no table", [](DialogStage &s) {
        withoutTable(s, [](STKTableWidget *table) {
            QMouseEvent event(QEvent::MouseButtonRelease, table->viewport()->rect().bottomLeft() + QPoint(20, -5),
                              Qt::LeftButton, Qt::NoButton, Qt::NoModifier);
            (table->*(&TablePeek::mouseReleaseEvent))(&event);
        });
    }) << inWindow("mouseReleaseEvent, below the rows, no Back button", [](DialogStage &s) {
        s.without(&DialogPeek::m_pBtnBack, [&] { release(s, false); });
    });
    *scenes << inWindow("mousePressEvent, while the waiter runs", [](DialogStage &s) {
        s.world.startWait();
        s.trace.clear();
        QMouseEvent event(QEvent::MouseButtonPress, QPoint(5, 5), Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
        (s.world.table()->*(&TablePeek::mousePressEvent))(&event);
        s.trace.result(event.isAccepted() ? "accepted" : "ignored");
    });
}

// ---------------------------------------------------------------- menus

/// An operation before any window, in it, and without logic.
void addPlain(DialogScenes *scenes, const QString &name, void (STKDialog::*run)())
{
    *scenes << inWindow(name, [=](DialogStage &s) { (s.dialog->*run)(); })
            << noWindow(name + ", no window", [=](DialogStage &s) { (s.dialog->*run)(); })
            << inWindow(name + ", without logic",
                        [=](DialogStage &s) { s.without(&DialogPeek::m_pStkLogic, [&] { (s.dialog->*run)(); }); });
}

/// An operation of the open window while the library refuses a call.
void addRefused(DialogScenes *scenes, const QString &name, void (STKDialog::*run)(), const QList<const char *> &calls)
{
    QStringList names;
    for (const char *call : calls)
        names << call;
    *scenes << inWindow(name + ", refused: " + names.join(", "), [=](DialogStage &s) {
        for (const char *call : calls)
            s.answer(call, FAILED);
        (s.dialog->*run)();
    });
}

void addMenus(DialogScenes *scenes)
{
    *scenes << answering("deleteTableItems", true, [](DialogStage &s) { return truth(s.dialog->deleteTableItems()); })
            << answering("deleteTableItems, no window", false,
                         [](DialogStage &s) { return truth(s.dialog->deleteTableItems()); });
    addPlain(scenes, "showMainMenu", &STKDialog::showMainMenu);
    addPlain(scenes, "showSubMenu", &STKDialog::showSubMenu);
    for (const Handler &handler : {Handler("onSTKSetupMenu", &STKDialog::onSTKSetupMenu),
                                   Handler("onShowMainMenu", &STKDialog::onShowMainMenu)}) {
        addPlain(scenes, handler.first, handler.second);
        addRefused(scenes, handler.first, handler.second, {"GetMainMenu"});
        addRefused(scenes, handler.first, handler.second, {"ReleaseMenus"});
    }
    addPlain(scenes, "onSTKSelItem", &STKDialog::onSTKSelItem);
    addRefused(scenes, "onSTKSelItem", &STKDialog::onSTKSelItem, {"GetSubMenu"});
    addRefused(scenes, "onSTKSelItem", &STKDialog::onSTKSelItem, {"ReleaseSubMenus"});
    *scenes << inWindow("onSTKSelItem, no title", [](DialogStage &s) {
        s.world.sdk.setSubMenu("", {{11, "Sport"}});
        s.dialog->onSTKSelItem();
    });
    *scenes << inWindow("onSTKSetupMenu, no title", [](DialogStage &s) {
        s.world.sdk.setMainMenu("", {{1, "Balance"}});
        s.dialog->onSTKSetupMenu();
    });
}

void addSelect(DialogScenes *scenes)
{
    const auto select = [](DialogStage &s) { s.dialog->onButtonClickSelect(); };
    *scenes << noWindow("onButtonClickSelect, no window", select)
            << inWindow("onButtonClickSelect, no current item", select)
            << inWindow("onButtonClickSelect, an item without text",
                        [=](DialogStage &s) {
                            s.world.table()->item(1, 0)->setText("");
                            selectRow(s, 1);
                            select(s);
                        })
            << inWindow("onButtonClickSelect, no menu was shown",
                        [=](DialogStage &s) {
                            selectRow(s, 1);
                            s.world.at(&DialogPeek::m_strMenuState) = "STK_UNKNOWN";
                            select(s);
                        })
            << inWindow("onButtonClickSelect, without logic",
                        [=](DialogStage &s) {
                            selectRow(s, 1);
                            s.without(&DialogPeek::m_pStkLogic, [&] { select(s); });
                        })
            << inWindow("onButtonClickSelect, main menu",
                        [=](DialogStage &s) {
                            selectRow(s, 2);
                            select(s);
                        })
            << inWindow("onButtonClickSelect, sub-menu",
                        [=](DialogStage &s) {
                            inSubMenu(s);
                            select(s);
                        })
            << inWindow("onButtonClickSelect, two items of one text",
                        [=](DialogStage &s) {
                            s.world.sdk.setMainMenu("Operator", {{1, "Same"}, {2, "Same"}, {3, "Other"}});
                            s.dialog->onSTKSetupMenu();
                            selectRow(s, 0);
                            select(s);
                        })
            << inWindow("onButtonClickSelect, main menu, the plug-in deleted within SelectMenuItem",
                        [=](DialogStage &s) {
                            selectRow(s, 2);
                            s.world.sdk.onCall("MDSV_STKSrv_SelectMenuItem", [&] { command::destroy(s.world); });
                            select(s);
                        })
            << inWindow("onCellDoubleClicked", [](DialogStage &s) {
                   selectRow(s, 0);
                   s.dialog->onCellDoubleClicked(2, 5);
               });
}

void addRefusedChoices(DialogScenes *scenes)
{
    for (bool readingFails : {false, true}) {
        const QString suffix = readingFails ? ", refused, and so is the main menu" : ", refused";
        const auto refuse = [=](DialogStage &s, const char *call) {
            s.answer(call, FAILED);
            if (readingFails)
                s.answer("GetMainMenu", FAILED);
        };
        *scenes << inWindow("onButtonClickSelect, main menu" + suffix, [=](DialogStage &s) {
            selectRow(s, 2);
            refuse(s, "SelectMenuItem");
            s.dialog->onButtonClickSelect();
        }) << inWindow("onButtonClickSelect, sub-menu" + suffix, [=](DialogStage &s) {
            inSubMenu(s);
            refuse(s, "SelectSubMenuItem");
            s.dialog->onButtonClickSelect();
        }) << inWindow("onButtonClickBack" + suffix, [=](DialogStage &s) {
            inSubMenu(s);
            refuse(s, "SelectSubMenuItem");
            s.dialog->onButtonClickBack();
        });
    }
}

void addBack(DialogScenes *scenes)
{
    *scenes << inWindow("onButtonClickBack", [](DialogStage &s) {
        inSubMenu(s);
        s.dialog->onButtonClickBack();
    }) << inWindow("onButtonClickBack, without logic", [](DialogStage &s) {
        s.without(&DialogPeek::m_pStkLogic, [&] { s.dialog->onButtonClickBack(); });
    }) << inWindow("subMenuSeleted, no item", [](DialogStage &s) {
        s.dialog->subMenuSeleted(nullptr);
    }) << inWindow("subMenuSeleted, without logic", [](DialogStage &s) {
        QTableWidgetItem item("Sport");
        s.without(&DialogPeek::m_pStkLogic, [&] { s.dialog->subMenuSeleted(&item); });
    }) << inWindow("subMenuSeleted, an item that the menu has not", [](DialogStage &s) {
        QTableWidgetItem item("Elsewhere");
        s.dialog->subMenuSeleted(&item);
    });
}

void addClose(DialogScenes *scenes)
{
    addPlain(scenes, "onButtonClickClose", &STKDialog::onButtonClickClose);
    addRefused(scenes, "onButtonClickClose", &STKDialog::onButtonClickClose, {"GetMainMenu"});
    *scenes << inWindow("onButtonClickClose, while the waiter runs", [](DialogStage &s) {
        s.world.startWait();
        s.trace.clear();
        s.dialog->onButtonClickClose();
    }) << inWindow("onButtonClickClose, after Enter on a row", [](DialogStage &s) {
        selectRow(s, 0);
        s.world.at(&DialogPeek::m_bEnterPressed) = true;
        s.dialog->onButtonClickClose();
    });
}

// ---------------------------------------------------------------- waits and timers

void addWaits(DialogScenes *scenes)
{
    for (int seconds : {-1, 0, 1, 20})
        *scenes << answering(QString("stkWaitforRespond, %1").arg(seconds), true,
                             [=](DialogStage &s) { return s.dialog->stkWaitforRespond(seconds); });
    *scenes << inWindow("stkWaitforRespond, without logic", [](DialogStage &s) {
        s.without(&DialogPeek::m_pStkLogic, [&] { s.dialog->stkWaitforRespond(20); });
    }) << inWindow("stkWaitforRespond, without waiter", [](DialogStage &s) {
        s.without(&DialogPeek::m_pStkThread, [&] { s.dialog->stkWaitforRespond(20); });
    }) << inWindow("onChangeCursor, a command came", [](DialogStage &s) {
        s.world.logic->SetResponseVar(true);
        s.trace.clear();
        s.dialog->onChangeCursor();
    }) << inWindow("onChangeCursor, no command came", [](DialogStage &s) {
        s.world.logic->SetResponseVar(false);
        s.trace.clear();
        s.dialog->onChangeCursor();
    }) << inWindow("onChangeCursor, no command came, the main menu refused", [](DialogStage &s) {
        s.world.logic->SetResponseVar(false);
        s.answer("GetMainMenu", FAILED);
        s.trace.clear();
        s.dialog->onChangeCursor();
    }) << inWindow("onChangeCursor, without logic", [](DialogStage &s) {
        s.without(&DialogPeek::m_pStkLogic, [&] { s.dialog->onChangeCursor(); });
    });
}

void addDevice(DialogScenes *scenes)
{
    const auto back = [](DialogStage &s) { s.dialog->onDeviceAvailable(true); };
    const auto lost = [](DialogStage &s) { s.dialog->onDeviceAvailable(false); };
    *scenes << inWindow("onDeviceAvailable, true", back)
            << inWindow("onDeviceAvailable, true, the main menu refused",
                        [=](DialogStage &s) {
                            s.answer("GetMainMenu", FAILED);
                            back(s);
                        })
            << inWindow("onDeviceAvailable, true, without logic",
                        [=](DialogStage &s) { s.without(&DialogPeek::m_pStkLogic, [&] { back(s); }); })
            << inWindow("onDeviceAvailable, false", lost)
            << inWindow("onDeviceAvailable, false, twice",
                        [=](DialogStage &s) {
                            lost(s);
                            lost(s);
                        })
            << noWindow("onDeviceAvailable, false, no window", lost);
}

void fire(DialogStage &s, const char *tag)
{
    s.world.at(&DialogPeek::m_strTimerType) = tag;
    s.dialog->onSTKTimeOut();
}

void addTimer(DialogScenes *scenes)
{
    *scenes << inWindow("onSTKTimeOut, STK_DEVICE_TIMER", [](DialogStage &s) {
        fire(s, "STK_DEVICE_TIMER");
    }) << inWindow("onSTKTimeOut, STK_DEVICE_TIMER, the input dialog open", [](DialogStage &s) {
        s.world.sdk.setInput("Name?", 0, 1, 1, 9, 0, "");
        const auto act = [&](QWidget *) {
            s.trace.clear();
            fire(s, "STK_DEVICE_TIMER");
        };
        s.inFrames({act}, [&] { s.dialog->onSTKGetInput(); });
    }) << inWindow("onSTKTimeOut, STK_MSGBOX_TIMER", [](DialogStage &s) {
        fire(s, "STK_MSGBOX_TIMER");
    }) << inWindow("onSTKTimeOut, STK_MSGBOX_TIMER, a question open", [](DialogStage &s) {
        QDialog question;
        DialogPeek::m_pMsgDialog = &question;
        question.setVisible(true);
        fire(s, "STK_MSGBOX_TIMER");
        s.trace.result(question.isVisible() ? "it is open" : "it is closed");
        s.trace.result(DialogPeek::m_pMsgDialog ? "known" : "forgotten");
        DialogPeek::m_pMsgDialog = nullptr;
    }) << inWindow("onSTKTimeOut, no tag", [](DialogStage &s) {
        fire(s, "");
    }) << noWindow("onSTKTimeOut, no window", [](DialogStage &s) { fire(s, "STK_DEVICE_TIMER"); });
}

void addEnd(DialogScenes *scenes)
{
    for (const Handler &handler : {Handler("onSTKEndSession", &STKDialog::onSTKEndSession),
                                   Handler("onCloseInputDlg", &STKDialog::onCloseInputDlg)}) {
        void (STKDialog::*const run)() = handler.second;
        addPlain(scenes, handler.first, run);
        for (bool refused : {false, true}) {
            const QString suffix = refused ? ", the input dialog open, its answer refused" : ", the input dialog open";
            *scenes << inWindow(handler.first + suffix, [=](DialogStage &s) {
                s.world.sdk.setInput("Name?", 0, 1, 1, 9, 0, "");
                const auto act = [&](QWidget *) {
                    s.trace.clear();
                    if (refused)
                        s.answer("AnswerInput", FAILED);
                    (s.dialog->*run)();
                };
                s.inFrames({act}, [&] { s.dialog->onSTKGetInput(); });
            });
        }
    }
}
} // namespace

QStringList dialogTraces()
{
    DialogScenes scenes;
    addLife(&scenes);
    addWindow(&scenes);
    addFrame(&scenes);
    addKeys(&scenes);
    addMouse(&scenes);
    addMenus(&scenes);
    addSelect(&scenes);
    addBack(&scenes);
    addRefusedChoices(&scenes);
    addClose(&scenes);
    addWaits(&scenes);
    addDevice(&scenes);
    addTimer(&scenes);
    addEnd(&scenes);
    return played(scenes);
}
