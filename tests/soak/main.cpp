// Uses libSTKPlugin for a long time, as tools/soak describes it.
#include "Census.h"
#include "Curve.h"
#include "SoakCard.h"
#include "SoakUser.h"

#include "core/CoreControl.h"
#include "dashboard/PluginHost.h"
#include "road/sound/SoundServer.h"
#include "sdk/SdkControl.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QEventLoop>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QLoggingCategory>
#include <QtCore/QTimer>
#include <QtGui/QPixmapCache>
#include <QtWidgets/QApplication>
#include <QtWidgets/QWidget>

#include <cstdio>
#include <unistd.h>
#include <utility>

namespace
{

using namespace soak;

/// The plug-in is loaded and unloaded that many times: within one life the window deliberately keeps two timers for
/// every window, and a timer and a validator for every question.
const int LIVES = 20;

const int SAMPLE_MS = 250;
const int LOOK_MS = 20;
const int LINE_MS = 10000; ///< between two lines of progress in a file
const int STUCK_MS = 60000;
const int END_LIMIT_MS = 25000;
const int SETTLE_MS = 10000; ///< until what was begun has ended: a window's place is watched for a second, tones sound

const int PIXMAP_CACHE_KIB = 512;

/// A shorter run has not warmed up.
const long LEAST_FOR_MEMORY = 20000;
// Over the last nine tenths. Memory that is in use tells of a leak: 6 bytes for each command would be seen. Resident
// memory goes up in steps of a whole arena, one of which is enough for a slope of 1.5 MiB.
const double HEAP_GROWTH_LIMIT_KIB = 512;
const double GROWTH_LIMIT_KIB = 3072;
const double SPREAD_LIMIT_KIB = 8192; // 5 MiB come and go with each connection to the sound server

/// What may be left over, by class.
const struct {
    const char *className;
    int most;
} EXPECTED_OBJECTS[] = {
    {"STKThread", LIVES},    // the window deliberately leaves its waiter undeleted when that does not run
    {"QFactoryLoader", 100}, // Qt's own, one for each kind of its plug-ins, when the first is wanted
};

struct Options {
    long commands = 100000;
    long windows = 2000;
    QString csv;
    QString profile;
    QString plugin;
};

bool readOptions(const QStringList &arguments, Options *options)
{
    QCommandLineParser parser;
    parser.addOption({"commands", "", "number"});
    parser.addOption({"windows", "", "number"});
    parser.addOption({"csv", "", "file"});
    parser.addOption({"profile", "", "file", SOAK_PROFILE});
    parser.addOption({"library", "", "file", STK_PLUGIN_FILE});
    if (!parser.parse(arguments) || !parser.positionalArguments().isEmpty()) {
        std::fprintf(stderr, "stk_soak: %s\n", qPrintable(parser.errorText()));
        return false;
    }
    bool isNumber[] = {true, true};
    if (parser.isSet("commands"))
        options->commands = parser.value("commands").toLong(&isNumber[0]);
    if (parser.isSet("windows"))
        options->windows = parser.value("windows").toLong(&isNumber[1]);
    options->csv = parser.value("csv");
    options->profile = parser.value("profile");
    options->plugin = parser.value("library");
    if (isNumber[0] && isNumber[1] && options->commands >= LIVES && options->windows >= LIVES)
        return true;
    std::fprintf(stderr, "stk_soak: --commands and --windows are numbers from %d\n", LIVES);
    return false;
}

QStringList leftOver(Census before, const Census &after)
{
    for (const auto &row : EXPECTED_OBJECTS)
        before.objects[row.className] = row.most;
    QStringList lines;
    for (const QString &line : growth(before.objects, after.objects))
        lines << "objects left over: " + line;
    for (const QString &line : growth(before.timers, after.timers))
        lines << "timers left over: " + line;
    for (const QString &line : growth(before.files, after.files))
        lines << "file descriptors left over: " + line;
    for (const QString &line : growth(before.threads, after.threads))
        lines << "threads left over: " + line;
    return lines;
}

/// Everything that happens in one run, and what is measured of it.
class Soak : public QObject
{
public:
    explicit Soak(const Options &options);

    /// The exit code.
    int run();

private:
    bool live(int life);
    bool attachCard();
    bool waitFor(const std::function<bool()> &condition, int limitMs);
    void sample();
    void printProgress(long memory);
    void judgeLeftOvers(const Census &before);
    void judgeMemory();
    void find(const QString &problem);
    int conclude();

    const Options m_options;
    QWidget m_host;
    CardTraffic m_traffic;
    dashboard::PluginHost m_plugin;
    SoakUser m_user;
    QFile m_csv;
    QElapsedTimer m_clock;
    qint64 m_lastLine = -LINE_MS;
    std::vector<Point> m_resident, m_heap;
    QStringList m_findings;
};

Soak::Soak(const Options &options)
    : m_options(options), m_user(&m_host, &m_traffic, [this] { m_plugin.showWindow(&m_host, m_host.rect()); }),
      m_csv(options.csv)
{
    m_host.resize(900, 600);
    m_host.show();
    core::setMainWindow(&m_host);
    core::setPluginLibraryPath(QFileInfo(options.plugin).absolutePath() + "/../..");
    core::setUrlOpener([](const QString &) { return true; });
}

int Soak::run()
{
    if (!m_options.csv.isEmpty() && !m_csv.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        std::fprintf(stderr, "stk_soak: %s: %s\n", qPrintable(m_options.csv), qPrintable(m_csv.errorString()));
        return 1;
    }
    m_csv.write("seconds,commands,windows,rss_kib,files,threads,objects,heap_kib\n");
    m_clock.start();
    QTimer sampler;
    connect(&sampler, &QTimer::timeout, this, [this] { sample(); });
    sampler.start(SAMPLE_MS);
    Census before;
    for (int life = 1; life <= LIVES; ++life) {
        if (!live(life))
            return conclude();
        if (life == 1) {
            // What Qt and the system load once is there now; what a window or a tone has begun is not to count.
            waitFor([] { return takeCensus().timers.value("QSingleShotTimer") == 0; }, SETTLE_MS);
            before = takeCensus();
        }
    }
    sample();
    judgeLeftOvers(before);
    judgeMemory();
    return conclude();
}

/// One life of the plug-in, from loading to unloading.
bool Soak::live(int life)
{
    const long commands = m_options.commands * life / LIVES;
    const long windows = m_options.windows * life / LIVES;
    // Every other life the library's callbacks come on the user-interface thread.
    if (life % 2) {
        sdk::setCallbackDispatcher([this](std::function<void()> call) {
            QMetaObject::invokeMethod(this, std::move(call), Qt::QueuedConnection);
        });
    }
    QString error;
    if (!m_plugin.load(m_options.plugin, &error)) {
        find(error);
        return false;
    }
    if (!attachCard())
        return false;
    const auto isWindowDue = [=] {
        return double(m_user.windows()) * double(m_options.commands) <
               double(m_traffic.commands()) * double(m_options.windows);
    };
    m_user.start(isWindowDue);
    const bool isDone = waitFor(
        [&] { return m_traffic.commands() >= commands && m_user.windows() >= windows && m_user.isAtRest(); }, 0);
    // The device goes, and the window with it, or at the latest when its wait for the card is over; then the host ends.
    m_user.stop();
    sdk::detachDevice();
    const auto isClosed = [this] {
        m_user.closeWindow();
        return !QApplication::activeModalWidget();
    };
    if (isDone && !waitFor(isClosed, END_LIMIT_MS))
        find("the window stays open when the device has gone: " + m_user.view());
    m_plugin.unload();
    sdk::shutDown();
    while (QApplication::overrideCursor()) // which the window never takes back
        QApplication::restoreOverrideCursor();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    return isDone;
}

bool Soak::attachCard()
{
    std::string error;
    sdk::setVirtualCardLatency(std::chrono::milliseconds(0)); // SoakCard has its own
    sdk::setResponseLimit(std::chrono::seconds(3));           // what comes while no window is open may stay unanswered
    auto card = sdk::openVirtualCard(QFile::encodeName(m_options.profile).toStdString(), &error);
    if (!card) {
        find(QString::fromStdString(error));
        return false;
    }
    sdk::attachDevice(std::make_unique<SoakCard>(std::move(card), &m_traffic));
    return true;
}

/// With the limit 0 for as long as commands come.
bool Soak::waitFor(const std::function<bool()> &condition, int limitMs)
{
    QElapsedTimer idle;
    idle.start();
    long commands = m_traffic.commands();
    bool isSo = false;
    QEventLoop loop;
    QTimer look;
    connect(&look, &QTimer::timeout, &loop, [&] {
        if (!limitMs && std::exchange(commands, m_traffic.commands()) != m_traffic.commands())
            idle.restart();
        isSo = condition();
        if (isSo || idle.elapsed() > (limitMs ? limitMs : STUCK_MS))
            loop.quit();
    });
    look.start(LOOK_MS);
    loop.exec();
    if (!isSo && !limitMs)
        find(QString("no command for %1 s: %2").arg(STUCK_MS / 1000).arg(m_user.view()));
    return isSo;
}

void Soak::sample()
{
    const long memory = residentKib(), heap = heapKib();
    m_resident.push_back({double(m_traffic.commands()), double(memory)});
    m_heap.push_back({double(m_traffic.commands()), double(heap)});
    m_csv.write(QString("%1,%2,%3,%4,%5,%6,%7,%8\n")
                    .arg(double(m_clock.elapsed()) / 1000, 0, 'f', 1)
                    .arg(m_traffic.commands())
                    .arg(m_user.windows())
                    .arg(memory)
                    .arg(openFiles())
                    .arg(runningThreads())
                    .arg(livingObjects())
                    .arg(heap)
                    .toLatin1());
    m_csv.flush();
    printProgress(memory);
}

void Soak::printProgress(long memory)
{
    const bool isTerminal = isatty(STDOUT_FILENO);
    if (!isTerminal && m_clock.elapsed() - m_lastLine < LINE_MS)
        return;
    m_lastLine = m_clock.elapsed();
    const double rate = double(m_traffic.commands()) * 1000 / double(qMax<qint64>(1, m_clock.elapsed()));
    const int left = rate > 0 ? int(double(qMax(0L, m_options.commands - m_traffic.commands())) / rate) : 0;
    std::printf("%s%3ld %%  %ld commands, %ld windows, %.0f commands/s, %d:%02d left, %.1f MiB%s",
                isTerminal ? "\r\033[K" : "", m_traffic.commands() * 100 / m_options.commands, m_traffic.commands(),
                m_user.windows(), rate, left / 60, left % 60, double(memory) / 1024, isTerminal ? "" : "\n");
    std::fflush(stdout);
}

// ---------------------------------------------------------------- the judgement

void Soak::find(const QString &problem)
{
    m_findings << problem;
}

void Soak::judgeLeftOvers(const Census &before)
{
    waitFor([&] { return leftOver(before, takeCensus()).isEmpty(); }, SETTLE_MS);
    m_findings << leftOver(before, takeCensus());
    if (m_traffic.commands() != m_traffic.responses())
        find(QString("%1 commands had %2 responses").arg(m_traffic.commands()).arg(m_traffic.responses()));
}

void Soak::judgeMemory()
{
    const Course heap = courseOf(m_heap), course = courseOf(m_resident);
    if (!course.isKnown)
        return find("too short a run to judge memory");
    std::printf(
        "%sover the last nine tenths: growth of the heap in use %.0f KiB (at most %.0f), of resident memory %.0f "
        "KiB (at most %.0f), between its lowest and highest %.0f KiB (at most %.0f)\n",
        isatty(STDOUT_FILENO) ? "\n" : "", heap.growth, HEAP_GROWTH_LIMIT_KIB, course.growth, GROWTH_LIMIT_KIB,
        course.spread, SPREAD_LIMIT_KIB);
    if (m_options.commands < LEAST_FOR_MEMORY)
        std::puts("not judged: the run is too short");
    else if (heap.growth > HEAP_GROWTH_LIMIT_KIB)
        find("the heap in use grows");
    else if (course.growth > GROWTH_LIMIT_KIB)
        find("resident memory grows");
    else if (course.spread > SPREAD_LIMIT_KIB)
        find("resident memory is not flat");
}

int Soak::conclude()
{
    core::setUrlOpener(core::UrlOpener());
    core::setMainWindow(nullptr);
    for (const auto &kind : m_traffic.kinds())
        std::printf("%8ld %s\n", kind.second, kind.first.c_str());
    for (const QString &problem : m_findings)
        std::printf("finding: %s\n", qPrintable(problem));
    std::printf("soak: %ld commands, %ld windows, %lld s: %s\n", m_traffic.commands(), m_user.windows(),
                static_cast<long long>(m_clock.elapsed() / 1000),
                m_findings.isEmpty() ? "nothing left over" : "FINDINGS, see above");
    return m_findings.isEmpty() ? 0 : 1;
}

} // namespace

int main(int argc, char *argv[])
{
    startCensus();
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    // Qt keeps every dialog's drawn icon up to 10 MiB in all; that would look like a leak for a third of the run.
    QPixmapCache::setCacheLimit(PIXMAP_CACHE_KIB);
    QLoggingCategory::setFilterRules("default.debug=false");
    Options options;
    if (!readOptions(QApplication::arguments(), &options))
        return 2;
    // Without one, Qt's sound effects would each leave a timer behind for ever, in search of a server.
    SoundServer sound;
    if (!sound.start())
        return 1;
    return Soak(options).run();
}
