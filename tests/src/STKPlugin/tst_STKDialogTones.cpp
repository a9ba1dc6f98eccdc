// The window's controller: PLAY TONE.
#include "CommandWorld.h"

#include "core/WsSound.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>
#include <QtTest/QtTest>

#include <climits>
#include <memory>

using command::raise;
using command::requests;
using command::verdicts;
namespace journal = support::journal;

namespace
{
const char RESPOND[] = "MDSV_STKSrv_SendNoDataResponse";
const char GET_TONE[] = "MDSV_STKSrv_GetPlayTone";
const int LIMIT_MS = 5000;
const QList<int> ACCEPTED = {1};
const QList<int> REFUSED = {0};
} // namespace

class tst_STKDialogTones : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void toneChoosesItsFile_data();
    void toneChoosesItsFile();
    void toneRunsInOrder_data();
    void toneRunsInOrder();
    void responseGoesOutWhileTheToneSounds();
    void toneTextIsNotShown();
    void durationIsTheTimers_data();
    void durationIsTheTimers();
    void neitherFile_data();
    void neitherFile();
    void neitherFileLeavesAnEarlierTone();
    void toneThatCannotBeRead_data();
    void toneThatCannotBeRead();
    void missingObjectIsNotAnswered_data();
    void missingObjectIsNotAnswered();
    void responseThatFails_data();
    void responseThatFails();
    void playingThatFails_data();
    void playingThatFails();
    void endWithinPlayIsNotHeard();
    void playerThatFailedIsReplaced();
    void noFileName_data();
    void noFileName();

    void timeOutStopsTheTone();
    void timeOutInRealTime_data();
    void timeOutInRealTime();
    void timeOutWithoutATone();
    void timeOutLeavesASilentPlayer();
    void timeOutWithoutATimer();
    void endOfTheFileDeletesThePlayer();
    void endOfTheFileIsLogged();
    void endOfTheFileWithoutObjects();
    void aSecondToneReplacesTheFirst_data();
    void aSecondToneReplacesTheFirst();
    void theWindowClosedWhileAToneSounds();
    void destroyedWhileAToneSounds_data();
    void destroyedWhileAToneSounds();
    void destroyedAtTheEndOfTheFile();
    void destroyedWithinTheResponse_data();
    void destroyedWithinTheResponse();

private:
    void addFile(int tone);
    QString file(int tone) const;
    void play(int tone, int seconds, int cmdId = 9, bool elsewhere = false);
    QTimer *timer() const { return m_world->at(&DialogPeek::m_pToneTimer); }
    WsSound *player() const { return DialogPeek::m_pWsSoundSTK; }

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<DialogWorld> m_world;
};

void tst_STKDialogTones::init()
{
    m_folder.reset(new QTemporaryDir);
    QVERIFY(QDir(m_folder->path()).mkpath("plugins/STKPlugin"));
    m_world.reset(new DialogWorld);
    m_world->core.setPluginLibraryPath(m_folder->path());
    QVERIFY(m_world->show());
    m_world->forget();
}

void tst_STKDialogTones::cleanup()
{
    const QStringList problems = m_world->end();
    QVERIFY(!DialogPeek::m_pWsSoundSTK);
    for (const QPointer<WsSound> &sound : m_world->core.sounds())
        QVERIFY2(!sound, "a player was left behind");
    m_world.reset();
    m_folder.reset();
    QVERIFY2(problems.isEmpty(), qPrintable(problems.join("; ")));
}

QString tst_STKDialogTones::file(int tone) const
{
    return QString("%1/plugins/STKPlugin/tone_%2.wav").arg(m_folder->path()).arg(tone);
}

/// Only its being there counts.
void tst_STKDialogTones::addFile(int tone)
{
    QFile wave(file(tone));
    QVERIFY(wave.open(QIODevice::WriteOnly));
}

void tst_STKDialogTones::play(int tone, int seconds, int cmdId, bool elsewhere)
{
    m_world->sdk.setTone(tone, seconds, "Attention");
    raise(*m_world, MDSV_STKTYPE_PLAY_TONE, cmdId, elsewhere);
}

// ---------------------------------------------------------------- the command

void tst_STKDialogTones::toneChoosesItsFile_data()
{
    QTest::addColumn<QList<int>>("files");
    QTest::addColumn<int>("tone");
    QTest::addColumn<int>("played");
    QTest::newRow("3") << QList<int>({3, 8}) << 3 << 3;
    QTest::newRow("12") << QList<int>({12, 8, 1, 2}) << 12 << 12;
    QTest::newRow("0") << QList<int>({0, 8}) << 0 << 0;
    QTest::newRow("-1") << QList<int>({-1, 8}) << -1 << -1;
    QTest::newRow("largest") << QList<int>({INT_MAX, 8}) << INT_MAX << INT_MAX;
    QTest::newRow("8") << QList<int>({8}) << 8 << 8;
    QTest::newRow("without a file") << QList<int>({3, 8}) << 47 << 8;
    QTest::newRow("negative, without a file") << QList<int>({1, 8}) << -1 << 8;
    QTest::newRow("without a substitute") << QList<int>({5}) << 5 << 5;
}

void tst_STKDialogTones::toneChoosesItsFile()
{
    QFETCH(QList<int>, files);
    QFETCH(int, tone);
    QFETCH(int, played);
    for (int number : files)
        addFile(number);
    play(tone, 60);
    QCOMPARE(journal::lines("WsSound::"),
             QStringList({QString("WsSound::WsSound(\"%1\")").arg(file(played)), "WsSound::Play()"}));
    QVERIFY(player() && player()->IsPlaying());
    QCOMPARE(requests(), QStringList({"GetPlayTone(9, true)", "SendNoDataResponse(9, 5, 1)"}));
    QCOMPARE(verdicts(*m_world), ACCEPTED);
}

void tst_STKDialogTones::toneRunsInOrder_data()
{
    command::threadRows();
}

void tst_STKDialogTones::toneRunsInOrder()
{
    QFETCH(bool, elsewhere);
    addFile(3);
    play(3, 60, 9, elsewhere);
    QStringList calls = journal::lines();
    calls.removeAll("CommonUtils::GetPluginLibraryPath()");
    QCOMPARE(calls, QStringList({"MDSV_STKSrv_GetPlayTone(9, true)", QString("WsSound::WsSound(\"%1\")").arg(file(3)),
                                 "WsSound::Play()", "MDSV_STKSrv_SendNoDataResponse(9, 5, 1)"}));
    QCOMPARE(verdicts(*m_world), ACCEPTED);
    const QStringList started = {"onSTKPlayTone", "playTone", "stopTone"};
    QCOMPARE(logged::started(m_world->log), started);
    const QStringList order = logged::started(m_world->log, nullptr);
    QVERIFY(order.indexOf("STKLogic::SendNoDataResponse") < order.indexOf("STKLogic::UpdateCBReturnVal"));
    QCOMPARE(logged::linesOf(m_world->log, "onSTKPlayTone"),
             QStringList({logged::start("onSTKPlayTone"), logged::end("onSTKPlayTone")}));
}

void tst_STKDialogTones::responseGoesOutWhileTheToneSounds()
{
    addFile(3);
    bool playing = false;
    bool timing = false;
    QList<int> verdictsMeanwhile = {-1};
    m_world->sdk.onCall(RESPOND, [&] {
        playing = player() && player()->IsPlaying();
        timing = timer()->isActive();
        verdictsMeanwhile = verdicts(*m_world);
    });
    play(3, 60);
    QVERIFY(playing);
    QVERIFY(timing);
    QCOMPARE(verdictsMeanwhile, QList<int>());
}

void tst_STKDialogTones::toneTextIsNotShown()
{
    addFile(3);
    const QImage before = m_world->frame()->grab().toImage();
    play(3, 60);
    QVERIFY(m_world->frame()->grab().toImage() == before);
    QCOMPARE(journal::count("ExtendDialog::ExtendDialog"), 0);
    QCOMPARE(journal::count("CommonUtils::ShowMessage"), 0);
}

void tst_STKDialogTones::durationIsTheTimers_data()
{
    QTest::addColumn<int>("seconds");
    QTest::addColumn<int>("milliseconds");
    QTest::newRow("none") << 0 << 0;
    QTest::newRow("1 second") << 1 << 1000;
    QTest::newRow("a minute") << 60 << 60000;
    QTest::newRow("longest") << 65535 << 65535000;
}

void tst_STKDialogTones::durationIsTheTimers()
{
    QFETCH(int, seconds);
    QFETCH(int, milliseconds);
    addFile(3);
    play(3, seconds);
    QVERIFY(timer()->isActive());
    QCOMPARE(timer()->interval(), milliseconds);
    QVERIFY(player() && player()->IsPlaying()); // none ends before control is back in the event loop
}

void tst_STKDialogTones::neitherFile_data()
{
    command::threadRows();
}

void tst_STKDialogTones::neitherFile()
{
    QFETCH(bool, elsewhere);
    addFile(1);
    play(3, 60, 9, elsewhere);
    const QStringList answered = {"GetPlayTone(9, true)", "SendNoDataResponse(9, 5, 0)"};
    QCOMPARE(requests(), answered.mid(0, elsewhere ? 1 : 2)); // the second by the callback, which learns the verdict
    QCOMPARE(verdicts(*m_world), REFUSED);
    QVERIFY(!player());
    QVERIFY(!timer()->isActive());
    QCOMPARE(journal::lines("WsSound::"), QStringList());
    QCOMPARE(command::linesBetween(*m_world, "onSTKPlayTone"),
             QStringList({command::line("Sound file does not exists ", "onSTKPlayTone")}));
}

void tst_STKDialogTones::neitherFileLeavesAnEarlierTone()
{
    addFile(3);
    play(3, 60);
    WsSound *first = player();
    play(4, 1, 10);
    QCOMPARE(player(), first);
    QVERIFY(first->IsPlaying());
    QCOMPARE(timer()->interval(), 60000);
    QCOMPARE(verdicts(*m_world), QList<int>({1, 0}));
}

void tst_STKDialogTones::toneThatCannotBeRead_data()
{
    command::threadRows();
}

void tst_STKDialogTones::toneThatCannotBeRead()
{
    QFETCH(bool, elsewhere);
    addFile(3);
    addFile(8);
    m_world->sdk.answer(GET_TONE, 1);
    play(3, 60, 9, elsewhere);
    const QStringList answered = {"GetPlayTone(9, true)", "SendNoDataResponse(9, 5, 0)"};
    QCOMPARE(requests(), answered.mid(0, elsewhere ? 1 : 2));
    QCOMPARE(verdicts(*m_world), REFUSED);
    QVERIFY(!player());
    QVERIFY(!timer()->isActive());
    QCOMPARE(command::linesBetween(*m_world, "onSTKPlayTone"),
             QStringList({command::line("GetPlayTone() failed ", "onSTKPlayTone")}));
}

void tst_STKDialogTones::missingObjectIsNotAnswered_data()
{
    QTest::addColumn<QString>("missing");
    QTest::newRow("logic") << "logic";
    QTest::newRow("timer") << "timer";
    QTest::newRow("the window is closed") << "window";
}

void tst_STKDialogTones::missingObjectIsNotAnswered()
{
    QFETCH(QString, missing);
    DialogWorld &w = *m_world;
    addFile(3);
    w.sdk.setTone(3, 1, "");
    QTimer *before = timer();
    if (missing == "window")
        w.dialog->onButtonClickClose();
    else if (missing == "timer")
        w.at(&DialogPeek::m_pToneTimer) = nullptr;
    else
        w.at(&DialogPeek::m_pStkLogic) = nullptr;
    w.forget();
    w.dialog->onSTKPlayTone();
    w.at(&DialogPeek::m_pStkLogic) = w.logic;
    if (missing == "timer")
        w.at(&DialogPeek::m_pToneTimer) = before;
    QCOMPARE(journal::lines(), QStringList());
    QCOMPARE(w.log.debug(), QStringList({logged::start("onSTKPlayTone"),
                                         command::line("Logic/timer instance is null ", "onSTKPlayTone")}));
    QVERIFY(!player());
}

void tst_STKDialogTones::responseThatFails_data()
{
    command::threadRows();
}

void tst_STKDialogTones::responseThatFails()
{
    QFETCH(bool, elsewhere);
    addFile(3);
    m_world->sdk.answer(RESPOND, 1);
    play(3, 60, 9, elsewhere);
    QCOMPARE(requests(), QStringList({"GetPlayTone(9, true)", "SendNoDataResponse(9, 5, 1)"}));
    QCOMPARE(command::linesBetween(*m_world, "onSTKPlayTone"),
             QStringList({command::line("SendNoDataResponse Failed of ", "onSTKPlayTone")}));
    QCOMPARE(verdicts(*m_world), ACCEPTED);
    QVERIFY(player() && player()->IsPlaying());
}

void tst_STKDialogTones::playingThatFails_data()
{
    command::threadRows();
}

void tst_STKDialogTones::playingThatFails()
{
    QFETCH(bool, elsewhere);
    addFile(3);
    m_world->core.setPlayResult(false);
    play(3, 60, 9, elsewhere);
    QVERIFY(player());
    QVERIFY(!player()->IsPlaying());
    QVERIFY(timer()->isActive());
    QCOMPARE(command::linesBetween(*m_world, "playTone"), QStringList({command::line("Playing failed ", "playTone")}));
    QCOMPARE(requests(), QStringList({"GetPlayTone(9, true)", "SendNoDataResponse(9, 5, 1)"}));
    QCOMPARE(verdicts(*m_world), ACCEPTED);

    // Its end, if it came all the same, is nobody's.
    support::CoreDouble::finish(player());
    QVERIFY(player());
    QVERIFY(timer()->isActive());
}

void tst_STKDialogTones::endWithinPlayIsNotHeard()
{
    addFile(3);
    // Only a player that has begun to play is listened to.
    journal::setObserver([this](const support::Call &call) {
        if (call.name == "WsSound::Play")
            QMetaObject::invokeMethod(m_world->core.sounds().last(), "finished", Qt::DirectConnection);
    });
    play(3, 60);
    journal::setObserver(nullptr);
    QVERIFY(!logged::started(m_world->log).contains("onPlayingFinished"));
    QVERIFY(player() && player()->IsPlaying());
    QVERIFY(timer()->isActive());
}

void tst_STKDialogTones::playerThatFailedIsReplaced()
{
    addFile(3);
    addFile(4);
    m_world->core.setPlayResult(false);
    play(3, 60);
    m_world->core.setPlayResult(true);
    journal::clear();
    play(4, 60, 10);
    QCOMPARE(journal::lines("WsSound::"),
             QStringList({QString("WsSound::~WsSound(\"%1\")").arg(file(3)),
                          QString("WsSound::WsSound(\"%1\")").arg(file(4)), "WsSound::Play()"}));
    QVERIFY(player()->IsPlaying());
}

void tst_STKDialogTones::noFileName_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("null") << QString();
    QTest::newRow("empty") << QString("");
}

void tst_STKDialogTones::noFileName()
{
    QFETCH(QString, name);
    addFile(3);
    play(3, 60);
    WsSound *first = player();
    m_world->forget();
    m_world->dialog->playTone(name);
    QCOMPARE(m_world->log.debug(),
             QStringList({logged::start("playTone"), command::line("Filename is empty of ", "playTone")}));
    QCOMPARE(player(), first);
    QVERIFY(first->IsPlaying());
    QCOMPARE(journal::lines(), QStringList());
}

// ---------------------------------------------------------------- its end

void tst_STKDialogTones::timeOutStopsTheTone()
{
    addFile(3);
    play(3, 60);
    m_world->forget();
    command::fire(timer());
    QCOMPARE(journal::lines(), QStringList({"WsSound::Stop()", QString("WsSound::~WsSound(\"%1\")").arg(file(3))}));
    QVERIFY(!player());
    QVERIFY(!timer()->isActive());
    QCOMPARE(logged::started(m_world->log), QStringList({"onSTKPlayToneTimeOut", "stopTone"}));
}

void tst_STKDialogTones::timeOutInRealTime_data()
{
    QTest::addColumn<int>("seconds");
    QTest::newRow("none") << 0;
    QTest::newRow("1 second") << 1;
}

void tst_STKDialogTones::timeOutInRealTime()
{
    QFETCH(int, seconds);
    addFile(3);
    QElapsedTimer clock;
    clock.start();
    play(3, seconds);
    QVERIFY(player());
    QTRY_VERIFY_WITH_TIMEOUT(!player(), LIMIT_MS);
    QVERIFY(clock.elapsed() >= seconds * 1000 - 100);
    QVERIFY(!timer()->isActive());
    QCOMPARE(journal::count("WsSound::Stop"), 1);
    QCOMPARE(logged::started(m_world->log).count("onSTKPlayToneTimeOut"), 1);
}

void tst_STKDialogTones::timeOutWithoutATone()
{
    timer()->start(60000);
    command::fire(timer());
    QVERIFY(!timer()->isActive());
    QCOMPARE(journal::lines(), QStringList());
}

void tst_STKDialogTones::timeOutLeavesASilentPlayer()
{
    addFile(3);
    m_world->core.setPlayResult(false);
    play(3, 60);
    command::fire(timer());
    QVERIFY(player());
    QVERIFY(!timer()->isActive());
    QCOMPARE(journal::count("WsSound::Stop"), 0);
}

void tst_STKDialogTones::timeOutWithoutATimer()
{
    addFile(3);
    play(3, 60);
    QTimer *before = timer();
    m_world->at(&DialogPeek::m_pToneTimer) = nullptr;
    m_world->dialog->onSTKPlayToneTimeOut();
    QVERIFY(player() && player()->IsPlaying());
    m_world->at(&DialogPeek::m_pToneTimer) = before;
    QVERIFY(timer()->isActive());
}

void tst_STKDialogTones::endOfTheFileDeletesThePlayer()
{
    addFile(3);
    play(3, 60);
    const QPointer<WsSound> sound(player());
    m_world->forget();
    support::CoreDouble::finish(sound); // the player is deleted within its own signal
    QTRY_VERIFY(!sound);
    QVERIFY(!player());
    QVERIFY(!timer()->isActive());
    QCOMPARE(journal::lines(), QStringList({QString("WsSound::~WsSound(\"%1\")").arg(file(3))}));

    // It is not repeated, and the next one plays.
    play(3, 60, 10);
    QVERIFY(player() && player()->IsPlaying());
}

void tst_STKDialogTones::endOfTheFileIsLogged()
{
    addFile(3);
    play(3, 60);
    m_world->forget();
    support::CoreDouble::finish(player());
    const QStringList lines = m_world->log.debug();
    QCOMPARE(lines.size(), 2);
    QCOMPARE(lines.first(), logged::start("onPlayingFinished"));
    const QRegularExpression end("^End of \\.\\./\\.\\./src/STKPlugin/STKDialog: onPlayingFinished: \\d+: $");
    QVERIFY2(end.match(lines.last()).hasMatch(), qPrintable(lines.last()));
}

void tst_STKDialogTones::endOfTheFileWithoutObjects()
{
    m_world->dialog->onPlayingFinished(); // no player
    QVERIFY(!player());
    addFile(3);
    play(3, 60);
    QTimer *before = timer();
    m_world->at(&DialogPeek::m_pToneTimer) = nullptr;
    support::CoreDouble::finish(player());
    QVERIFY(!player());
    m_world->at(&DialogPeek::m_pToneTimer) = before;
    QVERIFY(timer()->isActive());
}

void tst_STKDialogTones::aSecondToneReplacesTheFirst_data()
{
    command::threadRows();
}

void tst_STKDialogTones::aSecondToneReplacesTheFirst()
{
    QFETCH(bool, elsewhere);
    addFile(3);
    addFile(4);
    play(3, 60, 9, elsewhere);
    const QPointer<WsSound> first(player());
    m_world->forget();
    play(4, 7, 10, elsewhere);
    QVERIFY(!first);
    QCOMPARE(journal::lines("WsSound::"),
             QStringList({"WsSound::Stop()", QString("WsSound::~WsSound(\"%1\")").arg(file(3)),
                          QString("WsSound::WsSound(\"%1\")").arg(file(4)), "WsSound::Play()"}));
    QVERIFY(timer()->isActive());
    QCOMPARE(timer()->interval(), 7000);
    QVERIFY(timer()->remainingTime() > 6000); // from its own beginning
    QCOMPARE(requests(), QStringList({"GetPlayTone(10, true)", "SendNoDataResponse(10, 5, 1)"}));
    QCOMPARE(verdicts(*m_world), ACCEPTED);

    support::CoreDouble::finish(player());
    QVERIFY(!player());
}

void tst_STKDialogTones::theWindowClosedWhileAToneSounds()
{
    addFile(3);
    play(3, 60);
    const QPointer<QTimer> before(timer());
    m_world->dialog->onButtonClickClose();
    QVERIFY(!timer());
    QVERIFY(before);
    QVERIFY(player() && player()->IsPlaying());
    command::fire(before); // the window's timers are forgotten
    QVERIFY(player() && player()->IsPlaying());
    support::CoreDouble::finish(player());
    QVERIFY(!player());
}

void tst_STKDialogTones::destroyedWhileAToneSounds_data()
{
    QTest::addColumn<bool>("plays");
    QTest::newRow("sounding") << true;
    QTest::newRow("failed to play") << false;
}

void tst_STKDialogTones::destroyedWhileAToneSounds()
{
    QFETCH(bool, plays);
    addFile(3);
    m_world->core.setPlayResult(plays);
    play(3, 0);
    const QPointer<WsSound> sound(player());
    const QPointer<QTimer> duration(timer());
    QVERIFY(sound && duration->isActive());
    command::destroy(*m_world);
    QVERIFY(!sound);
    QVERIFY(!duration);
    QVERIFY(!player());
    QCoreApplication::processEvents();
    QCOMPARE(journal::count("WsSound::~WsSound"), 1);
}

void tst_STKDialogTones::destroyedAtTheEndOfTheFile()
{
    addFile(3);
    play(3, 60);
    const QPointer<WsSound> sound(player());
    // The host's own slot comes first and ends everything.
    sound->disconnect();
    connect(sound, &WsSound::finished, this, [this] { command::destroy(*m_world); });
    connect(sound, SIGNAL(finished()), m_world->dialog, SLOT(onPlayingFinished()));
    support::CoreDouble::finish(sound);
    QVERIFY(!sound);
    QVERIFY(!player());
}

void tst_STKDialogTones::destroyedWithinTheResponse_data()
{
    command::threadRows();
}

void tst_STKDialogTones::destroyedWithinTheResponse()
{
    QFETCH(bool, elsewhere);
    addFile(3);
    m_world->sdk.onCall(RESPOND, [this] { command::destroy(*m_world); });
    play(3, 60, 9, elsewhere);
    QCOMPARE(journal::count(RESPOND), 1);
    QCOMPARE(verdicts(*m_world), QList<int>());
    QVERIFY(!player());
}

QTEST_MAIN(tst_STKDialogTones)
#include "tst_STKDialogTones.moc"
