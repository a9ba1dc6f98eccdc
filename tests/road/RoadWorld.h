#ifndef TESTS_ROADWORLD_H
#define TESTS_ROADWORLD_H

#include "STKPlugin/STKDialog.h"
#include "STKPlugin/STKLogic.h"
#include "STKPlugin/STKThread.h"

#include <QtCore/QMutex>
#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QStringList>
#include <QtWidgets/QWidget>

#include <deque>
#include <functional>
#include <mutex>

/// Whether this run takes the row with this number: all of them, or its share (STK_TEST_SHARD, "2/4" for the second
/// quarter).
bool isInShard(int number);

/// Runs functions of any thread on the one where it lives, in their order. They are handed over under a mutex that
/// ThreadSanitizer sees; of Qt's queue of events it now and then misses that it orders anything.
class CallQueue : public QObject
{
public:
    void post(std::function<void()> call);

    bool event(QEvent *event) override;

private:
    std::mutex m_mutex;
    std::deque<std::function<void()>> m_calls;
};

/// The real window on the open platform and a virtual card, over a host window in a real X server.
///
/// Widgets are found as a host's style sheet finds them, by their object names.
class RoadWorld
{
public:
    /// `onUiThread`: callbacks are posted to the user-interface thread; otherwise they come on the service's own.
    explicit RoadWorld(bool onUiThread);
    ~RoadWorld();

    /// Ends everything in the host's order and tells what was left behind; `cleanup()` compares it with an empty list.
    QStringList end();

    /// Puts the card of the profile `file` beside the tests into the device. False with a warning.
    bool attach(const QString &file = QString("menu.yaml"));

    /// Opens the window and waits until it has the keyboard and shows `rows` rows.
    bool show(int rows);

    QDialog *frame() const;
    QTableWidget *table() const;
    QPushButton *button(const char *name) const; ///< "Back", "Select" or "Close"

    /// The title and the texts of the rows, as "Title: One, Two"; "no window" without one.
    QString shown() const;

    bool isWaiting() const;
    STKThread *thread() const;

    /// What has passed between the card and the terminal since the last forget(), for people to read.
    QStringList exchanges() const;

    /// The bytes of the exchange with this text, in hexadecimal.
    QString bytesOf(const QString &exchange) const;

    void forget();

    /// The address of the last page that the window has opened; no browser is started.
    QString openedPage() const;

    QPointer<QWidget> host;
    STKDialog *dialog;

private:
    mutable QMutex m_mutex;
    QStringList m_exchanges;
    QStringList m_bytes;
    QString m_page;
    CallQueue m_uiThread; ///< takes the callbacks
    QPointer<STKThread> m_thread;
};

#endif // TESTS_ROADWORLD_H
