#ifndef SDK_COMMANDS_H
#define SDK_COMMANDS_H

#include "cat/Command.h"
#include "sdk/MDSVStk.h"

#include <chrono>
#include <map>
#include <optional>

namespace sdk
{

/// A command that the library carries out, with or without its callers (ETSI TS 102 223 clause 6.4).
struct CommandRow {
    /// Who sees to the terminal response.
    enum class Handling {
        Menu,    ///< the library, before its callers hear of it
        User,    ///< a caller; when none does, the time limit
        Network, ///< the library, when the callback has been delivered
        Refresh, ///< the same, and then it does what the qualifier asks for
    };

    cat::CommandType type;
    _MDSV_EN_STKTYPE stkType;
    Handling handling;
    std::chrono::milliseconds limit; ///< how long it stays open at first

    bool isAnsweredByUser() const { return handling == Handling::User; }
};

/// The row of a command, or null.
const CommandRow *commandRow(cat::CommandType type);

/// A response that says `result` and nothing else.
cat::Response responseTo(const cat::Command &command, cat::Result result);

/// The terminal cannot do it now (clause 8.12.2): `cause` says why.
cat::Response unable(const cat::Command &command, std::uint8_t cause);
constexpr std::uint8_t noSpecificCause = 0x00;
constexpr std::uint8_t noService = 0x04;

/// What an answer without data says to the card; `result` is an _STK_UI_EN_TERMINALRESPONSE. Nothing when the command
/// cannot be answered so.
std::optional<cat::Response> responseWithoutData(const cat::Command &command, int result);

/// What REFRESH asks for behind its response.
enum class RefreshAction {
    Nothing,
    ReadMenu, ///< the card's applications begin anew: callers are to read the menu again
    Reset,    ///< the card is powered down and up
};
RefreshAction refreshAction(const cat::Command &command);

/// How long commands stay open. Not thread-safe.
class Limits
{
public:
    Limits();

    /// For every type, or for one (a number without a command changes nothing).
    void setAll(std::chrono::milliseconds limit);
    void set(int stkType, std::chrono::milliseconds limit);

    /// How much longer than its own time something may take that the window ends by itself.
    void setGrace(std::chrono::milliseconds grace);

    /// How long `command` stays open. Where the card says how long, that counts: a text that the user clears and a key
    /// are over with it (clauses 6.4.1 and 6.4.2); a text that clears itself and a yes/no question are ended by the
    /// window, and only given up when that stays away; a tone adds its length to the limit.
    std::chrono::milliseconds of(const cat::Command &command) const;

private:
    std::map<int, std::chrono::milliseconds> m_limits; ///< by _MDSV_EN_STKTYPE
    std::chrono::milliseconds m_grace;
};

} // namespace sdk

#endif // SDK_COMMANDS_H
