#include "platform/core/WaveBytes.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtTest/QtTest>

/// The tone files as the build leaves them beside the plug-in. What is expected stands here a second time, written
/// from the standard, not taken from the generator's table.
class tst_ToneFiles : public QObject
{
    Q_OBJECT

private slots:
    void theseFilesAndNoOthers();
    void isAWaveFileOfATelephoneLine_data() { tone_data(); }
    void isAWaveFileOfATelephoneLine();
    void cadence_data() { tone_data(); }
    void cadence();
    void frequencies_data() { tone_data(); }
    void frequencies();
    void doesNotClick_data() { tone_data(); }
    void doesNotClick();
    void sameSoundForDigitsAndValue_data();
    void sameSoundForDigitsAndValue();

private:
    void tone_data();
};

namespace
{

const int rate = 8000;
const int headSize = 44;

QByteArray bytesOf(int number)
{
    QFile file(QString("%1/tone_%2.wav").arg(STK_TONES).arg(number));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

wave::Samples samplesOf(int number)
{
    return wave::samples(bytesOf(number).mid(headSize));
}

using Numbers = QVector<int>;

} // namespace

Q_DECLARE_METATYPE(Numbers)

/// Sounds and pauses in milliseconds, in turn; they are repeated to the end of the file. The frequencies in Hz are of
/// parts of the first sound, which lasts as long as the parts together.
void tst_ToneFiles::tone_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<int>("length");
    QTest::addColumn<Numbers>("cadence");
    QTest::addColumn<Numbers>("pitches");
    QTest::newRow("dial") << 1 << 30000 << Numbers{30000} << Numbers{425};
    QTest::newRow("busy") << 2 << 30000 << Numbers{500, 500} << Numbers{425};
    QTest::newRow("congestion") << 3 << 30000 << Numbers{200, 200} << Numbers{425};
    QTest::newRow("radio path acknowledgement") << 4 << 200 << Numbers{200} << Numbers{425};
    QTest::newRow("call dropped") << 5 << 1000 << Numbers{200, 200, 200, 200, 200} << Numbers{425};
    QTest::newRow("error") << 6 << 30000 << Numbers{990, 1000} << Numbers{950, 1400, 1800};
    QTest::newRow("call waiting") << 7 << 5000 << Numbers{200, 600, 200, 3000, 200, 600, 200} << Numbers{425};
    QTest::newRow("ringing") << 8 << 30000 << Numbers{1000, 4000} << Numbers{425};
    QTest::newRow("beep") << 10 << 200 << Numbers{200} << Numbers{1000};
    QTest::newRow("positive") << 11 << 340 << Numbers{120, 40, 180} << Numbers{660};
    QTest::newRow("negative") << 12 << 700 << Numbers{200, 100, 400} << Numbers{330};
}

void tst_ToneFiles::theseFilesAndNoOthers()
{
    QStringList expected;
    for (int number : {1, 2, 3, 4, 5, 6, 7, 8, 10, 11, 12, 16, 17, 18})
        expected << QString("tone_%1.wav").arg(number);
    expected.sort();
    QCOMPARE(QDir(STK_TONES).entryList({"*.wav"}, QDir::Files, QDir::Name), expected);
}

void tst_ToneFiles::isAWaveFileOfATelephoneLine()
{
    QFETCH(int, number);
    QFETCH(int, length);
    const QByteArray bytes = bytesOf(number);
    const int size = length * rate / 1000 * 2;
    QCOMPARE(bytes.left(headSize),
             wave::file(wave::format(rate, 16) + wave::chunk("data", QByteArray(size, 0))).left(headSize));
    QCOMPARE(bytes.size(), headSize + size);
}

void tst_ToneFiles::cadence()
{
    QFETCH(int, number);
    QFETCH(int, length);
    QFETCH(Numbers, cadence);
    const QVector<wave::Sound> sounds = wave::sounds(samplesOf(number), rate);
    int time = 0, count = 0;
    for (int i = 0; time < length; i = (i + 1) % cadence.size()) {
        const int duration = qMin(cadence.at(i), length - time);
        if (i % 2 == 0 && duration > 10) {
            QVERIFY(count < sounds.size());
            QVERIFY(qAbs(sounds.at(count).start - time) <= 10);
            QVERIFY(qAbs(sounds.at(count).length - duration) <= 20);
            ++count;
        }
        time += duration;
    }
    QCOMPARE(sounds.size(), count);
}

void tst_ToneFiles::frequencies()
{
    QFETCH(int, number);
    QFETCH(Numbers, cadence);
    QFETCH(Numbers, pitches);
    const wave::Samples samples = samplesOf(number);
    const int part = qMin(cadence.first(), 2000) / pitches.size() * rate / 1000;
    for (int i = 0; i < pitches.size(); ++i) {
        const int start = i * part + part / 10;
        const int count = part * 8 / 10;
        const double there = wave::amplitude(samples, rate, pitches.at(i), start, count);
        QVERIFY2(qAbs(there - 0.25) < 0.02, qPrintable(QString::number(there)));
        // Nothing else sounds: the power of one sine of this amplitude is all that there is.
        QVERIFY(qAbs(wave::loudness(samples, start, count) * std::sqrt(2.0) - there) < 0.01);
        QVERIFY(wave::amplitude(samples, rate, pitches.at(i) + 50, start, count) < there / 4);
        QVERIFY(wave::amplitude(samples, rate, pitches.at(i) - 50, start, count) < there / 4);
    }
}

/// A click is a jump: between two neighbours the highest tone alone never moves further than its slope.
void tst_ToneFiles::doesNotClick()
{
    QFETCH(int, number);
    QFETCH(Numbers, pitches);
    const double highest = number == 11 ? 880 : *std::max_element(pitches.begin(), pitches.end());
    const double slope = 0.25 * 2 * 3.14159265358979323846 * highest / rate;
    const wave::Samples samples = samplesOf(number);
    QVERIFY(qAbs(samples.first()) < 0.01);
    QVERIFY(qAbs(samples.last()) < 0.01);
    for (int i = 1; i < samples.size(); ++i)
        QVERIFY(qAbs(samples.at(i) - samples.at(i - 1)) <= slope * 1.01);
    // It swells and fades: the first and last 2 ms of a sound are quieter than the sound itself.
    for (const wave::Sound &sound : wave::sounds(samples, rate).mid(0, 3)) {
        const int begin = sound.start * rate / 1000;
        const double middle = wave::loudness(samples, begin + sound.length * rate / 2000 - rate / 50, rate / 25);
        QVERIFY(wave::loudness(samples, begin, rate / 500) < middle / 2);
    }
}

void tst_ToneFiles::sameSoundForDigitsAndValue_data()
{
    QTest::addColumn<int>("digits");
    QTest::addColumn<int>("value");
    for (int digits : {10, 11, 12})
        QTest::addRow("'%d'", digits) << digits << QString::number(digits).toInt(nullptr, 16);
}

void tst_ToneFiles::sameSoundForDigitsAndValue()
{
    QFETCH(int, digits);
    QFETCH(int, value);
    QVERIFY(!bytesOf(digits).isEmpty());
    QCOMPARE(bytesOf(value), bytesOf(digits));
}

QTEST_GUILESS_MAIN(tst_ToneFiles)
#include "tst_ToneFiles.moc"
