#ifndef CORE_WAVEFILE_H
#define CORE_WAVEFILE_H

#include <QtCore/QString>

namespace core
{

/// Reads the header of the wave file `path` and gives its playing time in milliseconds, at least 1.
///
/// Taken are RIFF files with uncompressed samples of 8, 16, 24 or 32 bits whose data is all there. Anything else gives
/// 0, and `*error` then says what is wrong.
int waveFileLength(const QString &path, QString *error);

} // namespace core

#endif // CORE_WAVEFILE_H
