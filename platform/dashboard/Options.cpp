#include "dashboard/Options.h"

#include "dashboard/CardChoice.h"
#include "sdk/MDSVStk.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QRegularExpression>

#include <algorithm>

namespace dashboard
{

namespace
{

const char description[] =
    "A dashboard for a mobile broadband device. It loads the SIM Toolkit plug-in and gives it a device with a card: a\n"
    "virtual one, which is described by a profile, or one in a PC/SC reader or a modem.\n"
    "\n"
    "Keys that work in every window, also over the dashboard while a window of the plug-in is open: F8 goes on to the\n"
    "next language, F9 detaches or attaches the device, F12 opens the inspector.\n"
    "\n"
    "Signals, for scripts: SIGUSR1 detaches the device and SIGUSR2 attaches it, also while a window of the plug-in is\n"
    "open; SIGTERM, SIGINT and SIGHUP end the program normally.\n"
    "\n"
    "Exit codes: 0 success, 2 usage, 3 plug-in, 4 card profile, 5 no screen, 6 trace file, 7 reader or modem.";

QString limitedCommandNames()
{
    QStringList names;
    for (const LimitedCommand &command : limitedCommands())
        names << command.name;
    return names.join(", ");
}

QString besideProgram(const char *path)
{
    return QDir::cleanPath(QCoreApplication::applicationDirPath() + "/../" + path);
}

/// Where an installed program has its plug-in, or else where the build folder has it.
QString pluginBesideProgram()
{
    const QString installed = besideProgram(STK_INSTALLED_PLUGINS "/STKPlugin/libSTKPlugin.so");
    return QFile::exists(installed) ? installed : besideProgram("lib/plugins/STKPlugin/libSTKPlugin.so");
}

void describe(QCommandLineParser &parser, const QStringList &languages)
{
    parser.setApplicationDescription(description);
    parser.addOptions({
        {"plugin", "Load the plug-in from <file>.", "file", pluginBesideProgram()},
        {"card",
         "Take the card at <address>: pcsc (in the only PC/SC reader), pcsc:NAME (in the reader with NAME in its "
         "name), "
         "modem:LINE or modem:HOST:PORT (in a modem), or the file of a profile. Default: the environment variable "
         "STK_CARD, or else as the last time.",
         "address"},
        {"profile", "Take a virtual card from the profile <file>.", "file",
         besideProgram("share/stk-dashboard/profiles/demo.yaml")},
        {"trace", "Write every APDU to the packet capture <file> (GSMTAP), for Wireshark.", "file"},
        {"response-limit",
         "End a command of the card that has waited <seconds> for the user; with a command's name only that command. "
         "May be given several times. Default: 60, and 120 for get-input. Commands: " +
             limitedCommandNames() + ".",
         "[command=]seconds"},
        {"unattended-limit",
         "Give up a text that clears itself, or a question with a time of its own, <seconds> after that time when no "
         "window has ended it. Default: 60.",
         "seconds"},
        {"no-browser", "Open no web page that the card asks for: print its address in the session instead."},
        {"callback-thread", "Call the plug-in back on the <ui> thread or on the <service>'s own.", "ui|service", "ui"},
        {"language",
         "Speak the language <code>: " + languages.join(", ") + ". Default: as the last time, " + languages.value(0) +
             " the first time.",
         "code"},
        {"style", "Look <light> or <dark>. Default: as the last time, light the first time.", "light|dark"},
        {"print-session", "Print each step of the session as a line on standard output."},
        {"debug-log", "Let the debug log of host and plug-in out on standard error."},
        {"no-device", "Start with the device detached."},
        {"inspector", "Open the inspector, too."},
    });
    parser.addHelpOption();
    parser.addVersionOption();
}

bool readLimit(const QString &text, std::chrono::milliseconds *limit)
{
    bool isNumber = false;
    const double seconds = text.toDouble(&isNumber);
    if (!isNumber || !(seconds >= 0.001 && seconds <= 86400.0))
        return false;
    *limit = std::chrono::milliseconds(static_cast<long long>(seconds * 1000.0));
    return true;
}

/// Reads "5" or "get-input=5"; gives what is wrong with it, or nothing.
QString readResponseLimit(const QString &text, ResponseLimit *limit)
{
    const int sign = text.indexOf('=');
    if (!readLimit(text.mid(sign + 1), &limit->limit))
        return QString("--response-limit takes seconds, 0.001 to 86400, not '%1'").arg(text);
    if (sign < 0)
        return QString();
    const std::vector<LimitedCommand> &commands = limitedCommands();
    const auto row = std::find_if(commands.begin(), commands.end(),
                                  [&](const LimitedCommand &command) { return text.left(sign) == command.name; });
    if (row == commands.end())
        return QString("--response-limit knows no command '%1'; it takes %2")
            .arg(text.left(sign), limitedCommandNames());
    limit->stkType = row->stkType;
    return QString();
}

QString readLimits(const QCommandLineParser &parser, Options *options)
{
    for (const QString &text : parser.values("response-limit")) {
        ResponseLimit limit = {};
        QString reason = readResponseLimit(text, &limit);
        if (!reason.isEmpty())
            return reason;
        options->responseLimits.push_back(limit);
    }
    std::stable_partition(options->responseLimits.begin(), options->responseLimits.end(),
                          [](const ResponseLimit &limit) { return !limit.stkType; });

    const QString text = parser.value("unattended-limit");
    std::chrono::milliseconds limit{};
    if (!parser.isSet("unattended-limit"))
        return QString();
    if (!readLimit(text, &limit))
        return QString("--unattended-limit takes seconds, 0.001 to 86400, not '%1'").arg(text);
    options->unattendedLimit = limit;
    return QString();
}

/// Reads which card it is to be; gives what is wrong with it, or nothing.
QString readCard(const QCommandLineParser &parser, Options *options)
{
    const QString fromEnvironment = QFile::decodeName(qgetenv("STK_CARD"));
    const bool isNamed = parser.isSet("card"), isProfile = parser.isSet("profile");
    if (isNamed && isProfile)
        return QString("--card and --profile exclude each other");
    if (isNamed && parser.value("card").isEmpty())
        return QString("--card takes pcsc, pcsc:NAME, modem:LINE, modem:HOST:PORT or the file of a profile");
    options->isCardGiven = isNamed || isProfile || !fromEnvironment.isEmpty();
    if (isNamed)
        options->card = parser.value("card");
    else if (isProfile || fromEnvironment.isEmpty())
        options->card = addressOfProfile(parser.value("profile"));
    else
        options->card = fromEnvironment;
    return QString();
}

/// Reads the values; gives what is wrong with them, or nothing.
QString readValues(const QCommandLineParser &parser, const QStringList &languages, Options *options)
{
    if (!parser.positionalArguments().isEmpty())
        return QString("unexpected argument '%1'").arg(parser.positionalArguments().constFirst());
    QString limitReason = readLimits(parser, options);
    if (!limitReason.isEmpty())
        return limitReason;
    if (parser.isSet("trace") && parser.value("trace").isEmpty())
        return QString("--trace takes the name of a file");

    QString cardReason = readCard(parser, options);
    if (!cardReason.isEmpty())
        return cardReason;

    const QString thread = parser.value("callback-thread");
    if (thread != "service" && thread != "ui")
        return QString("--callback-thread takes 'ui' or 'service', not '%1'").arg(thread);
    options->callbackOnUiThread = thread == "ui";

    options->language = parser.value("language");
    if (parser.isSet("language") && !languages.contains(options->language))
        return QString("--language takes one of %1, not '%2'").arg(languages.join(", "), options->language);

    const QString style = parser.value("style");
    if (parser.isSet("style") && style != "light" && style != "dark")
        return QString("--style takes 'light' or 'dark', not '%1'").arg(style);
    if (parser.isSet("style"))
        options->isDark = style == "dark";

    options->pluginFile = parser.value("plugin");
    options->traceFile = parser.value("trace");
    options->openBrowser = !parser.isSet("no-browser");
    options->printSession = parser.isSet("print-session");
    options->debugLog = parser.isSet("debug-log");
    options->attachAtStart = !parser.isSet("no-device");
    options->openInspector = parser.isSet("inspector");
    return QString();
}

CommandLine endWith(int exitCode, const QString &message)
{
    CommandLine line;
    line.exitCode = exitCode;
    line.message = message;
    return line;
}

CommandLine usageError(const QString &reason)
{
    return endWith(ExitUsage, QString("stk-dashboard: %1; --help lists the options\n").arg(reason));
}

} // namespace

const std::vector<LimitedCommand> &limitedCommands()
{
    static const std::vector<LimitedCommand> commands{
        {"select-item", MDSV_STKTYPE_SELECT_ITEM},
        {"display-text", MDSV_STKTYPE_DISPLAY_TEXT},
        {"get-inkey", MDSV_STKTYPE_GET_INKEY},
        {"get-input", MDSV_STKTYPE_GET_INPUT},
        {"play-tone", MDSV_STKTYPE_PLAY_TONE},
        {"set-up-call", MDSV_STKTYPE_SETUP_CALL},
        {"send-sms", MDSV_STKTYPE_SEND_SMS},
        {"send-ss", MDSV_STKTYPE_SEND_SS},
        {"send-ussd", MDSV_STKTYPE_SEND_USSD},
        {"refresh", MDSV_STKTYPE_REFRESH},
        {"launch-browser", MDSV_STKTYPE_LAUNCH_BROWSER},
        {"set-up-idle-mode-text", MDSV_STKTYPE_SETUP_IDLE_MODE_TEXT},
    };
    return commands;
}

CommandLine parseCommandLine(const QStringList &arguments, const QStringList &languages)
{
    QCommandLineParser parser;
    describe(parser, languages);
    if (!parser.parse(arguments))
        return usageError(parser.errorText().remove(QRegularExpression("\\.$")));
    if (parser.isSet("help"))
        return endWith(ExitSuccess, parser.helpText());
    if (parser.isSet("version"))
        return endWith(ExitSuccess, QString("stk-dashboard %1\n").arg(STK_VERSION));

    CommandLine line;
    const QString reason = readValues(parser, languages, &line.options);
    if (!reason.isEmpty())
        return usageError(reason);
    line.run = true;
    return line;
}

} // namespace dashboard
