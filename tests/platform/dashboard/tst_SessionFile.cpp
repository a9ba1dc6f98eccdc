#include "dashboard/SessionFile.h"

#include <QTemporaryDir>
#include <QTest>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <csignal>
#include <sys/resource.h>

using namespace dashboard;

class tst_SessionFile : public QObject
{
    Q_OBJECT

private slots:
    void textHasALineForEachEntry();
    void captureHasAPacketForEachApdu();
    void nothingIsAFileToo_data();
    void nothingIsAFileToo();
    void refusalTellsWhy_data();
    void refusalTellsWhy();
    void fullDiskIsTold_data();
    void fullDiskIsTold();

private:
    QByteArray read(const QString &name) const;

    QTemporaryDir m_folder;
    const std::vector<SessionEntry> m_entries{
        {EntryKind::Host, QDateTime(QDate(2024, 2, 3), QTime(4, 5, 6, 7)), "ready", {}, {}},
        {EntryKind::Apdu, QDateTime(QDate(2024, 2, 3), QTime(4, 5, 6, 8), Qt::UTC), "FETCH", {0x80, 0x12}, {0x90, 0}},
        {EntryKind::Command, QDateTime(QDate(2024, 2, 3), QTime(4, 5, 7)), "SELECT ITEM", {0xD0, 0x1A}, {}},
    };
};

QByteArray tst_SessionFile::read(const QString &name) const
{
    QFile file(m_folder.filePath(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void tst_SessionFile::textHasALineForEachEntry()
{
    QString report;
    QVERIFY2(saveSession(m_entries, m_folder.filePath("s.txt"), &report), qPrintable(report));
    const QList<QByteArray> lines = read("s.txt").split('\n');
    QCOMPARE(lines.size(), 4);
    QCOMPARE(lines[0], QByteArray("2024-02-03 04:05:06.007 host: ready"));
    QVERIFY(lines[1].endsWith("APDU: FETCH | 80 12 \xe2\x86\x92 90 00"));
    QCOMPARE(lines[2], QByteArray("2024-02-03 04:05:07.000 card asks: SELECT ITEM | D0 1A"));
    QVERIFY2(report.contains("3 lines") && report.contains("s.txt"), qPrintable(report));
}

void tst_SessionFile::captureHasAPacketForEachApdu()
{
    QString report;
    QVERIFY2(saveSession(m_entries, m_folder.filePath("s.PCAP"), &report), qPrintable(report));
    const QByteArray bytes = read("s.PCAP");
    QCOMPARE(bytes.left(4).toHex(), QByteArray("a1b2c3d4"));
    QCOMPARE(bytes.size(), 24 + 16 + 20 + 8 + 16 + 4);
    QCOMPARE(bytes.right(4).toHex(), QByteArray("80129000"));
    const auto seconds = static_cast<quint32>(m_entries[1].time.toSecsSinceEpoch());
    QCOMPARE(bytes.mid(24, 8).toHex(), QByteArray::number(seconds, 16) + "00001f40"); // 8 ms
    QVERIFY2(report.contains("1 APDUs"), qPrintable(report));
}

void tst_SessionFile::nothingIsAFileToo_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("size");
    QTest::newRow("text") << "empty.txt" << 0;
    QTest::newRow("capture") << "empty.pcap" << 24;
}

void tst_SessionFile::nothingIsAFileToo()
{
    QFETCH(QString, name);
    QString report;
    QVERIFY(saveSession({}, m_folder.filePath(name), &report));
    QTEST(static_cast<int>(QFileInfo(m_folder.filePath(name)).size()), "size");
}

void tst_SessionFile::refusalTellsWhy_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("text in a missing folder") << "missing/s.txt";
    QTest::newRow("capture in a missing folder") << "missing/s.pcap";
}

void tst_SessionFile::refusalTellsWhy()
{
    QFETCH(QString, name);
    QString report;
    QVERIFY(!saveSession(m_entries, m_folder.filePath(name), &report));
    QVERIFY2(report.contains(name) && report.contains("another folder"), qPrintable(report));
}

void tst_SessionFile::fullDiskIsTold_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("text") << "full.txt";
    QTest::newRow("capture") << "full.pcap";
}

/// No file may have more bytes than this; to the program that is as a disk without room.
void tst_SessionFile::fullDiskIsTold()
{
    QFETCH(QString, name);
    const std::vector<SessionEntry> many(1000, m_entries[1]);
    const auto before = std::signal(SIGXFSZ, SIG_IGN);
    rlimit usual{};
    QCOMPARE(getrlimit(RLIMIT_FSIZE, &usual), 0);
    const rlimit small{1000, usual.rlim_max};
    QCOMPARE(setrlimit(RLIMIT_FSIZE, &small), 0);
    QString report;
    const bool isSaved = saveSession(many, m_folder.filePath(name), &report);
    QCOMPARE(setrlimit(RLIMIT_FSIZE, &usual), 0);
    std::signal(SIGXFSZ, before);
    QVERIFY(!isSaved);
    QVERIFY2(report.contains(name) && report.contains("another folder"), qPrintable(report));
}

QTEST_GUILESS_MAIN(tst_SessionFile)
#include "tst_SessionFile.moc"
