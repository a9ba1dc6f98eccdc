// STKThread: the wait, on a clock that moves only while it sleeps.
#include "Scenes.h"

#include "support/FakeClock.h"
#include "support/Peek.h"
#include "support/SdkDouble.h"
#include "support/Trace.h"

#include "STKPlugin/STKLogic.h"
#include "STKPlugin/STKThread.h"

using support::FakeClock;
using support::peek;

namespace
{
const QTime START(9, 30, 15);

struct Peek : STKThread {
    using STKThread::m_pStkLogic;
};

struct LogicPeek : STKLogic {
    using STKLogic::m_pStkLogicInst;
};

struct Stage {
    Stage() : trace(log), thread(new STKThread) { begin(); }

    void begin()
    {
        trace.follow(thread);
        trace.clear();
    }

    /// Runs the wait to its end; its lines come from its own thread, and all of them count.
    QVariant run(int seconds, std::function<void(int)> onNap = nullptr)
    {
        FakeClock clock(START);
        clock.onNap(onNap);
        thread->SetTimeOut(seconds);
        trace.clear();
        thread->start(QThread::InheritPriority);
        const bool ended = thread->wait(10000);
        elsewhere = trace.linesElsewhere();
        return ended ? QString("%1 naps").arg(clock.naps()) : QString("it did not end");
    }

    QStringList end()
    {
        delete thread;
        STKLogic::DestroyInst();
        return elsewhere + sdk.faults() + log.warnings();
    }

    support::SdkDouble sdk;
    support::LogCapture log;
    support::Trace trace;
    STKThread *thread;
    QStringList elsewhere;
};

using Scenes = QList<Scene<Stage>>;

void addLife(Scenes *scenes)
{
    *scenes << Scene<Stage>{"STKThread",
                            [](Stage &s) {
                                delete s.thread;
                                s.trace.clear();
                                s.thread = new STKThread;
                                return peek(s.thread, &Peek::m_pStkLogic) == LogicPeek::m_pStkLogicInst
                                           ? "holds the logic"
                                           : "does not hold it";
                            }}
            << Scene<Stage>{"~STKThread",
                            [](Stage &s) {
                                delete s.thread;
                                s.thread = nullptr;
                                return LogicPeek::m_pStkLogicInst ? "the logic is there" : "the logic is gone";
                            }}
            << Scene<Stage>{"~STKThread, without logic",
                            [](Stage &s) {
                                peek(s.thread, &Peek::m_pStkLogic) = nullptr;
                                delete s.thread;
                                s.thread = nullptr;
                                return LogicPeek::m_pStkLogicInst ? "the logic is there" : "the logic is gone";
                            }}
            << Scene<Stage>{"SetTimeOut, 20",
                            [](Stage &s) {
                                s.thread->SetTimeOut(20);
                                return QVariant();
                            }}
            << Scene<Stage>{"SetTimeOut, -1", [](Stage &s) {
                                s.thread->SetTimeOut(-1);
                                return QVariant();
                            }};
}

void addRuns(Scenes *scenes)
{
    *scenes << Scene<Stage>{"run, time-out 0", [](Stage &s) { return s.run(0); }}
            << Scene<Stage>{"run, time-out -1", [](Stage &s) { return s.run(-1); }}
            << Scene<Stage>{"run, without logic",
                            [](Stage &s) {
                                peek(s.thread, &Peek::m_pStkLogic) = nullptr;
                                return s.run(1);
                            }}
            << Scene<Stage>{"run, the response is there",
                            [](Stage &s) {
                                LogicPeek::m_pStkLogicInst->SetResponseVar(true);
                                return s.run(20);
                            }}
            << Scene<Stage>{"run, the response comes",
                            [](Stage &s) {
                                return s.run(20, [](int nap) {
                                    if (nap == 3)
                                        STKLogic::OnSTKEventCB(0, nullptr);
                                });
                            }}
            << Scene<Stage>{"run, the time is over", [](Stage &s) { return s.run(2); }}
            << Scene<Stage>{"run, a stop is asked for", [](Stage &s) {
                                STKThread *thread = s.thread;
                                return s.run(20, [thread](int nap) {
                                    if (nap == 2)
                                        thread->RequestStop();
                                });
                            }};
}
} // namespace

QStringList threadTraces()
{
    Scenes scenes;
    addLife(&scenes);
    addRuns(&scenes);
    return played(scenes);
}
