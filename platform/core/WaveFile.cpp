#include "core/WaveFile.h"

#include <QtCore/QFile>
#include <QtCore/QtEndian>

namespace core
{

namespace
{

const int formatSize = 16; // bytes of the part of the format chunk that every file has
const quint32 pcm = 1;     // the only coding that is played: samples as they are
const qint64 longest = 24 * 60 * 60 * 1000;

/// The head of a chunk: four letters and the number of bytes that follow, which are padded to an even number.
struct Chunk {
    QByteArray name;
    quint32 size;
};

/// What a format chunk says.
struct Format {
    quint32 coding;
    quint32 channels;
    quint32 rate; // samples in a second
    quint32 bits; // in a sample
};

quint32 numberAt(const QByteArray &bytes, int offset)
{
    return qFromLittleEndian<quint32>(reinterpret_cast<const uchar *>(bytes.constData()) + offset);
}

quint32 shortAt(const QByteArray &bytes, int offset)
{
    return qFromLittleEndian<quint16>(reinterpret_cast<const uchar *>(bytes.constData()) + offset);
}

bool readChunk(QFile *file, Chunk *chunk)
{
    const QByteArray head = file->read(8);
    if (head.size() != 8) {
        return false;
    }
    chunk->name = head.left(4);
    chunk->size = numberAt(head, 4);
    return true;
}

/// Goes to the next chunk named `name`.
bool findChunk(QFile *file, const char *name, Chunk *chunk)
{
    while (readChunk(file, chunk)) {
        if (chunk->name == name) {
            return true;
        }
        if (!file->seek(file->pos() + chunk->size + chunk->size % 2)) {
            return false;
        }
    }
    return false;
}

bool isWave(QFile *file)
{
    const QByteArray head = file->read(12);
    return head.size() == 12 && head.startsWith("RIFF") && head.endsWith("WAVE");
}

bool readFormat(QFile *file, Format *format)
{
    Chunk chunk;
    if (!findChunk(file, "fmt ", &chunk) || chunk.size < quint32(formatSize)) {
        return false;
    }
    const qint64 end = file->pos() + chunk.size + chunk.size % 2;
    const QByteArray bytes = file->read(formatSize);
    if (bytes.size() != formatSize || !file->seek(end)) {
        return false;
    }
    const Format read = {shortAt(bytes, 0), shortAt(bytes, 2), numberAt(bytes, 4), shortAt(bytes, 14)};
    *format = read;
    return true;
}

/// Empty when sound servers take the format.
QString objection(const Format &format)
{
    if (format.coding != pcm) {
        return QString("its coding %1 is not known, only uncompressed samples are").arg(format.coding);
    }
    if (format.channels < 1 || format.channels > 8) {
        return QString("it has %1 channels, not 1 to 8").arg(format.channels);
    }
    if (format.rate < 1000 || format.rate > 192000) {
        return QString("it has %1 samples in a second, not 1000 to 192000").arg(format.rate);
    }
    if (format.bits != 8 && format.bits != 16 && format.bits != 24 && format.bits != 32) {
        return QString("its samples have %1 bits, not 8, 16, 24 or 32").arg(format.bits);
    }
    return QString();
}

/// The file stands behind the data chunk's head.
int lengthOf(const QFile &file, const Format &format, quint32 size, QString *error)
{
    const qint64 there = file.size() - file.pos();
    if (there < size) {
        *error = QString("it is cut off: %1 bytes of sound are announced, %2 are there").arg(size).arg(there);
        return 0;
    }
    const qint64 frames = size / (format.channels * format.bits / 8);
    const qint64 milliseconds = (frames * 1000 + format.rate - 1) / format.rate;
    if (milliseconds < 1 || milliseconds > longest) {
        *error = milliseconds < 1 ? "there is no sound in it" : "it is longer than a day";
        return 0;
    }
    return int(milliseconds);
}

} // namespace

int waveFileLength(const QString &path, QString *error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = file.errorString();
        return 0;
    }
    if (!isWave(&file)) {
        *error = "it is no wave file";
        return 0;
    }
    Format format = {0, 0, 0, 0};
    if (!readFormat(&file, &format)) {
        *error = "it does not say how its sound is coded";
        return 0;
    }
    *error = objection(format);
    if (!error->isEmpty()) {
        return 0;
    }
    Chunk data;
    if (!findChunk(&file, "data", &data)) {
        *error = "there is no sound in it";
        return 0;
    }
    return lengthOf(file, format, data.size, error);
}

} // namespace core
