#include "platform/sdk/Pcap.h"

#include <QFile>
#include <QtEndian>

namespace pcap
{

namespace
{

constexpr int fileHeaderSize = 24;
constexpr int recordHeaderSize = 16;
constexpr int headersSize = 20 + 8 + 16; // IPv4, UDP, GSMTAP

quint32 number32(const QByteArray &bytes, int at)
{
    return qFromBigEndian<quint32>(bytes.constData() + at);
}

int number16(const QByteArray &bytes, int at)
{
    return qFromBigEndian<quint16>(bytes.constData() + at);
}

bool isIpChecksumRight(const QByteArray &packet)
{
    quint32 sum = 0;
    for (int i = 0; i < 20; i += 2)
        sum += static_cast<quint32>(number16(packet, i));
    return (sum & 0xFFFF) + (sum >> 16) == 0xFFFF;
}

QString faultOf(const QByteArray &packet)
{
    if (packet.size() < headersSize)
        return "too short";
    if (number16(packet, 0) != 0x4500 || number16(packet, 2) != packet.size() || packet[9] != 17)
        return "not UDP in IPv4 of that size";
    if (!isIpChecksumRight(packet))
        return "IP checksum";
    if (number32(packet, 12) != 0x7F000001 || number32(packet, 16) != 0x7F000001)
        return "not from this machine to itself";
    if (number16(packet, 20) != 4729 || number16(packet, 22) != 4729 || number16(packet, 24) != packet.size() - 20)
        return "UDP header";
    if (packet.mid(28, 16).toHex() != "02040400000000000000000000000000")
        return "GSMTAP header " + packet.mid(28, 16).toHex();
    return QString();
}

} // namespace

QList<Packet> read(const QString &path, QString *error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = file.errorString();
        return {};
    }
    const QByteArray bytes = file.readAll();
    if (bytes.left(fileHeaderSize).toHex() != "a1b2c3d4000200040000000000000000"
                                              "0000ffff000000e4") {
        *error = "file header " + bytes.left(fileHeaderSize).toHex();
        return {};
    }
    QList<Packet> packets;
    for (int at = fileHeaderSize; at < bytes.size();) {
        if (bytes.size() - at < recordHeaderSize) {
            *error = "cut off";
            return {};
        }
        const int size = static_cast<int>(number32(bytes, at + 8));
        const QByteArray packet = bytes.mid(at + recordHeaderSize, size);
        *error =
            packet.size() != size || number32(bytes, at + 12) != number32(bytes, at + 8) ? "cut off" : faultOf(packet);
        if (!error->isEmpty())
            return {};
        packets.append({qint64(number32(bytes, at)) * 1000000 + number32(bytes, at + 4),
                        packet.mid(headersSize).toHex().toUpper()});
        at += recordHeaderSize + size;
    }
    return packets;
}

} // namespace pcap
