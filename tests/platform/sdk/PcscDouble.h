#ifndef TESTS_SDK_PCSCDOUBLE_H
#define TESTS_SDK_PCSCDOUBLE_H

#include "cat/Bytes.h"

#include <winscard.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

/// A PC/SC service without a process, readers and cards: the C functions of libpcsclite that the product calls, defined
/// in the test's own program and so taken in place of the library's. One for the process, any thread.
///
/// It behaves as the real one where that is unpleasant: a cancel that comes before the wait is lost; a reader that
/// holds a hanging card keeps everybody waiting who wants that card; what belongs to a service that has ended fails for
/// good; a context in use may not be used by another thread, nor be released.
namespace pcscdouble
{

struct Card {
    /// Gives the answer to a command APDU, status word included. Nothing set: 9000 to all.
    std::function<cat::Bytes(const cat::Bytes &)> talk;
    DWORD protocol = SCARD_PROTOCOL_T1;
    bool isMute = false; ///< does not answer to a reset
};

/// The service runs, and has no readers.
void renew();

void addReader(const std::string &name);
void removeReader(const std::string &name);
void insert(const std::string &reader, const Card &card = Card());
void pull(const std::string &reader);

/// The service takes the reader for empty, although there is a card that it has not seen going, until it is powered up.
void overlook(const std::string &reader);

void endService();
void startService();

/// While true, a transmit is not answered; it ends with the hanging, the card or the service.
void setHanging(bool isHanging);

/// While true, the service answers nothing at all.
void setFrozen(bool isFrozen);

/// Another program holds all cards.
void setHeldByOthers(bool isHeld);

/// The next `count` calls of a function, named as "SCardConnect", return `code`.
void failNext(const std::string &function, LONG code, int count = 1);

/// The next transmit succeeds and claims an answer of so many bytes; they are not written.
void claimSize(DWORD size);

int calls(const std::string &function);
int calls();    ///< of all functions
int contexts(); ///< that are open
int cards();    ///< that are connected
int waiting();  ///< threads inside of functions
std::vector<cat::Bytes> sent();
std::vector<DWORD> sentBy(); ///< the protocol of each
std::vector<DWORD> powers(); ///< dispositions of SCardReconnect and SCardDisconnect, in order

/// What the product has done that the library forbids: uses of a context that another thread is in, of released ones.
std::vector<std::string> offences();

} // namespace pcscdouble

#endif // TESTS_SDK_PCSCDOUBLE_H
