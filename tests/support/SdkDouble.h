#ifndef SUPPORT_SDKDOUBLE_H
#define SUPPORT_SDKDOUBLE_H

#include "sdk/MDSVStk.h"

#include "support/Journal.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <functional>

namespace support
{

/// One item of a menu that the double plays.
struct MenuItem {
    int id;
    QString text;
};

/// The device-service library as a recording double: it implements the 20 functions of sdk/MDSVStk.h.
///
/// One object at a time, made by the test before the product and deleted after it; making it starts afresh. Each call
/// is noted in the journal with its arguments (see below), then its hook runs, then it answers with the scripted
/// status, 0 unless told otherwise. After a non-zero status the whole output record holds 0xAA bytes.
///
/// Arguments in the journal: command identifiers, codes and counts as int; answer texts as QString; registered
/// functions through ref(); a record to be filled is left out, apart from GetPlayTone and GetLaunchBrowser, which note
/// whether it came zero-filled (bool), and the release functions, which note title and item count.
class SdkDouble
{
public:
    SdkDouble();
    ~SdkDouble();

    /// Status of every further call of `function` (such as "MDSV_STKSrv_GetMainMenu").
    void answer(const QByteArray &function, int status);

    /// Status of the next call only; several are used in turn, before the one of answer().
    void answerOnce(const QByteArray &function, int status);

    /// Runs inside every call of `function`, after it was noted; empty ends it.
    void onCall(const QByteArray &function, std::function<void()> hook);

    // The records that are played. A text of 256 units or more fills its field to the brim, without a terminator;
    // behind a shorter one the field holds a zero and then junk. Padding holds junk, too.
    void setMainMenu(const QString &title, const QList<MenuItem> &items);
    void setSubMenu(const QString &title, const QList<MenuItem> &items, int leading = 0);

    /// The count that the record names, whatever the number of items is.
    void setMainMenuCount(int count);
    void setSubMenuCount(int count);

    void setInput(const QString &prompt, int type, int echo, int minimum, int maximum, int option,
                  const QString &defaultText);
    void setInKey(const QString &prompt, int type, int option, int duration);
    void setPrompt(const QString &text, int clearMode, int duration);
    void setTone(int tone, int duration, const QString &text);
    void setBrowser(int mode, const QString &url);
    void setIdleText(const QString &text);

    // The callbacks that are registered now, null for none. A registration or removal that is told to fail changes
    // nothing.
    MDSVSTKCALLBACK stkCallback() const;
    MDSVDEVMGRCALLBACK deviceCallback() const;

    /// Where an event is raised: on the calling thread, or on a thread of the double's own, for which the call waits.
    enum Where { Here, Elsewhere };

    /// Result of a raise when no callback is registered; that is also a fault.
    static const int NotRegistered;

    // Call the registered callback and return its result. The notify record lives for the call only and is overwritten
    // behind it; `event` is the callback's first argument, which carries nothing.
    int raiseStk(int type, int cmdId, int timeOut = 0, Where where = Here, int event = 4711);
    int raiseNullRecord(Where where = Here);
    int raiseDevice(int code, Where where = Here);

    /// Where the text of the last answer to GET INPUT or GET INKEY stood; not to be read any more.
    const void *answerBuffer() const;

    /// Menus that were fetched with status 0 and not yet released.
    int openMenus() const;

    /// What the caller did wrong: menus released twice, with another record or by the wrong function, a removal of a
    /// callback that was not registered, events without a callback, menus still open. Empty when all is well.
    QStringList faults() const;

private:
    SdkDouble(const SdkDouble &) = delete;
    SdkDouble &operator=(const SdkDouble &) = delete;
};

} // namespace support

#endif // SUPPORT_SDKDOUBLE_H
