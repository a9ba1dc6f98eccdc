// Writes the tone files of the STK window into the folder that it is given: tone_1.wav and so on.
#include "core/tones/Tones.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

namespace
{

const int rate = 8000;            // samples in a second: the tones are those of a telephone line
const double amplitude = 0.25;    // of the full scale: 12 dB below it
const int fade = rate * 5 / 1000; // samples at each end of a sound, so that it does not click
const double pi = 3.14159265358979323846;

using Samples = std::vector<std::int16_t>;

/// 0 to 1: how loud the sample `index` of a sound of `count` samples is.
double loudness(int index, int count)
{
    const int fromEdge = std::min(index, count - 1 - index);
    return fromEdge >= fade ? 1.0 : 0.5 - 0.5 * std::cos(pi * fromEdge / fade);
}

void append(Samples *samples, int frequency, int count)
{
    for (int i = 0; i < count; ++i) {
        const double wave = std::sin(2 * pi * frequency * i / rate);
        samples->push_back(std::int16_t(std::lround(32767 * amplitude * loudness(i, count) * wave)));
    }
}

/// A cadence of one sound without a pause is one long sound: fades in between would be heard.
Samples samplesOf(const tones::Tone &tone)
{
    Samples samples;
    const int total = tone.milliseconds * (rate / 1000);
    if (tone.count == 1) {
        append(&samples, tone.parts[0].frequency, total);
        return samples;
    }
    for (std::size_t part = 0; int(samples.size()) < total; part = (part + 1) % tone.count) {
        const int count = tone.parts[part].milliseconds * (rate / 1000);
        append(&samples, tone.parts[part].frequency, std::min(count, total - int(samples.size())));
    }
    return samples;
}

void put(std::string *bytes, std::uint32_t value, int count)
{
    for (int i = 0; i < count; ++i)
        bytes->push_back(char(std::uint8_t(value >> (8 * i))));
}

/// A RIFF file of one channel with samples of 16 bits.
std::string waveFile(const Samples &samples)
{
    const std::uint32_t size = std::uint32_t(samples.size() * 2);
    std::string bytes = "RIFF";
    put(&bytes, 36 + size, 4);
    bytes += "WAVEfmt ";
    put(&bytes, 16, 4);
    put(&bytes, 1, 2); // uncompressed
    put(&bytes, 1, 2); // channels
    put(&bytes, rate, 4);
    put(&bytes, rate * 2, 4); // bytes in a second
    put(&bytes, 2, 2);        // bytes in a sample of all channels
    put(&bytes, 16, 2);
    bytes += "data";
    put(&bytes, size, 4);
    for (const std::int16_t sample : samples)
        put(&bytes, std::uint16_t(sample), 2);
    return bytes;
}

bool write(const std::string &path, const std::string &bytes)
{
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), std::streamsize(bytes.size()));
    file.close();
    return file.good();
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc != 2) {
        std::fprintf(stderr, "Usage: %s FOLDER\nWrites tone_<number>.wav for every tone into FOLDER.\n", argv[0]);
        return 2;
    }
    for (const tones::Tone &tone : tones::table()) {
        const std::string path = std::string(argv[1]) + "/tone_" + std::to_string(tone.number) + ".wav";
        if (!write(path, waveFile(samplesOf(tone)))) {
            std::fprintf(stderr, "%s cannot be written: does the folder exist, and is there room?\n", path.c_str());
            return 1;
        }
    }
    return 0;
}
