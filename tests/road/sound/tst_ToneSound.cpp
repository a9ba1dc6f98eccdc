#include "SoundServer.h"
#include "core/CoreControl.h"
#include "core/WsSound.h"
#include "support/Journal.h"
#include "support/LogCapture.h"
#include "support/Peek.h"
#include "support/SdkDouble.h"
#include "support/World.h"

#include "STKPlugin/STKDialog.h"
#include "STKPlugin/STKLogic.h"
#include "STKPlugin/STKThread.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QPointer>
#include <QtCore/QScopedPointer>
#include <QtTest/QtTest>
#include <QtWidgets/QWidget>

/// Tones as they are heard: from the card's PLAY TONE through the window and the player to the sound server, whose
/// output is recorded.
class tst_ToneSound : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void toneOfTheCardIsHeard_data();
    void toneOfTheCardIsHeard();
    void endsWithTheDurationOrTheFile_data();
    void endsWithTheDurationOrTheFile();
    void secondToneReplacesTheFirst();
    void closingTheWindowForGoodEndsTheTone();

    void playerReportsTheEndWhenItIsHeard();
    void stopIsHeard();
    void deletingThePlayerIsHeard();
    void serverThatDiesEndsTheSound();

private:
    bool openWindow();
    void playTone(int number, int seconds);
    QString tone(int number) const { return QString(STK_LIBRARIES "/plugins/STKPlugin/tone_%1.wav").arg(number); }

    QScopedPointer<SoundServer> m_server;
    QScopedPointer<support::LogCapture> m_log;
    QScopedPointer<support::SdkDouble> m_sdk;
    QPointer<QWidget> m_host;
};

namespace
{

const int commandId = 5;
const int limit = 15000;   // milliseconds
const int toneStart = 400; // milliseconds that a loaded machine may take to let the sound be heard or end
const int tail = 600;      // milliseconds of silence that end a recording

using Numbers = QVector<int>;

struct DialogPeek : STKDialog {
    using STKDialog::m_pStkDialogInstance;
    using STKDialog::m_pStkThread;
};

QString toText(const QVector<wave::Sound> &sounds)
{
    QStringList parts;
    for (const wave::Sound &sound : sounds)
        parts << QString("%1+%2").arg(sound.start).arg(sound.length);
    return parts.join(' ');
}

/// Whether the middle of a sound is a sine of `frequency` Hz and of the tone files' loudness, and nothing else.
bool isSine(const wave::Samples &samples, const wave::Sound &sound, double frequency)
{
    const int perMs = SoundServer::rate / 1000;
    const int count = sound.length * 6 / 10 * perMs;
    const int start = (sound.start + sound.length * 2 / 10) * perMs;
    const double there = wave::amplitude(samples, SoundServer::rate, frequency, start, count);
    const double all = wave::loudness(samples, start, count) * std::sqrt(2.0);
    return there > 0.2 && there < 0.3 && qAbs(all - there) < 0.02;
}

} // namespace

Q_DECLARE_METATYPE(Numbers)

void tst_ToneSound::init()
{
    m_server.reset(new SoundServer);
    QVERIFY(m_server->start());
    m_log.reset(new support::LogCapture);
    core::setPluginLibraryPath(STK_LIBRARIES);
    support::journal::clear();
}

void tst_ToneSound::cleanup()
{
    if (DialogPeek::m_pStkDialogInstance) {
        STKDialog *dialog = STKDialog::Instance();
        QPointer<STKThread> thread = dialog->*(&DialogPeek::m_pStkThread);
        dialog->unSDKRegisterEvent();
        STKDialog::Destroy();
        delete thread;
    }
    delete m_host;
    QStringList problems = m_sdk ? m_sdk->faults() : QStringList();
    m_sdk.reset();
    core::setPluginLibraryPath(QString());
    problems += support::leftovers() + (m_log ? m_log->warnings().filter("WsSound") : QStringList());
    m_log.reset();
    m_server.reset();
    QCOMPARE(problems, QStringList());
}

bool tst_ToneSound::openWindow()
{
    m_sdk.reset(new support::SdkDouble);
    m_sdk->setMainMenu("Operator", {{1, "Balance"}});
    m_host = new QWidget;
    m_host->show();
    core::setMainWindow(m_host);
    QRect rect(0, 0, 640, 480);
    return STKDialog::Instance()->ShowStkDlg(m_host, rect);
}

/// The card's command, which is to be answered at once: carried out.
void tst_ToneSound::playTone(int number, int seconds)
{
    support::journal::clear();
    m_sdk->setTone(number, seconds, "Listen");
    m_sdk->raiseStk(MDSV_STKTYPE_PLAY_TONE, commandId);
    QCOMPARE(support::journal::lines("MDSV_STKSrv_SendNoDataResponse").size(), 1);
}

/// The sounds and pauses of the cadence in milliseconds, in turn.
void tst_ToneSound::toneOfTheCardIsHeard_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<int>("seconds");
    QTest::addColumn<double>("frequency");
    QTest::addColumn<Numbers>("cadence");
    QTest::newRow("dial") << 1 << 2 << 425.0 << Numbers{2000};
    QTest::newRow("busy") << 2 << 3 << 425.0 << Numbers{500, 500, 500, 500, 500};
    QTest::newRow("acknowledgement, shorter than asked for") << 4 << 3 << 425.0 << Numbers{200};
    QTest::newRow("call dropped") << 5 << 3 << 425.0 << Numbers{200, 200, 200, 200, 200};
    QTest::newRow("ringing, one second of it") << 8 << 2 << 425.0 << Numbers{1000};
    QTest::newRow("beep") << 16 << 1 << 1000.0 << Numbers{200};
    QTest::newRow("tone without a file rings") << 64 << 2 << 425.0 << Numbers{1000};
}

void tst_ToneSound::toneOfTheCardIsHeard()
{
    QFETCH(int, number);
    QFETCH(int, seconds);
    QFETCH(double, frequency);
    QFETCH(Numbers, cadence);
    QVERIFY(openWindow());
    QVERIFY(m_server->record());
    playTone(number, seconds);
    QTRY_VERIFY_WITH_TIMEOUT(!m_server->sounds().isEmpty(), limit);
    QVERIFY(m_server->waitForSilence(qMax(tail, seconds * 1000)));

    QVector<wave::Sound> sounds = m_server->sounds();
    const wave::Samples samples = m_server->recorded();
    const wave::Sound last = sounds.last();
    if (last.start - sounds.first().start > seconds * 1000 - 50 && last.length < toneStart)
        sounds.removeLast(); // had begun when the time was over
    QVERIFY2(sounds.size() == (cadence.size() + 1) / 2, qPrintable(toText(sounds)));
    int time = sounds.first().start;
    for (int i = 0; i < cadence.size(); ++i) {
        if (i % 2 == 0) {
            const wave::Sound sound = sounds.at(i / 2);
            QVERIFY2(qAbs(sound.start - time) <= 40, qPrintable(toText(sounds)));
            // The window's timer cuts the last one when it will; the others are as the file has them.
            const bool cut = time - sounds.first().start + cadence.at(i) >= seconds * 1000;
            QVERIFY2(qAbs(sound.length - cadence.at(i)) <= (cut ? toneStart : 30), qPrintable(toText(sounds)));
            QVERIFY(isSine(samples, sound, frequency));
        }
        time += cadence.at(i);
    }
}

void tst_ToneSound::endsWithTheDurationOrTheFile_data()
{
    QTest::addColumn<int>("number");
    QTest::addColumn<int>("seconds");
    QTest::addColumn<int>("length"); // milliseconds
    QTest::newRow("half of call waiting") << 7 << 2 << 1000;
    QTest::newRow("all of call waiting") << 7 << 9 << 5000;
    QTest::newRow("three pitches") << 6 << 1 << 990;
}

void tst_ToneSound::endsWithTheDurationOrTheFile()
{
    QFETCH(int, number);
    QFETCH(int, seconds);
    QFETCH(int, length);
    QVERIFY(openWindow());
    QVERIFY(m_server->record());
    playTone(number, seconds);
    QTRY_VERIFY_WITH_TIMEOUT(!m_server->sounds().isEmpty(), limit);
    QVERIFY(m_server->waitForSilence(3500)); // longer than the longest pause
    const QVector<wave::Sound> sounds = m_server->sounds();
    const int heard = sounds.last().start + sounds.last().length - sounds.first().start;
    QVERIFY2(qAbs(heard - length) <= 150, qPrintable(toText(sounds)));
}

void tst_ToneSound::secondToneReplacesTheFirst()
{
    QVERIFY(openWindow());
    QVERIFY(m_server->record());
    playTone(1, 20);
    QTRY_VERIFY_WITH_TIMEOUT(!m_server->sounds().isEmpty() && m_server->sounds().last().length > 500, limit);
    playTone(16, 20);
    QVERIFY(m_server->waitForSilence(tail));
    const wave::Samples samples = m_server->recorded();
    const QVector<wave::Sound> sounds = m_server->sounds();
    const wave::Sound all = sounds.last();
    const wave::Sound beep = {all.start + all.length - 190, 180};
    QVERIFY2(isSine(samples, beep, 1000), qPrintable(toText(sounds)));
    QVERIFY(isSine(samples, {sounds.first().start, 400}, 425));
    QVERIFY2(all.start + all.length - sounds.first().start < 3000, qPrintable(toText(sounds)));
}

void tst_ToneSound::closingTheWindowForGoodEndsTheTone()
{
    QVERIFY(openWindow());
    QVERIFY(m_server->record());
    playTone(1, 20);
    QTRY_VERIFY_WITH_TIMEOUT(!m_server->sounds().isEmpty() && m_server->sounds().last().length > 500, limit);
    STKDialog *dialog = STKDialog::Instance();
    QPointer<STKThread> thread = dialog->*(&DialogPeek::m_pStkThread);
    dialog->unSDKRegisterEvent();
    STKDialog::Destroy();
    delete thread;
    QVERIFY(m_server->waitForSilence(tail));
    QVERIFY2(m_server->sounds().last().length < 3000, qPrintable(toText(m_server->sounds())));
}

void tst_ToneSound::playerReportsTheEndWhenItIsHeard()
{
    QVERIFY(m_server->record());
    WsSound sound(tone(5));
    QSignalSpy finished(&sound, SIGNAL(finished()));
    QElapsedTimer clock;
    clock.start();
    QVERIFY(sound.Play());
    QVERIFY(finished.wait(limit));
    const qint64 time = clock.elapsed();
    QVERIFY2(time > 950 && time < 2600, qPrintable(QString::number(time)));
    QVERIFY(!sound.IsPlaying());
    QVERIFY(m_server->waitForSilence(tail));
    QCOMPARE(m_server->sounds().size(), 3); // all of it, the last one not cut
    QVERIFY2(qAbs(m_server->sounds().last().length - 200) <= 30, qPrintable(toText(m_server->sounds())));
    QCOMPARE(finished.count(), 1);
}

void tst_ToneSound::stopIsHeard()
{
    QVERIFY(m_server->record());
    WsSound sound(tone(1));
    QSignalSpy finished(&sound, SIGNAL(finished()));
    QVERIFY(sound.Play());
    QTRY_VERIFY_WITH_TIMEOUT(!m_server->sounds().isEmpty() && m_server->sounds().last().length > 500, limit);
    const int before = m_server->sounds().last().length;
    sound.Stop();
    QVERIFY(m_server->waitForSilence(tail));
    QCOMPARE(m_server->sounds().size(), 1);
    const int after = m_server->sounds().last().length;
    QVERIFY2(after < before + 3 * toneStart, qPrintable(QString("%1, then %2").arg(before).arg(after)));
    QCOMPARE(finished.count(), 0);
}

void tst_ToneSound::deletingThePlayerIsHeard()
{
    QVERIFY(m_server->record());
    QScopedPointer<WsSound> sound(new WsSound(tone(1)));
    QVERIFY(sound->Play());
    QTRY_VERIFY_WITH_TIMEOUT(!m_server->sounds().isEmpty() && m_server->sounds().last().length > 500, limit);
    sound.reset();
    QVERIFY(m_server->waitForSilence(tail));
    QVERIFY2(m_server->sounds().last().length < 3000, qPrintable(toText(m_server->sounds())));
}

void tst_ToneSound::serverThatDiesEndsTheSound()
{
    QVERIFY(m_server->record());
    WsSound sound(tone(7)); // five seconds
    QSignalSpy finished(&sound, SIGNAL(finished()));
    QVERIFY(sound.Play());
    QTRY_VERIFY_WITH_TIMEOUT(!m_server->sounds().isEmpty(), limit);
    m_server->kill();
    QVERIFY(finished.wait(limit));
    QVERIFY(!sound.IsPlaying());
    QCOMPARE(finished.count(), 1);
}

QTEST_MAIN(tst_ToneSound)
#include "tst_ToneSound.moc"
