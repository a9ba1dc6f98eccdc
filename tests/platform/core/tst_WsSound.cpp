#include "core/WsSound.h"
#include "platform/core/WaveBytes.h"
#include "support/LogCapture.h"

#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QPointer>
#include <QtCore/QScopedPointer>
#include <QtCore/QTemporaryDir>
#include <QtTest/QtTest>

/// The player where there is no sound server; tst_ToneSound listens to it where there is one.
class tst_WsSound : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void cleanup();

    void endsAfterTheFilesLength_data();
    void endsAfterTheFilesLength();
    void saysOnceThatNothingIsHeard();
    void refusesWhatIsNoSound_data();
    void refusesWhatIsNoSound();
    void refusesAMissingFile();
    void refusesAFolder();
    void stopBeforePlayDoesNothing();
    void stopEndsWithoutASignal();
    void playsAgainAfterStop();
    void playsAgainAfterTheEnd();
    void playWhilePlayingStartsAgain();
    void fileGoneAtTheSecondPlay();
    void deletedInItsOwnSignal();
    void playedAgainInItsOwnSignal();
    void deletedWhilePlaying();
    void twoPlayersOfOneFile();
    void startedAndStoppedManyTimes();
    void fileCutOffWhilePlaying();

private:
    QString write(const QByteArray &bytes, const char *name = "sound.wav");

    /// Warnings of the player; Qt's own say that there is no server.
    QStringList warnings() const;

    QScopedPointer<QTemporaryDir> m_folder;
    QScopedPointer<support::LogCapture> m_log;
    int m_said = 0; ///< in the tests before this one
};

namespace
{

const int limit = 10000; // milliseconds

} // namespace

void tst_WsSound::initTestCase()
{
    QTemporaryDir nowhere;
    QVERIFY(nowhere.isValid());
    qputenv("PULSE_SERVER", "unix:" + QFile::encodeName(nowhere.filePath("no-server")));
}

void tst_WsSound::init()
{
    m_folder.reset(new QTemporaryDir);
    QVERIFY(m_folder->isValid());
    m_log.reset(new support::LogCapture);
}

void tst_WsSound::cleanup()
{
    m_said += warnings().filter("is not heard: no sound server").count();
    QVERIFY(m_said <= 1);
    m_log.reset();
    m_folder.reset();
}

QString tst_WsSound::write(const QByteArray &bytes, const char *name)
{
    QFile file(m_folder->filePath(name));
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() ? file.fileName() : QString();
}

QStringList tst_WsSound::warnings() const
{
    return m_log->warnings().filter("WsSound");
}

void tst_WsSound::endsAfterTheFilesLength_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<int>("length"); // milliseconds
    using namespace wave;
    const QByteArray second(8000, 0);
    QTest::newRow("16 bits") << silence(500) << 500;
    QTest::newRow("8 bits") << file(format(8000, 8) + chunk("data", second)) << 1000;
    QTest::newRow("24 bits") << file(format(4000, 24) + chunk("data", second)) << 667;
    QTest::newRow("32 bits") << file(format(4000, 32) + chunk("data", second)) << 500;
    QTest::newRow("two channels") << file(format(4000, 16, 2) + chunk("data", second)) << 500;
    QTest::newRow("CD quality") << file(format(44100, 16, 2) + chunk("data", QByteArray(88200, 0))) << 500;
    QTest::newRow("chunks before the format")
        << file(chunk("LIST", "abc") + format(8000, 8) + chunk("data", second)) << 1000;
    QTest::newRow("chunks before the sound")
        << file(format(8000, 8) + chunk("fact", "1234") + chunk("LIST", "a") + chunk("data", second)) << 1000;
    QTest::newRow("chunks behind the sound")
        << file(format(8000, 8) + chunk("data", second) + chunk("LIST", "abcd")) << 1000;
    QTest::newRow("bytes behind the file") << silence(500) + "junk" << 500;
    QTest::newRow("long format chunk") << file(chunk("fmt ", format(8000, 8).mid(8) + number(0, 2)) +
                                               chunk("data", second))
                                       << 1000;
}

void tst_WsSound::endsAfterTheFilesLength()
{
    QFETCH(QByteArray, bytes);
    QFETCH(int, length);
    WsSound sound(write(bytes));
    QSignalSpy finished(&sound, SIGNAL(finished()));
    QVERIFY(!sound.IsPlaying());
    QElapsedTimer clock;
    clock.start();
    QVERIFY(sound.Play());
    QVERIFY(sound.IsPlaying());
    QCOMPARE(finished.count(), 0);
    bool playingAtTheEnd = true;
    connect(&sound, &WsSound::finished, this, [&] { playingAtTheEnd = sound.IsPlaying(); });
    QVERIFY(finished.wait(limit));
    const qint64 time = clock.elapsed();
    QVERIFY2(time >= length - 30 && time < length + 1000, qPrintable(QString::number(time)));
    QVERIFY(!playingAtTheEnd);
    QVERIFY(!sound.IsPlaying());
    QVERIFY(!finished.wait(100));
    QCOMPARE(finished.count(), 1);
}

void tst_WsSound::saysOnceThatNothingIsHeard()
{
    const QString file = write(wave::silence(400));
    for (int i = 0; i < 3; ++i) {
        WsSound sound(file);
        QSignalSpy finished(&sound, SIGNAL(finished()));
        QVERIFY(sound.Play());
        QVERIFY(finished.wait(limit));
    }
    QCOMPARE(m_said + warnings().filter("is not heard: no sound server").count(), 1);
}

void tst_WsSound::refusesWhatIsNoSound_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("reason");
    using namespace wave;
    const QByteArray data = chunk("data", QByteArray(8000, 0));
    const QByteArray good = silence(500);
    QByteArray huge = good;
    huge.replace(40, 4, number(0xffffffff, 4));
    QTest::newRow("empty") << QByteArray() << "it is no wave file";
    QTest::newRow("text") << QByteArray("This is no sound at all, but it is long enough for a head.")
                          << "it is no wave file";
    QTest::newRow("other byte order") << QByteArray("RIFX") + good.mid(4) << "it is no wave file";
    QTest::newRow("other RIFF file") << chunk("RIFF", "AVI " + format(8000, 16) + data) << "it is no wave file";
    QTest::newRow("head only") << good.left(12) << "it does not say how its sound is coded";
    QTest::newRow("no format") << file(data) << "it does not say how its sound is coded";
    QTest::newRow("short format") << file(chunk("fmt ", format(8000, 16).mid(8, 14)) + data)
                                  << "it does not say how its sound is coded";
    QTest::newRow("cut in the format") << good.left(30) << "it does not say how its sound is coded";
    QTest::newRow("format far too long") << "RIFF" + number(60, 4) + "WAVEfmt " + number(0xfffffffe, 4) +
                                                format(8000, 16).mid(8)
                                         << "there is no sound in it";
    QTest::newRow("compressed") << file(format(8000, 8, 1, 6) + data)
                                << "its coding 6 is not known, only uncompressed samples are";
    QTest::newRow("no channels") << file(format(8000, 16, 0) + data) << "it has 0 channels, not 1 to 8";
    QTest::newRow("many channels") << file(format(8000, 16, 9) + data) << "it has 9 channels, not 1 to 8";
    QTest::newRow("no rate") << file(format(0, 16) + data) << "it has 0 samples in a second, not 1000 to 192000";
    QTest::newRow("rate too high") << file(format(192001, 16) + data)
                                   << "it has 192001 samples in a second, not 1000 to 192000";
    QTest::newRow("no bits") << file(format(8000, 0) + data) << "its samples have 0 bits, not 8, 16, 24 or 32";
    QTest::newRow("12 bits") << file(format(8000, 12) + data) << "its samples have 12 bits, not 8, 16, 24 or 32";
    QTest::newRow("no data") << file(format(8000, 16)) << "there is no sound in it";
    QTest::newRow("empty data") << file(format(8000, 16) + chunk("data", "")) << "there is no sound in it";
    QTest::newRow("half a sample") << file(format(8000, 16) + chunk("data", "a")) << "there is no sound in it";
    QTest::newRow("cut off") << good.left(good.size() - 1)
                             << "it is cut off: 8000 bytes of sound are announced, 7999 are there";
    QTest::newRow("too large") << good + QByteArray(16 * 1024 * 1024, 0) << "it is larger than 16 MiB";
    QTest::newRow("size unknown") << huge << "it is cut off: 4294967295 bytes of sound are announced, 8000 are there";
}

void tst_WsSound::refusesWhatIsNoSound()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, reason);
    const QString file = write(bytes);
    WsSound sound(file);
    QSignalSpy finished(&sound, SIGNAL(finished()));
    QVERIFY(!sound.Play());
    QVERIFY(!sound.IsPlaying());
    QCOMPARE(m_log->warnings(), QStringList("WsSound: \"" + file + "\" cannot be played: " + reason));
    sound.Stop();
    QVERIFY(!finished.wait(50));
}

void tst_WsSound::refusesAMissingFile()
{
    for (const QString &file : {QString(), QString("no-such-folder/tone.wav")}) {
        m_log->clear();
        WsSound sound(file);
        QVERIFY(!sound.Play());
        QVERIFY(!sound.IsPlaying());
        QCOMPARE(m_log->warnings().filter("WsSound: \"" + file + "\" cannot be played: ").count(), 1);
    }
}

void tst_WsSound::refusesAFolder()
{
    WsSound sound(m_folder->path());
    QVERIFY(!sound.Play());
    QCOMPARE(warnings().count(), 1);
}

void tst_WsSound::stopBeforePlayDoesNothing()
{
    WsSound sound(write(wave::silence(400)));
    QSignalSpy finished(&sound, SIGNAL(finished()));
    sound.Stop();
    QVERIFY(!sound.IsPlaying());
    QVERIFY(!finished.wait(50));
    QCOMPARE(m_log->warnings(), QStringList());
}

void tst_WsSound::stopEndsWithoutASignal()
{
    WsSound sound(write(wave::silence(400)));
    QSignalSpy finished(&sound, SIGNAL(finished()));
    QVERIFY(sound.Play());
    sound.Stop();
    QVERIFY(!sound.IsPlaying());
    sound.Stop();
    QVERIFY(!finished.wait(800)); // longer than the file
    QVERIFY(!sound.IsPlaying());
}

void tst_WsSound::playsAgainAfterStop()
{
    WsSound sound(write(wave::silence(400)));
    QSignalSpy finished(&sound, SIGNAL(finished()));
    QVERIFY(sound.Play());
    sound.Stop();
    QVERIFY(sound.Play());
    QVERIFY(finished.wait(limit));
    QVERIFY(!finished.wait(500));
    QCOMPARE(finished.count(), 1);
}

void tst_WsSound::playsAgainAfterTheEnd()
{
    WsSound sound(write(wave::silence(300)));
    QSignalSpy finished(&sound, SIGNAL(finished()));
    for (int i = 1; i <= 2; ++i) {
        QVERIFY(sound.Play());
        QVERIFY(finished.wait(limit));
        QCOMPARE(finished.count(), i);
    }
}

void tst_WsSound::playWhilePlayingStartsAgain()
{
    WsSound sound(write(wave::silence(800)));
    QSignalSpy finished(&sound, SIGNAL(finished()));
    QVERIFY(sound.Play());
    QVERIFY(!finished.wait(400));
    QElapsedTimer clock;
    clock.start();
    QVERIFY(sound.Play());
    QVERIFY(sound.IsPlaying());
    QVERIFY(finished.wait(limit));
    QVERIFY(clock.elapsed() >= 770);
    QVERIFY(!finished.wait(400));
    QCOMPARE(finished.count(), 1);
}

void tst_WsSound::fileGoneAtTheSecondPlay()
{
    const QString file = write(wave::silence(400));
    WsSound sound(file);
    QSignalSpy finished(&sound, SIGNAL(finished()));
    QVERIFY(sound.Play());
    QVERIFY(QFile::remove(file));
    QVERIFY(!sound.Play());
    QVERIFY(!sound.IsPlaying());
    QVERIFY(!finished.wait(600));
}

void tst_WsSound::deletedInItsOwnSignal()
{
    QPointer<WsSound> sound = new WsSound(write(wave::silence(300)));
    int ends = 0;
    connect(sound, &WsSound::finished, this, [&] {
        ++ends;
        delete sound;
    });
    QVERIFY(sound->Play());
    QTRY_VERIFY_WITH_TIMEOUT(!sound, limit);
    QTest::qWait(100); // whatever is still on its way to the player
    QCOMPARE(ends, 1);
}

void tst_WsSound::playedAgainInItsOwnSignal()
{
    WsSound sound(write(wave::silence(300)));
    int ends = 0;
    bool again = false;
    connect(&sound, &WsSound::finished, this, [&] {
        if (++ends == 1)
            again = sound.Play();
    });
    QVERIFY(sound.Play());
    QTRY_COMPARE_WITH_TIMEOUT(ends, 2, limit);
    QVERIFY(again);
    QVERIFY(!sound.IsPlaying());
}

void tst_WsSound::deletedWhilePlaying()
{
    QScopedPointer<WsSound> sound(new WsSound(write(wave::silence(300))));
    QSignalSpy finished(sound.data(), SIGNAL(finished()));
    QVERIFY(sound->Play());
    sound.reset();
    QTest::qWait(600);
    QCOMPARE(finished.count(), 0);
}

void tst_WsSound::twoPlayersOfOneFile()
{
    const QString file = write(wave::silence(400));
    WsSound first(file), second(file);
    QSignalSpy firstFinished(&first, SIGNAL(finished())), secondFinished(&second, SIGNAL(finished()));
    QVERIFY(first.Play());
    QVERIFY(second.Play());
    first.Stop();
    QVERIFY(second.IsPlaying());
    QVERIFY(secondFinished.wait(limit));
    QCOMPARE(firstFinished.count(), 0);
}

void tst_WsSound::startedAndStoppedManyTimes()
{
    WsSound sound(write(wave::silence(2000)));
    QSignalSpy finished(&sound, SIGNAL(finished()));
    for (int i = 0; i < 100; ++i) {
        QVERIFY(sound.Play());
        if (i % 3 == 0)
            QCoreApplication::processEvents();
        sound.Stop();
    }
    QVERIFY(!sound.IsPlaying());
    QCOMPARE(finished.count(), 0);
}

void tst_WsSound::fileCutOffWhilePlaying()
{
    const QString path = write(wave::silence(500));
    WsSound sound(path);
    QSignalSpy finished(&sound, SIGNAL(finished()));
    QVERIFY(sound.Play());
    QVERIFY(QFile::resize(path, 100));
    QVERIFY(finished.wait(limit));
    QVERIFY(!sound.Play());
}

QTEST_GUILESS_MAIN(tst_WsSound)
#include "tst_WsSound.moc"
