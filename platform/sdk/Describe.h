#ifndef SDK_DESCRIBE_H
#define SDK_DESCRIBE_H

#include "cat/Command.h"
#include "sdk/Apdu.h"
#include "sdk/SdkControl.h"

#include <string>

namespace sdk
{

/// Words for people, in UTF-8. Texts of the card stand in quotes, their control characters replaced.

/// `SELECT ITEM "Balance", 4 items`, `GET INPUT "Your PIN", 4 digits, hidden`; what cannot be carried out says why.
std::string describe(const cat::DecodedCommand &command);

/// `SELECT ITEM: 00 command performed successfully, "Balance"`, the response to `command`. What the user has entered
/// unseen stands as asterisks.
std::string describe(const cat::Response &response, const cat::Command &command);

/// `MENU SELECTION "Balance"`.
std::string describe(const cat::Item &chosen);

/// `TIMER EXPIRATION, timer 1 after 300 s`.
std::string describe(const cat::TimerExpiration &expiration);

/// `6F00`.
std::string describe(StatusWord status);

/// `the command is not open any more (3)`.
std::string describe(Status status);

/// `"text"` in UTF-8.
std::string quoted(std::u16string text);

/// What stands behind the name of a command that can be carried out, with the blank or comma in front.
std::string wordsOf(const cat::Command &command);

} // namespace sdk

#endif // SDK_DESCRIBE_H
