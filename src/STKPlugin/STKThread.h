#ifndef STKTHREAD_H
#define STKTHREAD_H

#include <QtCore/QThread>

#include <atomic>

class STKLogic;

/// Waits for the card's next command: polls the response flag of STKLogic ten times a second until it is set, the time
/// is over or a stop is asked for, and then emits ChangeCursor().
///
/// SetTimeOut() before each start(): a completed wait resets the time-out, and a run without one does nothing.
class STKThread : public QThread
{
    Q_OBJECT

public:
    STKThread();
    virtual ~STKThread();

    /// Time-out of the next run, or of the one that is running, in seconds. User-interface thread.
    void SetTimeOut(int nTimeOut);

    /// Asks a running wait to end within a tenth of a second. A run that has yet to begin forgets it.
    void RequestStop();

signals:
    /// The wait has ended, with or without a command. Emitted on this thread.
    void ChangeCursor();

protected:
    virtual void run();

    // Written on one thread and read on another without a lock.
    std::atomic<bool> m_bStop;
    STKLogic *m_pStkLogic;
    std::atomic<int> m_nTimeOut;

private:
    Q_DISABLE_COPY(STKThread)
};

#endif // STKTHREAD_H
