#ifndef SDK_LOCALINFORMATION_H
#define SDK_LOCALINFORMATION_H

#include "cat/Command.h"

#include <ctime>
#include <string>

namespace sdk
{

// What the terminal knows by itself, for PROVIDE LOCAL INFORMATION (ETSI TS 102 223 clause 6.4.15).

/// A time on this machine's clock and in its time zone, whose offset is told in whole quarters of an hour.
cat::DateTime localTime(std::time_t time);

/// The two letters of ISO 639 that a language or the name of a locale ("de_AT.UTF-8") begins with, in lower case;
/// empty when it begins with no such thing.
std::string languageOf(const std::string &locale);

/// The language of the environment (LC_ALL, LC_MESSAGES, LANG); "en" when it names none of two letters.
std::string environmentLanguage();

} // namespace sdk

#endif // SDK_LOCALINFORMATION_H
