#ifndef SDK_MODEMLINE_H
#define SDK_MODEMLINE_H

#include <atomic>
#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sdk
{

/// Where a modem is: on a serial line, or behind a TCP port.
struct ModemAddress {
    std::string path; ///< of the serial line; empty: it is behind a port
    std::string host;
    std::string port;
};

/// Reads "/dev/ttyUSB2", "host:port" or "[::1]:port". Nothing, and in `*error` what to write instead.
std::optional<ModemAddress> readModemAddress(const std::string &line, std::string *error);

/// Serial lines below `folder`, which is /dev, that may be a modem's: those that keep their names first.
std::vector<std::string> modemLinesBelow(const std::string &folder);

/// Wakes a thread that waits in poll(), for a look around or for the end. Any thread.
class WakePipe
{
public:
    WakePipe();
    ~WakePipe();
    WakePipe(const WakePipe &) = delete;
    WakePipe &operator=(const WakePipe &) = delete;

    void wake() const;
    void stop(); ///< from now on everything ends that waits
    bool isStopped() const { return m_isStopped; }

    void drain() const;
    int descriptor() const { return m_ends[0]; }

private:
    std::atomic<bool> m_isStopped{false};
    int m_ends[2] = {-1, -1};
};

/// The stream of bytes to a modem and back. Used on one thread; all that waits ends when the pipe is stopped.
class ModemLine
{
public:
    using Clock = std::chrono::steady_clock;

    /// What a wait has ended with.
    enum class Event {
        Data,  ///< there are bytes
        Woken, ///< by the pipe
        Late,  ///< the time is over
        Lost,  ///< end of file, hang-up, an error: the line is closed
    };

    /// `pipe` must outlive the line.
    explicit ModemLine(const WakePipe *pipe) : m_pipe(pipe) {}
    ~ModemLine();
    ModemLine(const ModemLine &) = delete;
    ModemLine &operator=(const ModemLine &) = delete;

    /// Opens a serial line raw (115200 bit/s, 8N1), locked against everybody else and without becoming the controlling
    /// terminal, or connects, which takes until `limit` at the longest. False: `*error` says what to do; nothing is in
    /// it when the pipe has been stopped.
    bool open(const ModemAddress &address, Clock::time_point limit, std::string *error);
    bool isOpen() const { return m_descriptor >= 0; }
    void close();

    /// Waits until `pipe` wakes, at the longest until `limit`, and no line matters.
    static void pause(const WakePipe &pipe, Clock::time_point limit);

    /// Waits for bytes, and puts what has come, at most 4,096 of them, into `*bytes`.
    Event read(Clock::time_point limit, std::string *bytes);

    /// False: the line is lost, full until `limit`, or the pipe has been stopped.
    bool write(std::string_view bytes, Clock::time_point limit);

private:
    bool openSerial(const std::string &path, std::string *error);
    bool makeRaw(const std::string &path, std::string *error);
    bool connectTo(const ModemAddress &address, Clock::time_point limit, std::string *error);
    bool finishConnect(Clock::time_point limit, std::string *error);
    Event wait(short events, Clock::time_point limit);

    const WakePipe *const m_pipe;
    int m_descriptor = -1;
    bool m_isSocket = false;
    bool m_isLocked = false; ///< a serial line, and ours
};

} // namespace sdk

#endif // SDK_MODEMLINE_H
