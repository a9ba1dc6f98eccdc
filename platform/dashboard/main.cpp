#include "core/CoreControl.h"
#include "dashboard/CardPanel.h"
#include "dashboard/DashboardWindow.h"
#include "dashboard/GlobalKeys.h"
#include "dashboard/InspectorWindow.h"
#include "dashboard/Options.h"
#include "dashboard/PluginHost.h"
#include "dashboard/Session.h"
#include "dashboard/SessionModel.h"
#include "dashboard/SignalRelay.h"
#include "dashboard/Style.h"

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

/// Tells a broken profile before anything is opened.
bool checkProfile(const Options &options, QString *error)
{
    std::string reason;
    if (!options.attachAtStart || sdk::openVirtualCard(QFile::encodeName(options.profileFile).toStdString(), &reason))
        return true;
    *error = QString::fromStdString(reason);
    return false;
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

int runDashboard(const Options &options)
{
    if (!options.debugLog)
        QLoggingCategory::setFilterRules("default.debug=false");
    applyStyle(false);
    core::setLanguage(options.language);
    core::setPluginLibraryPath(libraryFolder(options.pluginFile));

    Session session(options);
    PluginHost plugin;
    QString error;
    if (!session.startTrace(&error))
        return fail(ExitTrace, error);
    if (!plugin.load(options.pluginFile, &error))
        return fail(ExitPlugin, error);

    SessionModel model;
    QObject::connect(&session, &Session::entryAdded, &model, &SessionModel::add);
    InspectorWindow inspector(model, session);
    DashboardWindow window(plugin, session);
    QObject::connect(inspector.cardPanel(), &CardPanel::languageChosen, &window, &DashboardWindow::setLanguage);
    QObject::connect(&window, &DashboardWindow::languageChanged, inspector.cardPanel(), &CardPanel::showLanguage);
    QObject::connect(inspector.cardPanel(), &CardPanel::styleChosen, inspector.cardPanel(),
                     [](bool isDark) { applyStyle(isDark); });
    QObject::connect(&window, &DashboardWindow::inspectorAsked, &inspector, &InspectorWindow::open);
    core::setMainWindow(&window);
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

    if (options.openInspector)
        inspector.show();
    window.show();
    session.addHostEntry("ready with " + plugin.title());
    if (options.attachAtStart)
        window.attachDevice();
    const int result = QApplication::exec();
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
    const CommandLine line = readCommandLine(argc, argv);
    if (!line.run)
        return say(line.exitCode, line.message);
    QString error;
    if (!checkProfile(line.options, &error))
        return fail(ExitProfile, error);
    if (!haveScreen())
        return fail(ExitDisplay, "there is no screen: set DISPLAY, or use ./run for a tour without one");

    int noArguments = 1; // all options are the dashboard's own: Qt would take some of the same names for its own use
    QApplication application(noArguments, argv);
    application.setApplicationName("stk-dashboard");
    application.setApplicationVersion(STK_VERSION);
    return runDashboard(line.options);
}
