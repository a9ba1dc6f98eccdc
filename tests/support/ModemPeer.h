#ifndef TESTS_MODEMPEER_H
#define TESTS_MODEMPEER_H

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

/// The other end of a modem's line: a pseudo-terminal, or a port on this machine. What is written on it comes from a
/// thread of its own; all functions may be called on any thread.
class ModemPeer
{
public:
    enum class Way { Terminal, Port };

    /// Something to say, so long after what was said before.
    struct Saying {
        std::string bytes;
        std::chrono::milliseconds after{0};
    };
    using Reply = std::function<std::vector<Saying>(const std::string &command)>;

    /// `reply` says what comes of each line that is received, without its end; it runs on the peer's thread and must
    /// not call the peer. The line is there at once, and its address stays while it is unplugged.
    ModemPeer(Way way, Reply reply);
    ~ModemPeer();
    ModemPeer(const ModemPeer &) = delete;
    ModemPeer &operator=(const ModemPeer &) = delete;

    /// "/tmp/.../modem" or "127.0.0.1:4711".
    std::string address() const;

    /// The line goes: hang-up, or a reset of the connection. Nobody can open it until plugIn().
    void unplug();
    void plugIn();

    /// Nothing is said and nothing is heard, while this is so; what comes then is lost.
    void setSilent(bool isSilent);

    /// Says these bytes as they stand, behind what is yet to be said.
    void say(const std::string &bytes);

    /// What was received, line by line.
    std::vector<std::string> commands() const;
    void forget();
    /// Waits until `count` commands that begin with `start` have come since the last forget().
    bool waitFor(const std::string &start, int count = 1) const;

private:
    void run();
    void openTerminal();
    void openPort();
    void closeAll();
    void receive();
    void sayDue();
    int timeToNext() const;

    const Way m_way;
    const Reply m_reply;
    std::string m_folder;
    int m_port = 0;
    int m_wake[2] = {-1, -1};

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    int m_line = -1;  ///< of the terminal, the modem's end; or the connection
    int m_other = -1; ///< the terminal's other end, or the port
    bool m_isSilent = false;
    bool m_isEnding = false;
    std::string m_received;
    std::vector<std::string> m_commands;
    struct Due {
        std::chrono::steady_clock::time_point time;
        std::string bytes;
    };
    std::deque<Due> m_due;
    std::thread m_thread;
};

#endif // TESTS_MODEMPEER_H
