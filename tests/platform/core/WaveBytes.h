#ifndef TESTS_CORE_WAVEBYTES_H
#define TESTS_CORE_WAVEBYTES_H

#include <QtCore/QByteArray>
#include <QtCore/QVector>
#include <QtCore/QtEndian>

#include <cmath>

/// Wave files as bytes, and what is heard in samples.
namespace wave
{

/// `value` as `count` bytes, the lowest first.
inline QByteArray number(quint32 value, int count)
{
    QByteArray bytes;
    for (int i = 0; i < count; ++i)
        bytes.append(char(quint8(value >> (8 * i))));
    return bytes;
}

inline QByteArray chunk(const char *name, const QByteArray &content)
{
    return name + number(quint32(content.size()), 4) + content + QByteArray(content.size() % 2, 0);
}

inline QByteArray format(quint32 rate, quint32 bits, quint32 channels = 1, quint32 coding = 1)
{
    const quint32 frame = channels * bits / 8;
    return chunk("fmt ", number(coding, 2) + number(channels, 2) + number(rate, 4) + number(rate * frame, 4) +
                             number(frame, 2) + number(bits, 2));
}

inline QByteArray file(const QByteArray &chunks)
{
    return chunk("RIFF", "WAVE" + chunks);
}

/// Zero samples of 16 bits, 8000 in a second.
inline QByteArray silence(int milliseconds)
{
    return file(format(8000, 16) + chunk("data", QByteArray(milliseconds * 16, 0)));
}

using Samples = QVector<double>;

/// Samples of 16 bits as numbers from -1 to 1.
inline Samples samples(const QByteArray &bytes)
{
    Samples result(bytes.size() / 2);
    for (int i = 0; i < result.size(); ++i)
        result[i] = qFromLittleEndian<qint16>(bytes.constData() + 2 * i) / 32768.0;
    return result;
}

/// Amplitude of the sine of `frequency` Hz in `count` samples from `start` on (Goertzel's algorithm).
inline double amplitude(const Samples &samples, int rate, double frequency, int start, int count)
{
    const double step = 2 * std::cos(2 * 3.14159265358979323846 * frequency / rate);
    double last = 0, beforeLast = 0;
    for (int i = start; i < start + count; ++i) {
        const double now = samples.at(i) + step * last - beforeLast;
        beforeLast = last;
        last = now;
    }
    return 2 * std::sqrt(last * last + beforeLast * beforeLast - step * last * beforeLast) / count;
}

/// Square root of the mean of the squares.
inline double loudness(const Samples &samples, int start, int count)
{
    double sum = 0;
    for (int i = start; i < start + count; ++i)
        sum += samples.at(i) * samples.at(i);
    return std::sqrt(sum / count);
}

/// A stretch in which something is heard, in milliseconds from the beginning.
struct Sound {
    int start;
    int length;
};

/// The sounds among `samples`, to 10 ms: pauses of at least 30 ms part them.
inline QVector<Sound> sounds(const Samples &samples, int rate)
{
    const int slice = rate / 100;
    QVector<Sound> found;
    for (int i = 0; (i + 1) * slice <= samples.size(); ++i) {
        if (loudness(samples, i * slice, slice) < 0.02)
            continue;
        if (found.isEmpty() || i * 10 - found.last().start - found.last().length >= 30)
            found.append({i * 10, 0});
        found.last().length = i * 10 + 10 - found.last().start;
    }
    return found;
}

} // namespace wave

#endif // TESTS_CORE_WAVEBYTES_H
