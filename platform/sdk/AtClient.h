#ifndef SDK_ATCLIENT_H
#define SDK_ATCLIENT_H

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sdk
{

/// What a modem says to one command (3GPP TS 27.007 clause 4).
struct AtAnswer {
    enum class Kind {
        Done,    ///< OK
        Refused, ///< any other final result code
        Silent,  ///< none has come in time
        Lost,    ///< the line went before one came
    };
    Kind kind = Kind::Lost;
    std::optional<int> error;       ///< the number in "+CME ERROR: 14"
    std::vector<std::string> lines; ///< behind the prefix that the command's information has; blanks are taken away
};

/// Cuts what a modem sends into lines. CR and LF end one in any mixture, NUL bytes are left out, and of a line that is
/// too long for anything but noise nothing is told.
class AtLines
{
public:
    static constexpr std::size_t longestLine = 4096;

    /// Calls `handler` for each line that is complete and not empty, without blanks at its ends.
    void add(std::string_view bytes, const std::function<void(const std::string &)> &handler);
    void clear();

private:
    void endLine(const std::function<void(const std::string &)> &handler);

    std::string m_line;
    bool m_isTooLong = false;
};

/// One command at a time: which of the lines are its answer, and which come unasked. No I/O and no clock of its own.
class AtClient
{
public:
    using Clock = std::chrono::steady_clock;
    using LineHandler = std::function<void(const std::string &)>;

    /// `unasked` gets every line that is no part of an answer, an echo among them.
    explicit AtClient(LineHandler unasked) : m_unasked(std::move(unasked)) {}

    /// A command is on its way, whose information lines begin with `prefix` (none: it has none).
    void begin(const std::string &prefix);

    /// What the modem has sent, at the time `now`.
    void add(std::string_view bytes, Clock::time_point now);

    /// The answer of the command, when there is one at `now`; the command is then over.
    std::optional<AtAnswer> take(Clock::time_point now);

    /// When take() is to be called although nothing comes. A result code that belongs to calls may also be somebody
    /// else's news, and counts only when no other one follows.
    std::optional<Clock::time_point> due() const { return m_due; }

    /// Final result codes that have come without a command.
    int strayResults() const { return m_strayResults; }

    /// Another line: nothing of before counts.
    void clear();

private:
    void take(const std::string &line, Clock::time_point now);

    const LineHandler m_unasked;
    AtLines m_lines;
    bool m_isWaiting = false;
    std::string m_prefix;
    AtAnswer m_answer;
    std::optional<Clock::time_point> m_due; ///< when m_answer counts
    int m_strayResults = 0;
};

} // namespace sdk

#endif // SDK_ATCLIENT_H
