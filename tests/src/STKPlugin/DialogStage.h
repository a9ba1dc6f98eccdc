#ifndef TESTS_DIALOGSTAGE_H
#define TESTS_DIALOGSTAGE_H

#include "CommandWorld.h"
#include "InputWorld.h"
#include "Scenes.h"

#include "support/FakeClock.h"
#include "support/ModalDriver.h"
#include "support/Trace.h"

#include <QtCore/QTemporaryDir>

/// The window's controller and its window, for scenes. Command 9 is present; the tone folder has tones 3 and 8.
struct DialogStage {
    DialogStage();

    /// Builds the window and waits until it is on the screen.
    void open();

    /// What was traced so far is forgotten.
    void begin();

    void answer(const char *function, int status) { world.sdk.answer(QByteArray("MDSV_STKSrv_") + function, status); }

    /// Lets the controller's pointer be null while `act` runs.
    template <class Member>
    void without(Member STKDialog::*member, const std::function<void()> &act)
    {
        const Member kept = world.at(member);
        world.at(member) = nullptr;
        act();
        world.at(member) = kept;
    }

    /// Runs `act` and meanwhile acts in the modal frames that appear, one after the other.
    void inFrames(const QList<std::function<void(QWidget *)>> &steps, const std::function<void()> &act);

    QStringList end();

    support::FakeClock clock; ///< in the midst of a minute, whose end would end the waiter's waits
    DialogWorld world;
    support::Trace trace;
    QTemporaryDir folder;
    QStringList problems;
    QList<QPointer<STKThread>> threads; ///< of further controllers: what they leave behind
    STKDialog *dialog;
};

using DialogScene = Scene<DialogStage>;
using DialogScenes = QList<DialogScene>;

/// A scene in the open window.
DialogScene inWindow(const QString &name, const std::function<void(DialogStage &)> &act);

/// A scene before any window.
DialogScene noWindow(const QString &name, const std::function<void(DialogStage &)> &act);

#endif // TESTS_DIALOGSTAGE_H
