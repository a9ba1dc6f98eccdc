#include "core/WsSound.h"

#include <QtTest/QtTest>

class tst_WsSound : public QObject
{
    Q_OBJECT

private slots:
    void withoutSoundNothingPretendsToPlay();
    void stopBeforePlayDoesNothing();
};

void tst_WsSound::withoutSoundNothingPretendsToPlay()
{
    WsSound sound("tone_3.wav");
    QSignalSpy finished(&sound, SIGNAL(finished()));
    QTest::ignoreMessage(QtWarningMsg, "WsSound: \"tone_3.wav\" is not played: this build has no sound");
    QVERIFY(!sound.Play());
    QVERIFY(!sound.IsPlaying());
    QCoreApplication::processEvents();
    QCOMPARE(finished.count(), 0);
}

void tst_WsSound::stopBeforePlayDoesNothing()
{
    WsSound sound("tone_3.wav");
    QSignalSpy finished(&sound, SIGNAL(finished()));
    sound.Stop();
    QVERIFY(!sound.IsPlaying());
    QCOMPARE(finished.count(), 0);
}

QTEST_GUILESS_MAIN(tst_WsSound)
#include "tst_WsSound.moc"
