#include "STKThread.h"

#include "STKLog.h"
#include "STKLogic.h"

#include <QtCore/QTime>

#define STK_SOURCE "STKThread"

namespace
{

const unsigned long POLL_INTERVAL_MS = 100;

/// The present time as the decimal number HHMMSS. Its differences count seconds only within one minute: deliberate,
/// the length of every wait follows from it.
int clockReading()
{
    return QTime::currentTime().toString(Qt::TextDate).remove(QLatin1Char(':')).toInt();
}

} // namespace

STKThread::STKThread() : QThread(0), m_bStop(false), m_pStkLogic(0), m_nTimeOut(0)
{
    STK_LOG("%s: %s: called", STK_LOG_PATH, __func__);
    m_pStkLogic = STKLogic::CreateInstance();
}

STKThread::~STKThread()
{
    STK_LOG_TIMED("%s: %s: %s: Called");
    if (m_pStkLogic) {
        STKLogic::DestroyInst();
        m_pStkLogic = 0;
    }
}

void STKThread::SetTimeOut(int nTimeOut)
{
    STK_LOG("%s: %s: %s: Called with TimeOut = %d", StkLog::now().constData(), STK_LOG_PATH, __func__, nTimeOut);
    m_nTimeOut = nTimeOut;
    STK_LOG_TIMED("%s: %s: %s: Exited");
}

void STKThread::RequestStop()
{
    m_bStop = true;
}

void STKThread::run()
{
    STK_LOG_TIMED("%s: %s: %s: called");
    m_bStop = false;
    const int nStart = clockReading();
    if (m_nTimeOut < 1)
        return;
    if (!m_pStkLogic) {
        STK_LOG_TIMED("%s: %s: %s: Logic Instance is null");
        return;
    }

    while (!m_bStop && !m_pStkLogic->GetResponseVar() && clockReading() - nStart < m_nTimeOut)
        msleep(POLL_INTERVAL_MS);
    emit ChangeCursor();
    m_nTimeOut = 0;
}
