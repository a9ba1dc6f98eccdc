// Faults of a modem while the window is open over its card. See --help.
#include "RoadWorld.h"

#include "card/Profile.h"
#include "core/CoreControl.h"
#include "sdk/ModemChannel.h"
#include "sdk/SdkControl.h"
#include "support/ModemDouble.h"

#include <QtTest/QtTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QMessageBox>

#include <atomic>
#include <cinttypes>
#include <cstdio>
#include <functional>
#include <random>
#include <string>
#include <thread>

namespace
{

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

const char usage[] =
    "Usage: modem_window_faults [--each N] [--seed S] PROFILE\n"
    "\n"
    "Puts the virtual card of PROFILE into the double of a modem on a pseudo-terminal and opens the window over it, "
    "with\n"
    "the library's callbacks on its own thread and then on the user interface's. A user chooses from the menu and\n"
    "answers; N times each (200 by default), at moments that S decides (otherwise the time), this comes in between:\n"
    "    hang-up    the line goes, and is back when the device has gone or a little later\n"
    "    silence    the modem hears and says nothing, until it has been given up\n"
    "    garbage    noise in between\n"
    "    end        the modem gives up what is open, and half of the times has something else at once\n"
    "What waits for input must close by itself then, and the window must show the menu again and take a choice. Exit\n"
    "code 1: it did not, a command got no response or two although its modem stayed, or windows are left over. The "
    "last\n"
    "line has the figures.\n";

constexpr milliseconds limit{90000};

/// DISPLAY TEXT "Next", for the user to clear.
const cat::Bytes next = {0xD0, 0x10, 0x81, 0x03, 0x01, 0x21, 0x80, 0x82, 0x02,
                         0x81, 0x02, 0x8D, 0x05, 0x04, 'N',  'e',  'x',  't'};

template <typename Condition>
bool waitUntil(Condition condition)
{
    const auto deadline = Clock::now() + limit;
    while (!condition()) {
        if (Clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(milliseconds(2));
    }
    return true;
}

// ---------------------------------------------------------------- the user

/// Looks at the windows, tells what is there, and does what he is to do. Lives on the user-interface thread; what is
/// public may be used on any other.
class User : public QObject
{
    Q_OBJECT

public:
    User(RoadWorld *world, std::uint32_t seed) : m_world(world), m_random(seed)
    {
        connect(&m_timer, SIGNAL(timeout()), this, SLOT(tick()));
        connect(STKLogic::CreateInstance(), SIGNAL(DevAvailable(bool)), this, SLOT(hear(bool)));
        m_timer.start(3);
    }

    enum class Mood {
        Idle,    ///< does nothing
        Answers, ///< opens the window, answers everything
        Chooses, ///< and chooses from the menu
    };
    std::atomic<Mood> mood{Mood::Idle};
    std::atomic<bool> isAtMenu{false}; ///< the window shows the main menu, with nothing above it
    std::atomic<bool> hasInput{false}; ///< something waits for text
    std::atomic<bool> hasDialog{false};
    std::atomic<int> chosen{0};
    std::atomic<int> timesGone{0};    ///< the device, as the window has heard it
    std::atomic<bool> isThere{false}; ///< what it has heard last

private slots:
    void hear(bool isAvailable)
    {
        timesGone += isAvailable ? 0 : 1;
        isThere = isAvailable;
    }

    void tick()
    {
        const QWidget *top = QApplication::activeModalWidget();
        const QDialog *frame = m_world->frame();
        const bool isFrame = top && top == frame && frame->isVisible();
        isAtMenu = isFrame && !m_world->isWaiting() && !m_world->button("Back")->isEnabled() &&
                   m_world->table()->rowCount() > 0;
        hasDialog = top && !isFrame;
        hasInput = top && !isFrame && top->findChild<QLineEdit *>();
        // A timer does not fire again inside its own slot: the act is posted, so that it may open dialogs.
        if (mood != Mood::Idle && !m_isPosted)
            m_isPosted = QMetaObject::invokeMethod(this, "act", Qt::QueuedConnection);
    }

    void act()
    {
        m_isPosted = false;
        QWidget *top = QApplication::activeModalWidget();
        if (!top)
            return open();
        if (top == m_world->frame())
            return choose();
        if (QLineEdit *field = top->findChild<QLineEdit *>())
            return answer(top, field);
        QMessageBox *box = top->findChild<QMessageBox *>();
        if (box && !box->buttons().isEmpty())
            return box->buttons().at(any(box->buttons().size()))->click();
        top->close();
    }

private:
    int any(int below) { return static_cast<int>(m_random() % static_cast<unsigned>(below)); }

    void open()
    {
        QRect rect = m_world->host->geometry();
        if (sdk::menuTitle())
            m_world->dialog->ShowStkDlg(m_world->host, rect);
    }

    void choose()
    {
        const bool isSubMenu = m_world->button("Back")->isEnabled();
        if (m_world->isWaiting() || m_world->table()->rowCount() == 0 || (!isSubMenu && mood != Mood::Chooses))
            return;
        chosen += isSubMenu ? 0 : 1;
        m_world->table()->setCurrentCell(isSubMenu ? 0 : chosen % m_world->table()->rowCount(), 0);
        m_world->button(isSubMenu && any(3) == 0 ? "Back" : "Select")->click();
    }

    void answer(QWidget *frame, QLineEdit *field)
    {
        if (any(3) == 0)
            return QTest::keyClick(frame, Qt::Key_Escape);
        QTest::keyClick(field, Qt::Key_A);
        frame->findChild<QPushButton *>("STKPlugin _PushBtnOk")->click();
    }

    RoadWorld *const m_world;
    std::mt19937 m_random;
    bool m_isPosted = false;
    QTimer m_timer;
};

using Mood = User::Mood;

// ---------------------------------------------------------------- the faults, on a thread of their own

struct Scene {
    Scene(ModemDouble *theModem, User *theUser, std::uint32_t seed) : modem(theModem), user(theUser), random(seed) {}

    ModemDouble *const modem;
    User *const user;
    std::mt19937 random;
    std::atomic<sdk::Turn> turn{sdk::Turn::NoCard};
    std::string problem;

    void pause(unsigned most) { std::this_thread::sleep_for(std::chrono::microseconds(random() % (most * 1000))); }
    bool chance() { return random() % 2 == 0; }
};

/// Everything that is open is answered, until the menu can be chosen from.
bool comesToRest(Scene *scene)
{
    scene->user->mood = Mood::Answers;
    return waitUntil([scene] {
        return scene->modem->count().open == 0 && scene->turn == sdk::Turn::Rest && sdk::menuTitle() &&
               scene->user->isThere && scene->user->isAtMenu;
    });
}

/// Says whether the window has heard of a loss since this was called. On a busy machine that may have been before: a
/// modem that takes long looks like one that is silent.
std::function<bool()> watchForLoss(const User *user)
{
    const int before = user->timesGone;
    const bool wasThere = user->isThere;
    return [=] { return !wasThere || user->timesGone > before; };
}

bool hangUp(Scene *scene)
{
    const auto hasGone = watchForLoss(scene->user);
    scene->modem->unplug();
    if (scene->chance())
        waitUntil(hasGone);
    scene->pause(20);
    scene->modem->restore();
    return waitUntil(hasGone);
}

bool silence(Scene *scene)
{
    const auto hasGone = watchForLoss(scene->user);
    scene->modem->fallSilent();
    const bool isNoticed = waitUntil(hasGone);
    scene->modem->restore();
    return isNoticed;
}

bool garbage(Scene *scene)
{
    scene->modem->babble(static_cast<int>(scene->random() % 6000));
    scene->pause(10);
    scene->user->mood = Mood::Answers; // nothing closes for that
    return true;
}

bool end(Scene *scene)
{
    if (!scene->modem->giveUp(scene->chance() ? next : cat::Bytes()))
        scene->user->mood = Mood::Answers; // nothing was open
    return true;
}

struct Fault {
    const char *name;
    bool (*happen)(Scene *);
};

const Fault faults[] = {{"hang-up", hangUp}, {"silence", silence}, {"garbage", garbage}, {"end", end}};

/// Most times while something is open that the user leaves alone, otherwise at any moment.
bool disturb(Scene *scene, const Fault &fault)
{
    User *const user = scene->user;
    const int before = user->chosen;
    user->mood = Mood::Chooses;
    if (!waitUntil([=] { return user->chosen > before; }))
        return false;
    user->mood = scene->random() % 4 ? Mood::Idle : Mood::Chooses;
    if (user->mood == Mood::Idle && scene->chance())
        waitUntil([=] { return user->hasDialog || scene->turn != sdk::Turn::Card; });
    scene->pause(60);
    const bool wasIdle = user->mood == Mood::Idle;
    if (!fault.happen(scene))
        return false;
    if (wasIdle && user->mood == Mood::Idle && !waitUntil([=] { return !user->hasInput; }))
        return false;
    return comesToRest(scene);
}

void disturbAll(Scene *scene, int each)
{
    if (!comesToRest(scene))
        scene->problem = "the first menu was not shown";
    for (int number = 0; number < each; ++number) {
        for (const Fault &fault : faults) {
            if (scene->problem.empty() && !disturb(scene, fault))
                scene->problem =
                    std::string(fault.name) + " number " + std::to_string(number + 1) + ": the menu did not come back";
        }
    }
    scene->user->mood = Mood::Idle;
}

// ---------------------------------------------------------------- all of it

bool attach(const std::string &line)
{
    sdk::ModemTimes times;
    times.quiet = milliseconds(5);
    times.answer = milliseconds(1500);
    times.card = milliseconds(1000);
    times.next = times.start = milliseconds(300);
    times.alive = milliseconds(100);
    times.retry = milliseconds(20);
    sdk::setModemTimes(times);
    std::string error;
    auto channel = sdk::openCard("modem:" + line, &error);
    if (!channel)
        return std::printf("modem_window_faults: %s\n", error.c_str()), false;
    sdk::attachDevice(std::move(channel));
    return true;
}

/// False: something was wrong, and that has been said.
bool run(bool onUiThread, int each, std::uint32_t seed, const std::string &profile)
{
    ModemDouble modem(ModemPeer::Way::Terminal, card::loadProfile(profile), ModemDouble::anyHabits(seed));
    RoadWorld world(onUiThread);
    core::setPluginLibraryPath(STK_PLUGIN_LIBRARY_PATH);
    std::string problem;
    {
        User user(&world, seed + 2);
        Scene scene(&modem, &user, seed + 1);
        sdk::setTurnListener([&scene](sdk::Turn turn) { scene.turn = turn; });
        if (!attach(modem.address()))
            return false;
        std::thread thread([&] {
            disturbAll(&scene, each);
            QMetaObject::invokeMethod(qApp, "quit", Qt::QueuedConnection);
        });
        QApplication::exec();
        thread.join();
        sdk::setTurnListener({});
        problem = scene.problem;
    }
    const QStringList leftOver = world.end();
    const ModemDouble::Count count = modem.count();
    if (problem.empty() && !leftOver.isEmpty())
        problem = leftOver.join("; ").toStdString() + " left over";
    if (problem.empty() &&
        (count.refused || count.open || count.handedOver != count.answered + count.lost + count.givenUp))
        problem = "not every command had its one response" + (count.refused ? "; refused: " + count.refusal : "");
    std::printf("modem_window_faults: seed %" PRIu32 ", callbacks on %s thread, %d of each fault; %d commands handed "
                "over, %d answered, %d lost with the modem, %d given up by it, %d left open; %d responses refused, %d "
                "too late\n",
                seed, onUiThread ? "the user interface's" : "the library's", each, count.handedOver, count.answered,
                count.lost, count.givenUp, count.open, count.refused, count.late);
    if (!problem.empty())
        std::printf("modem_window_faults: FAILED, %s\n", problem.c_str());
    return problem.empty();
}

} // namespace

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    application.setQuitOnLastWindowClosed(false);
    const QStringList arguments = application.arguments().mid(1);
    int each = 200;
    auto seed = static_cast<std::uint32_t>(std::chrono::system_clock::now().time_since_epoch().count());
    QString profile;
    for (int i = 0; i < arguments.size(); ++i) {
        if (arguments.at(i) == "--help")
            return std::fputs(usage, stdout) < 0;
        if (arguments.at(i) == "--each" && i + 1 < arguments.size())
            each = arguments.at(++i).toInt();
        else if (arguments.at(i) == "--seed" && i + 1 < arguments.size())
            seed = arguments.at(++i).toUInt();
        else
            profile = arguments.at(i);
    }
    if (profile.isEmpty() || each < 1)
        return std::fputs(usage, stderr), 2;
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    std::printf("modem_window_faults: seed %" PRIu32 "\n", seed);
    const std::string path = QFile::encodeName(profile).toStdString();
    return run(false, each, seed, path) && run(true, each, seed, path) ? 0 : 1;
}

#include "ModemWindowFaults.moc"
