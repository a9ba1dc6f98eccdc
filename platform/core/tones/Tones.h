#ifndef CORE_TONES_TONES_H
#define CORE_TONES_TONES_H

#include <cstddef>
#include <vector>

/// The tones that a card can ask for with PLAY TONE (ETSI TS 102 223, clause 8.16), as tables. No Qt.
namespace tones
{

/// A sine of `frequency` Hz for `milliseconds`; frequency 0 is silence.
struct Part {
    int frequency;
    int milliseconds;
};

struct Tone {
    int number;        ///< of the file: tone_<number>.wav
    const char *name;  ///< for people
    const Part *parts; ///< one cadence
    std::size_t count; ///< of parts
    int milliseconds;  ///< length of the file; the cadence is repeated to fill it
};

/// Every file, in the order of their numbers.
const std::vector<Tone> &table();

} // namespace tones

#endif // CORE_TONES_TONES_H
