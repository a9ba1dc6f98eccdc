#include "sdk/ModemLine.h"

#include "support/ModemPeer.h"

#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

using sdk::ModemAddress;
using sdk::ModemLine;
using Way = ModemPeer::Way;
using Event = ModemLine::Event;

Q_DECLARE_METATYPE(Way)

/// The stream of bytes to a modem: a serial line, here a pseudo-terminal, and a TCP connection.
class tst_ModemLine : public QObject
{
    Q_OBJECT

private slots:
    void address_data();
    void address();
    void badAddress_data();
    void badAddress();
    void linesOfAFolder();
    void bytesGoBothWays_data();
    void bytesGoBothWays();
    void lineIsRaw();
    void lineIsNoControllingTerminal();
    void lineIsClosedForPrograms();
    void takenLineIsRefused();
    void lineIsFreeAfterwards();
    void whatWasLeftIsNotRead();
    void lineThatCannotBeOpened_data();
    void lineThatCannotBeOpened();
    void lineWithoutPermission();
    void noDescriptorIsLeft();
    void nobodyAtThePort();
    void portThatCannotBeCalled();
    void nobodyIsCalledByItself();
    void unknownHost();
    void hostIsLookedUp();
    void hostThatIsNotFoundInTime();
    void silentHostTakesTheLimit();
    void hangUpIsLost_data();
    void hangUpIsLost();
    void readingEndsInTime();
    void pipeWakes();
    void stoppedPipeEndsEverything();
    void modemThatTakesNothing();
    void writingToNobodyIsLost_data();
    void writingToNobodyIsLost();
};

namespace
{

const int LIMIT_MS = 10000;

ModemLine::Clock::time_point in(int ms)
{
    return ModemLine::Clock::now() + std::chrono::milliseconds(ms);
}

ModemAddress addressOf(const std::string &text)
{
    return sdk::readModemAddress(text, nullptr).value_or(ModemAddress());
}

std::vector<ModemPeer::Saying> nothing(const std::string &)
{
    return {};
}

/// What comes until there are `size` bytes.
std::string readAll(ModemLine *line, size_t size)
{
    std::string all;
    std::string bytes;
    const auto limit = in(LIMIT_MS);
    while (all.size() < size && line->read(limit, &bytes) == Event::Data)
        all += bytes;
    return all;
}

/// The error of opening this address.
QString errorOf(const std::string &text, int limit = LIMIT_MS)
{
    sdk::WakePipe pipe;
    ModemLine line(&pipe);
    std::string error = "untouched";
    if (line.open(addressOf(text), in(limit), &error) || line.isOpen())
        return "is open";
    return QString::fromStdString(error);
}

/// The descriptor of this process that leads to `path`.
int descriptorOf(const QString &path)
{
    for (int number = 3; number < 100; ++number) {
        if (QFile::symLinkTarget(QString("/proc/self/fd/%1").arg(number)) == path)
            return number;
    }
    return -1;
}

} // namespace

void tst_ModemLine::address_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("host");
    QTest::addColumn<QString>("port");
    QTest::newRow("serial line") << "/dev/ttyUSB2"
                                 << "/dev/ttyUSB2"
                                 << ""
                                 << "";
    QTest::newRow("with a colon") << "/dev/serial/by-path/a:1.0"
                                  << "/dev/serial/by-path/a:1.0"
                                  << ""
                                  << "";
    QTest::newRow("host") << "localhost:2000"
                          << ""
                          << "localhost"
                          << "2000";
    QTest::newRow("number") << "127.0.0.1:1"
                            << ""
                            << "127.0.0.1"
                            << "1";
    QTest::newRow("IPv6") << "[::1]:65535"
                          << ""
                          << "::1"
                          << "65535";
}

void tst_ModemLine::address()
{
    QFETCH(QString, text);
    std::string error = "untouched";
    const std::optional<ModemAddress> address = sdk::readModemAddress(text.toStdString(), &error);
    QVERIFY(address);
    QTEST(QString::fromStdString(address->path), "path");
    QTEST(QString::fromStdString(address->host), "host");
    QTEST(QString::fromStdString(address->port), "port");
    QCOMPARE(error, std::string("untouched"));
}

void tst_ModemLine::badAddress_data()
{
    QTest::addColumn<QByteArray>("text");
    for (const char *const text : {"", "ttyUSB2", "host:", ":2000", "host:0", "host:65536", "host:123456", "host:12x",
                                   "host:-1", "host: 1", "::1:2000", "[]:2000", "C:"})
        QTest::newRow(*text ? text : "nothing") << QByteArray(text);
    QTest::newRow("NUL in a path") << QByteArray("/dev/tty\0x", 10);
    QTest::newRow("NUL in a host") << QByteArray("ho\0st:2000", 10);
}

void tst_ModemLine::badAddress()
{
    QFETCH(QByteArray, text);
    std::string error;
    QVERIFY(!sdk::readModemAddress(text.toStdString(), &error));
    QVERIFY2(error.find("/dev/ttyUSB2, or HOST:PORT") != std::string::npos, error.c_str());
    QVERIFY(!sdk::readModemAddress(text.toStdString(), nullptr));
}

void tst_ModemLine::linesOfAFolder()
{
    QTemporaryDir folder;
    QVERIFY(QDir(folder.path()).mkpath("serial/by-id"));
    for (const char *const name :
         {"ttyUSB10", "ttyUSB2", "ttyACM0", "ttyS0", "ttyUSB1", "serial/by-id/usb-Maker_Modem"})
        QVERIFY(QFile(folder.filePath(name)).open(QIODevice::WriteOnly));
    QStringList found;
    for (const std::string &path : sdk::modemLinesBelow(folder.path().toStdString()))
        found << QDir(folder.path()).relativeFilePath(QString::fromStdString(path));
    QCOMPARE(found, QStringList({"serial/by-id/usb-Maker_Modem", "ttyUSB1", "ttyUSB2", "ttyUSB10", "ttyACM0"}));
    QVERIFY(sdk::modemLinesBelow("/no/such/folder").empty());
}

void tst_ModemLine::bytesGoBothWays_data()
{
    QTest::addColumn<Way>("way");
    QTest::newRow("terminal") << Way::Terminal;
    QTest::newRow("port") << Way::Port;
}

void tst_ModemLine::bytesGoBothWays()
{
    QFETCH(Way, way);
    ModemPeer peer(way,
                   [](const std::string &command) { return std::vector<ModemPeer::Saying>{{"<" + command + ">"}}; });
    sdk::WakePipe pipe;
    ModemLine line(&pipe);
    std::string error;
    QVERIFY2(line.open(addressOf(peer.address()), in(LIMIT_MS), &error), error.c_str());
    QVERIFY(line.isOpen());
    const std::string longText(3000, 'x');
    QVERIFY(line.write("AT\r" + longText + '\r', in(LIMIT_MS)));
    QCOMPARE(readAll(&line, 3006), "<AT><" + longText + '>');
    line.close();
    QVERIFY(!line.isOpen());
    std::string bytes;
    QCOMPARE(line.read(in(LIMIT_MS), &bytes), Event::Lost);
    QVERIFY(!line.write("AT\r", in(LIMIT_MS)));
}

void tst_ModemLine::lineIsRaw()
{
    ModemPeer peer(Way::Terminal, [](const std::string &) {
        return std::vector<ModemPeer::Saying>{{std::string("\r\n\x03\x04\x11\x13\x1A\0\xFF\r", 10)}};
    });
    const QString path = QFile::symLinkTarget(QString::fromStdString(peer.address()));
    // As a terminal for people leaves it.
    const int other = ::open(path.toLocal8Bit().constData(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios settings{};
    QCOMPARE(::tcgetattr(other, &settings), 0);
    settings.c_lflag |= ECHO | ICANON | ISIG;
    settings.c_iflag |= ICRNL | IXON;
    settings.c_oflag |= OPOST | ONLCR;
    settings.c_cflag |= CSTOPB | CRTSCTS | HUPCL;
    QCOMPARE(::tcsetattr(other, TCSANOW, &settings), 0);

    sdk::WakePipe pipe;
    ModemLine line(&pipe);
    std::string error;
    QVERIFY2(line.open(addressOf(peer.address()), in(LIMIT_MS), &error), error.c_str());
    QCOMPARE(::tcgetattr(other, &settings), 0);
    QCOMPARE(::cfgetispeed(&settings), speed_t(B115200));
    QCOMPARE(::cfgetospeed(&settings), speed_t(B115200));
    QCOMPARE(settings.c_cflag & tcflag_t(CSIZE | CSTOPB | PARENB | CRTSCTS | HUPCL | CLOCAL | CREAD),
             tcflag_t(CS8 | CLOCAL | CREAD));
    QVERIFY(line.write("\x03\n\x7F\r", in(LIMIT_MS)));
    QVERIFY(peer.waitFor("\x03\n\x7F"));
    QCOMPARE(readAll(&line, 10), std::string("\r\n\x03\x04\x11\x13\x1A\0\xFF\r", 10));
    ::close(other);
}

void tst_ModemLine::lineIsNoControllingTerminal()
{
    // A process without one would get it from the first terminal that it opens without O_NOCTTY.
    const ModemPeer peer(Way::Terminal, nothing);
    const pid_t child = ::fork();
    if (child == 0) {
        ::setsid();
        sdk::WakePipe pipe;
        ModemLine line(&pipe);
        const bool isOpen = line.open(addressOf(peer.address()), in(LIMIT_MS), nullptr);
        ::_exit(!isOpen ? 2 : ::open("/dev/tty", O_RDWR) >= 0 ? 1 : 0);
    }
    int status = -1;
    QCOMPARE(::waitpid(child, &status, 0), child);
    QVERIFY(WIFEXITED(status));
    QCOMPARE(WEXITSTATUS(status), 0);
}

void tst_ModemLine::lineIsClosedForPrograms()
{
    for (const Way way : {Way::Terminal, Way::Port}) {
        const ModemPeer peer(way, nothing);
        sdk::WakePipe pipe;
        ModemLine line(&pipe);
        QVERIFY(line.open(addressOf(peer.address()), in(LIMIT_MS), nullptr));
        int open = 0;
        for (int number = 3; number < 100; ++number) {
            const int flags = ::fcntl(number, F_GETFD);
            const QString target = QFile::symLinkTarget(QString("/proc/self/fd/%1").arg(number));
            open += flags >= 0 && !(flags & FD_CLOEXEC) && (target.contains("pts") || target.contains("socket"));
        }
        QCOMPARE(open, 0);
    }
}

void tst_ModemLine::takenLineIsRefused()
{
    const ModemPeer peer(Way::Terminal, nothing);
    sdk::WakePipe pipe;
    ModemLine line(&pipe);
    QVERIFY(line.open(addressOf(peer.address()), in(LIMIT_MS), nullptr));
    const QString error = errorOf(peer.address());
    QVERIFY2(error.contains("taken by another program"), qPrintable(error));
    QVERIFY2(error.contains("service that manages modems"), qPrintable(error));
    // Who does not lock is kept out, too, unless it is root.
    if (::geteuid() != 0)
        QCOMPARE(::open(peer.address().c_str(), O_RDWR | O_NOCTTY), -1);
    int number = 0;
    const int own = descriptorOf(QFile::symLinkTarget(QString::fromStdString(peer.address())));
    QVERIFY(own >= 0);
    QCOMPARE(::ioctl(own, TIOCGEXCL, &number), 0);
    QCOMPARE(number, 1);
}

void tst_ModemLine::lineIsFreeAfterwards()
{
    const ModemPeer peer(Way::Terminal, nothing);
    for (int i = 0; i < 3; ++i)
        QCOMPARE(errorOf(peer.address()), QString("is open"));
    int number = 1;
    QCOMPARE(::ioctl(descriptorOf(QFile::symLinkTarget(QString::fromStdString(peer.address()))), TIOCGEXCL, &number),
             0);
    QCOMPARE(number, 0);
}

void tst_ModemLine::whatWasLeftIsNotRead()
{
    ModemPeer peer(Way::Terminal, [](const std::string &) { return std::vector<ModemPeer::Saying>{{"new"}}; });
    peer.say("old");
    const int other = ::open(peer.address().c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    int count = 0;
    QTRY_VERIFY(::ioctl(other, FIONREAD, &count) == 0 && count == 3);
    ::close(other);
    sdk::WakePipe pipe;
    ModemLine line(&pipe);
    QVERIFY(line.open(addressOf(peer.address()), in(LIMIT_MS), nullptr));
    QVERIFY(line.write("AT\r", in(LIMIT_MS)));
    QCOMPARE(readAll(&line, 3), std::string("new"));
}

void tst_ModemLine::lineThatCannotBeOpened_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("words");
    QTest::newRow("not there") << "/dev/ttyNOWHERE9"
                               << "there is no serial line /dev/ttyNOWHERE9: plug the modem in";
    QTest::newRow("folder") << "/tmp"
                            << "/tmp is no serial line";
    QTest::newRow("file") << "/etc/passwd"
                          << "/etc/passwd is no serial line";
    QTest::newRow("other device") << "/dev/null"
                                  << "/dev/null is no serial line";
    QTest::newRow("through a file") << "/etc/passwd/tty"
                                    << "cannot be opened";
}

void tst_ModemLine::lineThatCannotBeOpened()
{
    QFETCH(QString, path);
    QFETCH(QString, words);
    const QString error = errorOf(path.toStdString());
    QVERIFY2(error.contains(words), qPrintable(error));
}

void tst_ModemLine::lineWithoutPermission()
{
    // Root may open everything: a child that is nobody tries it.
    const ModemPeer peer(Way::Terminal, nothing);
    const QByteArray path = QFile::symLinkTarget(QString::fromStdString(peer.address())).toLocal8Bit();
    QCOMPARE(::chmod(path.constData(), 0600), 0);
    int ends[2];
    QCOMPARE(::pipe(ends), 0);
    const pid_t child = ::fork();
    if (child == 0) {
        if (::geteuid() == 0)
            (void)!::setuid(65534);
        else
            ::chmod(path.constData(), 0);
        const QByteArray error = errorOf(path.toStdString()).toUtf8();
        (void)!::write(ends[1], error.constData(), size_t(error.size()));
        ::_exit(0);
    }
    ::close(ends[1]);
    QByteArray error(1000, '\0');
    error.resize(int(qMax<ssize_t>(0, ::read(ends[0], error.data(), size_t(error.size())))));
    ::close(ends[0]);
    QCOMPARE(::waitpid(child, nullptr, 0), child);
    QVERIFY2(error.contains("no permission for " + path) && error.contains("dialout"), error.constData());
}

void tst_ModemLine::noDescriptorIsLeft()
{
    const ModemPeer peer(Way::Port, nothing);
    const ModemAddress address = addressOf(peer.address());
    sdk::WakePipe pipe;
    ModemLine line(&pipe);
    std::string error;
    bool hasPipe = true;
    const int next = ::dup(0); // the lowest that is free
    ::close(next);
    rlimit usual{};
    QCOMPARE(::getrlimit(RLIMIT_NOFILE, &usual), 0);
    // UndefinedBehaviorSanitizer looks at objects of a class for the first time with the help of a descriptor.
    const std::system_error known(std::make_error_code(std::errc::too_many_files_open), "known");
    const rlimit none{rlim_t(next), usual.rlim_max};
    QCOMPARE(::setrlimit(RLIMIT_NOFILE, &none), 0);
    const bool isOpen = line.open(address, in(LIMIT_MS), &error);
    try {
        const sdk::WakePipe another;
    } catch (const std::system_error &) {
        hasPipe = false;
    }
    QCOMPARE(::setrlimit(RLIMIT_NOFILE, &usual), 0);
    QVERIFY(!isOpen && !hasPipe);
    QCOMPARE(error, std::string("no connection can be made: Too many open files"));
    QVERIFY(line.open(address, in(LIMIT_MS), &error));
}

void tst_ModemLine::nobodyAtThePort()
{
    ModemPeer peer(Way::Port, nothing);
    const std::string address = peer.address();
    peer.unplug();
    const QString error = errorOf(address);
    QVERIFY2(error.contains("nobody answers at 127.0.0.1 port") && error.contains("refused"), qPrintable(error));
}

/// The address of everybody in this network: there is no connection to that.
void tst_ModemLine::portThatCannotBeCalled()
{
    const QString error = errorOf("255.255.255.255:2000");
    QVERIFY2(error.contains("nobody answers at 255.255.255.255 port 2000 (") && error.contains("unreachable"),
             qPrintable(error));
}

/// A port that the system gives to the caller itself: the call would be answered, by the caller.
void tst_ModemLine::nobodyIsCalledByItself()
{
    QFile range("/proc/sys/net/ipv4/ip_local_port_range");
    QVERIFY(range.open(QIODevice::ReadOnly));
    const QStringList ends = QString::fromLatin1(range.readAll()).split(QRegularExpression("\\s+"));
    const int count = ends.value(1).toInt() - ends.value(0).toInt();
    QVERIFY(count > 0);
    // Own ends are as even or odd as the first of the range, as long as there are any left. The system goes through
    // them with some left out at random: so many calls come past this port three times.
    int port = ends.value(0).toInt() + count / 4 * 2;
    const auto address = [&port] { return "127.0.0.1:" + std::to_string(port); };
    while (errorOf(address()) == "is open") // somebody listens there
        port += 2;
    sdk::WakePipe pipe;
    ModemLine line(&pipe);
    for (int i = 0; i < count; ++i)
        QVERIFY(!line.open(addressOf(address()), in(LIMIT_MS), nullptr));
}

void tst_ModemLine::unknownHost()
{
    const QString error = errorOf("no-such-host.invalid:2000");
    QVERIFY2(error.contains("the host no-such-host.invalid"), qPrintable(error));
}

void tst_ModemLine::hostIsLookedUp()
{
    ModemPeer peer(Way::Port, nothing);
    const QString port = QString::fromStdString(peer.address()).section(':', 1);
    QCOMPARE(errorOf("localhost:" + port.toStdString()), QString("is open"));
    sdk::WakePipe pipe;
    pipe.wake(); // for something else
    ModemLine line(&pipe);
    QVERIFY(line.open(addressOf("localhost:" + port.toStdString()), in(LIMIT_MS), nullptr));
}

/// Unless the look-up is so quick that it is done before anybody has looked at the clock.
void tst_ModemLine::hostThatIsNotFoundInTime()
{
    QString error;
    const auto isTooLate = [&error] {
        error = errorOf("localhost:2000", -1);
        return error.contains("the host localhost could not be looked up in time");
    };
    QVERIFY2(QTest::qWaitFor(isTooLate), qPrintable(error));
}

/// A port whose queue is full answers nothing.
void tst_ModemLine::silentHostTakesTheLimit()
{
    const int port = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof place;
    QCOMPARE(::bind(port, reinterpret_cast<sockaddr *>(&place), size), 0);
    QCOMPARE(::listen(port, 0), 0);
    QCOMPARE(::getsockname(port, reinterpret_cast<sockaddr *>(&place), &size), 0);
    const std::string address = "127.0.0.1:" + std::to_string(ntohs(place.sin_port));
    sdk::WakePipe pipe;
    std::vector<std::unique_ptr<ModemLine>> full;
    std::string error;
    QElapsedTimer clock;
    do {
        clock.start();
        full.push_back(std::make_unique<ModemLine>(&pipe));
    } while (full.back()->open(addressOf(address), in(300), &error) && full.size() < 10);
    QVERIFY2(error.find("nobody answers") != std::string::npos, error.c_str());
    QVERIFY(clock.elapsed() >= 300);
    // And the pipe ends it at once, without a word.
    sdk::WakePipe stopped;
    ModemLine line(&stopped);
    std::thread stopper([&stopped] { stopped.stop(); });
    clock.start();
    QVERIFY(!line.open(addressOf(address), in(60000), &error));
    stopper.join();
    QVERIFY(clock.elapsed() < 30000);
    QCOMPARE(error, std::string());
    ::close(port);
}

void tst_ModemLine::hangUpIsLost_data()
{
    bytesGoBothWays_data();
}

void tst_ModemLine::hangUpIsLost()
{
    QFETCH(Way, way);
    ModemPeer peer(way, nothing);
    sdk::WakePipe pipe;
    ModemLine line(&pipe);
    QVERIFY(line.open(addressOf(peer.address()), in(LIMIT_MS), nullptr));
    QVERIFY(line.write("AT\r", in(LIMIT_MS)));
    QVERIFY(peer.waitFor("AT"));
    peer.unplug();
    std::string bytes;
    QCOMPARE(line.read(in(LIMIT_MS), &bytes), Event::Lost);
    QVERIFY(!line.isOpen());
    peer.plugIn();
    QVERIFY(line.open(addressOf(peer.address()), in(LIMIT_MS), nullptr));
}

void tst_ModemLine::readingEndsInTime()
{
    const ModemPeer peer(Way::Terminal, nothing);
    sdk::WakePipe pipe;
    ModemLine line(&pipe);
    QVERIFY(line.open(addressOf(peer.address()), in(LIMIT_MS), nullptr));
    std::string bytes;
    const auto limit = in(50);
    QCOMPARE(line.read(limit, &bytes), Event::Late);
    QVERIFY(ModemLine::Clock::now() >= limit);
    QCOMPARE(line.read(in(-1000), &bytes), Event::Late);
}

void tst_ModemLine::pipeWakes()
{
    const ModemPeer peer(Way::Terminal, nothing);
    sdk::WakePipe pipe;
    ModemLine line(&pipe);
    QVERIFY(line.open(addressOf(peer.address()), in(LIMIT_MS), nullptr));
    std::string bytes;
    for (int i = 0; i < 100000; ++i)
        pipe.wake(); // never blocks, however full it is
    QCOMPARE(line.read(in(LIMIT_MS), &bytes), Event::Woken);
    QCOMPARE(line.read(in(0), &bytes), Event::Late);
    pipe.wake();
    ModemLine::pause(pipe, in(60000)); // would not end in the test's time
    QVERIFY(line.write("AT\r", in(LIMIT_MS)));
    QVERIFY(!pipe.isStopped());
}

void tst_ModemLine::stoppedPipeEndsEverything()
{
    const ModemPeer peer(Way::Terminal, nothing);
    sdk::WakePipe pipe;
    ModemLine line(&pipe);
    QVERIFY(line.open(addressOf(peer.address()), in(LIMIT_MS), nullptr));
    pipe.stop();
    std::string bytes;
    QElapsedTimer clock;
    clock.start();
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(line.read(in(60000), &bytes), Event::Woken);
        ModemLine::pause(pipe, in(60000));
    }
    QVERIFY(clock.elapsed() < 30000);
}

void tst_ModemLine::modemThatTakesNothing()
{
    // Nobody reads at the other end.
    const int port = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof place;
    QCOMPARE(::bind(port, reinterpret_cast<sockaddr *>(&place), size), 0);
    QCOMPARE(::listen(port, 1), 0);
    QCOMPARE(::getsockname(port, reinterpret_cast<sockaddr *>(&place), &size), 0);
    sdk::WakePipe pipe;
    ModemLine line(&pipe);
    QVERIFY(line.open(addressOf("127.0.0.1:" + std::to_string(ntohs(place.sin_port))), in(LIMIT_MS), nullptr));
    const std::string flood(64 << 20, 'x');
    QVERIFY(!line.write(flood, in(100)));
    QVERIFY(line.isOpen());
    pipe.stop();
    QVERIFY(!line.write(flood, in(60000)));
    ::close(port);
}

void tst_ModemLine::writingToNobodyIsLost_data()
{
    bytesGoBothWays_data();
}

/// A port's end hears of the hang-up by an answer to what it has written.
void tst_ModemLine::writingToNobodyIsLost()
{
    QFETCH(Way, way);
    ModemPeer peer(way, nothing);
    sdk::WakePipe pipe;
    ModemLine line(&pipe);
    QVERIFY(line.open(addressOf(peer.address()), in(LIMIT_MS), nullptr));
    QVERIFY(line.write("AT\r", in(LIMIT_MS)));
    QVERIFY(peer.waitFor("AT"));
    peer.unplug();
    QTRY_VERIFY(!line.write("AT\r", in(LIMIT_MS)));
    QVERIFY(!line.isOpen());
}

QTEST_GUILESS_MAIN(tst_ModemLine)
#include "tst_ModemLine.moc"
