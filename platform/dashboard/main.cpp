#include "core/CoreControl.h"
#include "dashboard/CardChoice.h"
#include "dashboard/CardPanel.h"
#include "dashboard/DashboardWindow.h"
#include "dashboard/GlobalKeys.h"
#include "dashboard/InspectorWindow.h"
#include "dashboard/Options.h"
#include "dashboard/PluginHost.h"
#include "dashboard/Session.h"
#include "dashboard/SessionModel.h"
#include "dashboard/Settings.h"
#include "dashboard/SignalRelay.h"
#include "dashboard/Style.h"
#include "sdk/SdkControl.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QLoggingCategory>

#include <QApplication>

#include <cstdio>

namespace
{

using namespace dashboard;

int say(int exitCode, const QString &message)
{
    std::fputs(message.toLocal8Bit().constData(), exitCode == ExitSuccess ? stdout : stderr);
    return exitCode;
}

int fail(int exitCode, const QString &reason)
{
    return say(exitCode, "stk-dashboard: " + reason + "\n");
}

/// The command line is understood before a screen is needed, so that help and errors come out anywhere.
CommandLine readCommandLine(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    return parseCommandLine(application.arguments(), core::languages());
}

bool haveScreen()
{
    return qEnvironmentVariableIsSet("QT_QPA_PLATFORM") || qEnvironmentVariableIsSet("DISPLAY") ||
           qEnvironmentVariableIsSet("WAYLAND_DISPLAY");
}

bool canBeOpened(const QString &card, QString *error)
{
    std::string reason;
    if (sdk::openCard(QFile::encodeName(card).toStdString(), &reason))
        return true;
    *error = QString::fromStdString(reason);
    return false;
}

/// Tells a card that cannot be used before anything is opened.
bool checkCard(const Options &options, QString *error)
{
    return !options.attachAtStart || canBeOpened(options.card, error);
}

/// Without a word about the card it is the one that was chosen the last time. One that is not there any more is no
/// reason not to start: it gives way to the one that comes with the program. Gives what there is to tell about that.
QString chooseCard(const Settings &settings, Options *options)
{
    QString reason;
    const QString last = settings.card();
    if (options->isCardGiven || last.isEmpty())
        return QString();
    if (options->attachAtStart && !canBeOpened(last, &reason))
        return QString("does without %1, which was there the last time: %2").arg(cardWords(last), reason);
    options->card = last;
    return QString();
}

/// The folder that holds "plugins/<name>/<library>".
QString libraryFolder(const QString &pluginFile)
{
    return QDir::cleanPath(QFileInfo(pluginFile).absolutePath() + "/../..");
}

/// Tells the session of a web page in place of a browser.
void replaceBrowser(Session &session)
{
    core::setUrlOpener([&session](const QString &url) {
        session.addHostEntry("web page asked for: " + url);
        return true;
    });
}

const QStringList keptBoxes{"kindComboBox"};

/// What the command line leaves open is as the last time.
void chooseLooks(const Options &options, const Settings &settings)
{
    applyStyle(options.isDark.value_or(settings.isDark()));
    const QString language = options.language.isEmpty() ? settings.language() : options.language;
    if (!core::setLanguage(language))
        core::setLanguage(core::languages().constFirst());
    sdk::setLanguage(core::language().toStdString());
}

/// Everything that one window tells another.
void connectWindows(Session &session, SessionModel &model, DashboardWindow &window, InspectorWindow &inspector,
                    Settings &settings)
{
    CardPanel *const panel = inspector.cardPanel();
    QObject::connect(&session, &Session::entryAdded, &model, &SessionModel::add);
    QObject::connect(&window, &DashboardWindow::inspectorAsked, &inspector, &InspectorWindow::open);
    QObject::connect(panel, &CardPanel::languageChosen, &window, &DashboardWindow::setLanguage);
    QObject::connect(&window, &DashboardWindow::languageChanged, panel, &CardPanel::showLanguage);
    QObject::connect(&window, &DashboardWindow::languageChanged, [&settings](const QString &code) {
        settings.setLanguage(code);
        sdk::setLanguage(code.toStdString());
    });
    QObject::connect(panel, &CardPanel::cardChosen, [&settings](const QString &address) { settings.setCard(address); });
    QObject::connect(panel, &CardPanel::styleChosen, [&settings](bool isDark) {
        settings.setDark(isDark);
        applyStyle(isDark);
    });
}

void restoreWindows(const Options &options, const Settings &settings, DashboardWindow &window,
                    InspectorWindow &inspector)
{
    settings.restore(&window, {});
    settings.restore(&inspector, keptBoxes);
    inspector.cardPanel()->showStyle(options.isDark.value_or(settings.isDark()));
    if (options.openInspector || settings.isInspectorOpen())
        inspector.show();
    window.show();
}

void keepWindows(Settings &settings, const DashboardWindow &window, const InspectorWindow &inspector)
{
    settings.keep(&window, {});
    settings.keep(&inspector, keptBoxes);
    settings.setInspectorOpen(inspector.isVisible());
}

int runDashboard(const Options &options, Settings &settings, const QString &remark)
{
    if (!options.debugLog)
        QLoggingCategory::setFilterRules("default.debug=false");
    chooseLooks(options, settings);
    core::setPluginLibraryPath(libraryFolder(options.pluginFile));

    Session session(options);
    PluginHost plugin;
    QString error;
    if (!session.startTrace(&error))
        return fail(ExitTrace, error);
    if (!plugin.load(options.pluginFile, &error))
        return fail(ExitPlugin, error);

    SessionModel model;
    InspectorWindow inspector(model, session);
    DashboardWindow window(plugin, session);
    core::setMainWindow(&window);
    connectWindows(session, model, window, inspector, settings);
    if (!options.openBrowser)
        replaceBrowser(session);
    GlobalKeys keys;
    QObject::connect(&keys, &GlobalKeys::languageAsked, &window, &DashboardWindow::nextLanguage);
    QObject::connect(&keys, &GlobalKeys::deviceAsked, &window, &DashboardWindow::toggleDevice);
    QObject::connect(&keys, &GlobalKeys::inspectorAsked, &inspector, &InspectorWindow::open);
    SignalRelay signalRelay;
    QObject::connect(&signalRelay, &SignalRelay::detachAsked, &session, &Session::detach);
    QObject::connect(&signalRelay, &SignalRelay::attachAsked, &window, &DashboardWindow::attachDevice);
    QObject::connect(&signalRelay, &SignalRelay::quitAsked, qApp, &QCoreApplication::quit);

    restoreWindows(options, settings, window, inspector);
    session.addHostEntry("ready with " + plugin.title());
    if (!remark.isEmpty())
        session.addHostEntry(remark);
    if (options.attachAtStart)
        window.attachDevice();
    const int result = QApplication::exec();
    keepWindows(settings, window, inspector);
    window.closeDialogs();
    plugin.unload();
    core::setUrlOpener(core::UrlOpener());
    session.end();
    session.addHostEntry("ends");
    return result;
}

} // namespace

int main(int argc, char *argv[])
{
    CommandLine line = readCommandLine(argc, argv);
    if (!line.run)
        return say(line.exitCode, line.message);
    // The device-service library would attach that card by itself, also when there is to be no device.
    qunsetenv("STK_CARD");
    Settings settings;
    const QString remark = chooseCard(settings, &line.options);
    QString error;
    if (!checkCard(line.options, &error))
        return fail(isRealCard(line.options.card) ? ExitCard : ExitProfile, error);
    if (!haveScreen())
        return fail(ExitDisplay, "there is no screen: set DISPLAY, or use ./run for a tour without one");

    int noArguments = 1; // all options are the dashboard's own: Qt would take some of the same names for its own use
    QApplication application(noArguments, argv);
    application.setApplicationName("stk-dashboard");
    application.setApplicationVersion(STK_VERSION);
    return runDashboard(line.options, settings, remark);
}
