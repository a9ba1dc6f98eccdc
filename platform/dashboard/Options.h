#ifndef DASHBOARD_OPTIONS_H
#define DASHBOARD_OPTIONS_H

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <chrono>
#include <optional>
#include <vector>

namespace dashboard
{

/// The program's exit codes.
enum ExitCode : int {
    ExitSuccess = 0,
    ExitUsage = 2,   ///< an unknown option, or a value that cannot be used
    ExitPlugin = 3,  ///< the plug-in is missing, broken, of another kind, or refused to start
    ExitProfile = 4, ///< the card profile cannot be used
    ExitDisplay = 5, ///< there is no screen to open the window on
    ExitTrace = 6,   ///< the trace file cannot be written
    ExitCard = 7,    ///< the reader or modem cannot be used
};

/// A command that the user has a time for.
struct LimitedCommand {
    const char *name; ///< "get-input"
    int stkType;      ///< an _MDSV_EN_STKTYPE
};
const std::vector<LimitedCommand> &limitedCommands();

/// How long the user may take over a command.
struct ResponseLimit {
    std::optional<int> stkType; ///< an _MDSV_EN_STKTYPE; empty: every command
    std::chrono::milliseconds limit;
};

/// What the command line asks for.
struct Options {
    QString pluginFile;
    QString card; ///< address of the card, as sdk::openCard() takes it
    bool isCardGiven =
        false;         ///< by an option or the environment; otherwise `card` is the one that comes with the program
    QString traceFile; ///< where every APDU is written; empty: nowhere
    /// In the order in which they are to be set: those of single commands behind those of all. Empty: the library's.
    std::vector<ResponseLimit> responseLimits;
    std::optional<std::chrono::milliseconds> unattendedLimit; ///< empty: the library's
    /// True: the plug-in never hears of a command before it has begun to wait for one, however fast the card is.
    bool callbackOnUiThread = true;
    QString language;           ///< empty: as the last time
    std::optional<bool> isDark; ///< empty: as the last time
    bool openBrowser = true;    ///< false: web pages that the card asks for are only told in the session
    bool printSession = false;
    bool debugLog = false;
    bool attachAtStart = true;
    bool openInspector = false;
};

/// How the command line was understood. When `run` is false, the program ends at once with `exitCode` after printing
/// `message`: on standard output for success, on standard error otherwise.
struct CommandLine {
    bool run = false;
    int exitCode = ExitSuccess;
    QString message;
    Options options;
};

/// Reads the command line; the first argument is the program's name. `languages` are the codes that --language takes,
/// the first one being the default. Needs a QCoreApplication, by whose place the default files are found.
CommandLine parseCommandLine(const QStringList &arguments, const QStringList &languages);

} // namespace dashboard

#endif // DASHBOARD_OPTIONS_H
