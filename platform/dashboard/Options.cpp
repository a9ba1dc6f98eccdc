#include "dashboard/Options.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QRegularExpression>

namespace dashboard
{

namespace
{

const char description[] =
    "A dashboard for a mobile broadband device. It loads the SIM Toolkit plug-in and gives it a device with a virtual\n"
    "card, which is described by a profile.\n"
    "\n"
    "Signals, for scripts: SIGUSR1 detaches the device and SIGUSR2 attaches it, also while a window of the plug-in is\n"
    "open; SIGTERM, SIGINT and SIGHUP end the program normally.\n"
    "\n"
    "Exit codes: 0 success, 2 usage, 3 plug-in, 4 card profile, 5 no screen.";

QString besideProgram(const char *path)
{
    return QDir::cleanPath(QCoreApplication::applicationDirPath() + "/../" + path);
}

void describe(QCommandLineParser &parser, const QStringList &languages)
{
    parser.setApplicationDescription(description);
    parser.addOptions({
        {"plugin", "Load the plug-in from <file>.", "file", besideProgram("lib/plugins/STKPlugin/libSTKPlugin.so")},
        {"profile", "Take the card from the profile <file>.", "file",
         besideProgram("share/stk-dashboard/profiles/demo.yaml")},
        {"response-limit", "End a question of the card that has waited <seconds> for the user.", "seconds", "60"},
        {"callback-thread", "Call the plug-in back on the <ui> thread or on the <service>'s own.", "ui|service", "ui"},
        {"language", "Speak the language <code>: " + languages.join(", ") + ".", "code", languages.value(0)},
        {"print-session", "Print each step of the session as a line on standard output."},
        {"debug-log", "Let the debug log of host and plug-in out on standard error."},
        {"no-device", "Start with the device detached."},
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

/// Reads the values; gives what is wrong with them, or nothing.
QString readValues(const QCommandLineParser &parser, const QStringList &languages, Options *options)
{
    if (!parser.positionalArguments().isEmpty())
        return QString("unexpected argument '%1'").arg(parser.positionalArguments().constFirst());
    if (!readLimit(parser.value("response-limit"), &options->responseLimit))
        return QString("--response-limit takes seconds, 0.001 to 86400, not '%1'").arg(parser.value("response-limit"));

    const QString thread = parser.value("callback-thread");
    if (thread != "service" && thread != "ui")
        return QString("--callback-thread takes 'ui' or 'service', not '%1'").arg(thread);
    options->callbackOnUiThread = thread == "ui";

    options->language = parser.value("language");
    if (!languages.contains(options->language))
        return QString("--language takes one of %1, not '%2'").arg(languages.join(", "), options->language);

    options->pluginFile = parser.value("plugin");
    options->profileFile = parser.value("profile");
    options->printSession = parser.isSet("print-session");
    options->debugLog = parser.isSet("debug-log");
    options->attachAtStart = !parser.isSet("no-device");
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
