#include "core/tones/Tones.h"

namespace tones
{

namespace
{

// Supervisory tones: 3GPP TS 22.001, annex F, the European column. Frequencies in Hz, times in milliseconds.
const Part dial[] = {{425, 1000}};
const Part busy[] = {{425, 500}, {0, 500}};
const Part congestion[] = {{425, 200}, {0, 200}};
const Part radioPathAcknowledgement[] = {{425, 200}};
const Part radioPathNotAvailable[] = {{425, 200}, {0, 200}, {425, 200}, {0, 200}, {425, 200}};
const Part error[] = {{950, 330}, {1400, 330}, {1800, 330}, {0, 1000}};
const Part callWaiting[] = {{425, 200}, {0, 600}, {425, 200}, {0, 3000}, {425, 200}, {0, 600}, {425, 200}};
const Part ringing[] = {{425, 1000}, {0, 4000}};

// Tones of the terminal's own: ETSI TS 102 223, clause 8.16, names them and leaves their sound to it.
const Part beep[] = {{1000, 200}};
const Part positive[] = {{660, 120}, {0, 40}, {880, 180}};
const Part negative[] = {{330, 200}, {0, 100}, {330, 400}};

/// A tone that has no end of its own sounds until the window stops it. Cards ask for a few seconds; the file lasts
/// longer than that and is yet no burden: half a megabyte.
const int endless = 30000;

const int once = 0;

int lengthOf(const Part *parts, std::size_t count)
{
    int sum = 0;
    for (std::size_t i = 0; i < count; ++i)
        sum += parts[i].milliseconds;
    return sum;
}

template <std::size_t count>
Tone tone(int number, const char *name, const Part (&parts)[count], int milliseconds)
{
    return {number, name, parts, count, milliseconds == once ? lengthOf(parts, count) : milliseconds};
}

} // namespace

const std::vector<Tone> &table()
{
    // The standard writes the terminal's own tones as hexadecimal '10' to '12', bytes of the values 16 to 18. Device
    // services hand over either the digits or the value, so each of these has two files.
    static const std::vector<Tone> all = {
        tone(1, "dial", dial, endless),
        tone(2, "subscriber busy", busy, endless),
        tone(3, "congestion", congestion, endless),
        tone(4, "radio path acknowledgement", radioPathAcknowledgement, once),
        tone(5, "radio path not available, call dropped", radioPathNotAvailable, once),
        tone(6, "error, special information", error, endless),
        tone(7, "call waiting", callWaiting, once),
        tone(8, "ringing", ringing, endless),
        tone(10, "general beep", beep, once),
        tone(11, "positive acknowledgement", positive, once),
        tone(12, "negative acknowledgement, error", negative, once),
        tone(16, "general beep", beep, once),
        tone(17, "positive acknowledgement", positive, once),
        tone(18, "negative acknowledgement, error", negative, once),
    };
    return all;
}

} // namespace tones
