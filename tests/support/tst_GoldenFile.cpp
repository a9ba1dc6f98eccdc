#include "support/Golden.h"

#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>
#include <QtTest/QtTest>

using support::Golden;

/// A golden file shows where a text differs, and changes only when that is asked for.
class tst_GoldenFile : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup() { qunsetenv("STK_UPDATE_GOLDEN"); }

    void theSameTextHasNoDifference();
    void differenceNamesLineExpectedAndActual_data();
    void differenceNamesLineExpectedAndActual();
    void missingFileIsADifference();
    void onlyTheSwitchRewritesTheFile();
    void rewritingIsReportedAndEndsTheDifference();

private:
    QString path() const { return m_folder.filePath("Some.txt"); }
    void write(const QByteArray &text);
    QByteArray read() const;
    QString difference(const QStringList &lines) const;

    QTemporaryDir m_folder;
};

void tst_GoldenFile::init()
{
    qunsetenv("STK_UPDATE_GOLDEN");
    write("[one]\nfirst\n\n[two]\n second \n");
}

void tst_GoldenFile::write(const QByteArray &text)
{
    QFile file(path());
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(text);
}

QByteArray tst_GoldenFile::read() const
{
    QFile file(path());
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("unreadable");
}

QString tst_GoldenFile::difference(const QStringList &lines) const
{
    Golden golden(path());
    golden.add(lines);
    return golden.difference();
}

void tst_GoldenFile::theSameTextHasNoDifference()
{
    QCOMPARE(difference({"[one]", "first", "", "[two]", " second "}), QString());
    QCOMPARE(difference({"[one]\nfirst\n", "[two]\n second "}), QString());
}

void tst_GoldenFile::differenceNamesLineExpectedAndActual_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("place");
    QTest::addColumn<QString>("expected");
    QTest::addColumn<QString>("actual");
    const QString end = "(end of the text)";
    QTest::newRow("a word") << "[one]\nfist\n\n[two]\n second "
                            << "[one], line 2"
                            << "first"
                            << "fist";
    QTest::newRow("a blank at the end") << "[one]\nfirst\n\n[two]\n second"
                                        << "[two], line 5"
                                        << " second "
                                        << " second";
    QTest::newRow("a line too few") << "[one]\nfirst\n\n[two]"
                                    << "[two], line 5"
                                    << " second " << end;
    QTest::newRow("a line too many") << "[one]\nfirst\n\n[two]\n second \n"
                                     << "[two], line 6" << end << "";
    QTest::newRow("another order") << "[two]\n second \n\n[one]\nfirst"
                                   << "[one], line 1"
                                   << "[one]"
                                   << "[two]";
}

void tst_GoldenFile::differenceNamesLineExpectedAndActual()
{
    QFETCH(QString, text);
    QFETCH(QString, place);
    QFETCH(QString, expected);
    QFETCH(QString, actual);
    const QString difference = this->difference(text.split('\n'));
    QCOMPARE(difference, QString("%1, %2\n   expected: %3\n   actual:   %4").arg(path(), place, expected, actual));
}

void tst_GoldenFile::missingFileIsADifference()
{
    QVERIFY(QFile::remove(path()));
    QVERIFY(!difference({"x"}).isEmpty());
    QVERIFY(!QFile::exists(path()));
}

void tst_GoldenFile::onlyTheSwitchRewritesTheFile()
{
    const QByteArray before = read();
    for (const char *value : {"", "0", "true"}) {
        qputenv("STK_UPDATE_GOLDEN", value);
        QVERIFY(!difference({"x"}).isEmpty());
        QCOMPARE(read(), before);
    }
}

void tst_GoldenFile::rewritingIsReportedAndEndsTheDifference()
{
    qputenv("STK_UPDATE_GOLDEN", "1");
    const QString difference = this->difference({"x", " y "});
    QVERIFY2(difference.contains("was rewritten"), qPrintable(difference));
    QCOMPARE(read(), QByteArray("x\n y \n"));
    QCOMPARE(this->difference({"x", " y "}), QString());
}

QTEST_GUILESS_MAIN(tst_GoldenFile)
#include "tst_GoldenFile.moc"
