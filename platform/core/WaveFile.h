#ifndef CORE_WAVEFILE_H
#define CORE_WAVEFILE_H

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace core
{

/// A sound that was read from a wave file.
struct WaveFile {
    int milliseconds; ///< playing time, at least 1
    QByteArray bytes; ///< the sound as a wave file of the plainest form: format, samples, nothing else
};

/// Reads the wave file `path`.
///
/// Taken are RIFF files of up to 16 MiB with uncompressed samples of 8, 16, 24 or 32 bits whose data is all there.
/// Anything else gives false, and `*error` then says what is wrong.
bool readWaveFile(const QString &path, WaveFile *wave, QString *error);

} // namespace core

#endif // CORE_WAVEFILE_H
