#ifndef TESTS_SDK_PCAP_H
#define TESTS_SDK_PCAP_H

#include <QByteArray>
#include <QList>
#include <QString>

/// Reads traces back, by the book and not by the code that has written them.
namespace pcap
{

struct Packet {
    qint64 microseconds = 0; ///< since 1970
    QByteArray payload;      ///< behind the GSMTAP header, in upper-case hexadecimal digits
};

/// Every packet; or none, and in `*error` what is wrong with the file. A cut-off packet is an error.
QList<Packet> read(const QString &path, QString *error);

} // namespace pcap

#endif // TESTS_SDK_PCAP_H
