#include "core/WaveFile.h"

#include <QtCore/QFile>
#include <QtCore/QtEndian>

namespace core
{

namespace
{

const int formatSize = 16;               // bytes of the part of the format chunk that every file has
const quint32 pcm = 1;                   // the only coding that is played: samples as they are
const qint64 largest = 16 * 1024 * 1024; // bytes of a file: three minutes of music, and tones are far shorter

/// The head of a chunk: four letters and the number of bytes that follow, which are padded to an even number.
struct Chunk {
    Chunk() : size(0) {}

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

QByteArray bytesOf(quint32 value, int count)
{
    QByteArray bytes;
    for (int i = 0; i < count; ++i) {
        bytes.append(char(uchar(value >> (8 * i))));
    }
    return bytes;
}

QByteArray plainFile(const Format &format, const QByteArray &samples)
{
    const quint32 frame = format.channels * format.bits / 8; // bytes of one sample of all channels
    const quint32 size = quint32(samples.size());
    const QByteArray padding(samples.size() % 2, 0);
    QByteArray file = "RIFF" + bytesOf(36 + size + size % 2, 4) + "WAVEfmt " + bytesOf(formatSize, 4);
    file += bytesOf(pcm, 2) + bytesOf(format.channels, 2) + bytesOf(format.rate, 4);
    file += bytesOf(format.rate * frame, 4) + bytesOf(frame, 2) + bytesOf(format.bits, 2);
    return file + "data" + bytesOf(size, 4) + samples + padding;
}

/// The file stands behind the data chunk's head.
bool readSamples(QFile *file, const Format &format, quint32 size, WaveFile *wave, QString *error)
{
    QByteArray samples = file->read(qMin(qint64(size), largest));
    if (quint32(samples.size()) < size) {
        *error = QString("it is cut off: %1 bytes of sound are announced, %2 are there").arg(size).arg(samples.size());
        return false;
    }
    const int frame = int(format.channels * format.bits / 8);
    const int count = samples.size() / frame;
    if (count == 0) {
        *error = "there is no sound in it";
        return false;
    }
    samples.truncate(count * frame);
    wave->milliseconds = int((qint64(count) * 1000 + format.rate - 1) / format.rate);
    wave->bytes = plainFile(format, samples);
    return true;
}

/// Says what stands in the way of finding the sound; empty when the file stands behind the data chunk's head.
QString openSound(QFile *file, Format *format, quint32 *size)
{
    if (!file->open(QIODevice::ReadOnly)) {
        return file->errorString();
    }
    if (file->size() > largest) {
        return QString("it is larger than %1 MiB").arg(largest / 1024 / 1024);
    }
    if (!isWave(file)) {
        return "it is no wave file";
    }
    if (!readFormat(file, format)) {
        return "it does not say how its sound is coded";
    }
    Chunk data;
    const QString reason = objection(*format);
    if (reason.isEmpty() && !findChunk(file, "data", &data)) {
        return "there is no sound in it";
    }
    *size = data.size;
    return reason;
}

} // namespace

bool readWaveFile(const QString &path, WaveFile *wave, QString *error)
{
    QFile file(path);
    Format format = {0, 0, 0, 0};
    quint32 size = 0;
    *error = openSound(&file, &format, &size);
    return error->isEmpty() && readSamples(&file, format, size, wave, error);
}

} // namespace core
