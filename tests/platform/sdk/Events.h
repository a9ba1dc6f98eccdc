#ifndef TESTS_SDK_EVENTS_H
#define TESTS_SDK_EVENTS_H

#include "sdk/SdkControl.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <thread>
#include <vector>

/// What the callbacks have heard, and what the exchange listener has. One for the process, any thread.
namespace events
{

struct Event {
    QString text; ///< "STK 6", "STK 6 timed out", "DEVICE 6602"
    int id = 0;   ///< of an STK event
    std::thread::id thread;
};

// Four callbacks that keep every event; the "other" ones are there to be different functions.
int stkCallback(int event, void *data);
int deviceCallback(int event, void *data);
int otherStkCallback(int event, void *data);
int otherDeviceCallback(int event, void *data);

/// Registers stkCallback and deviceCallback.
bool registerBoth();

/// Called within every callback, after the event has been kept, with no lock held.
void setReaction(std::function<void(const Event &)> reaction);

/// Forgets everything, the reaction too.
void reset();

/// Forgets the events only.
void forget();

std::vector<Event> all();
QStringList texts();
int count(const QString &text);
int lastId(); ///< 0: no STK event yet
bool has(const QString &text);

/// Makes the library's exchanges be kept from now on.
void listen();
QStringList exchanges();          ///< "Kind: text"
QStringList exchangesWithBytes(); ///< "Kind: text [hex]"
QStringList notes();              ///< texts of the notes

} // namespace events

#endif // TESTS_SDK_EVENTS_H
