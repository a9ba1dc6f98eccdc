#ifndef CAT_VALUES_H
#define CAT_VALUES_H

#include "cat/Command.h"
#include "cat/Tlv.h"

namespace cat
{

// Inside of the library: values of data objects (ETSI TS 102 223 clause 8). Each parse function answers false, and each
// one with an optional nothing, when the value is not what its clause says.

/// How an object is introduced.
struct ObjectHead {
    Tag tag;
    bool comprehension;
};

bool parseDetails(ByteView value, CommandDetails *details);
void writeDetails(const CommandDetails &details, Bytes *out);

bool parseDevices(ByteView value, Device *source, Device *destination);
void writeDevices(Device source, Device destination, Bytes *out);

std::optional<Duration> parseDuration(ByteView value);
void writeDuration(const Duration &duration, const ObjectHead &head, Bytes *out);

/// Digits in BCD, two in an octet, up to the first filler (clause 8.1).
std::string decodeBcd(ByteView octets);
/// A character that is no digit there is left out.
void appendBcd(const std::string &digits, Bytes *out);

/// Text string (clause 8.15). No bytes at all are a text without characters, in 8 bits.
std::optional<Text> parseTextValue(ByteView value);
/// With the coding in front, also where there are no characters.
void appendText(Bytes *out, const ObjectHead &head, const Text &text);

/// USSD string (clause 8.17).
std::optional<Text> parseUssdValue(ByteView value);
void appendUssd(Bytes *out, const ObjectHead &head, const Text &text);

// Timers, time and language (clauses 8.37 to 8.39 and 8.45). What is outside of its range is cut to it when written.
std::optional<std::uint8_t> parseTimerId(ByteView value);
std::optional<std::chrono::seconds> parseTimerValue(ByteView value);
Bytes timerValueOf(std::chrono::seconds value);
std::optional<DateTime> parseDateTime(ByteView value);
Bytes dateTimeValue(const DateTime &time);
std::optional<std::string> parseLanguage(ByteView value);

/// The first object with that tag, as long as the bytes in front of it can be walked over.
std::optional<TlvObject> findObject(ByteView objects, Tag tag);

} // namespace cat

#endif // CAT_VALUES_H
