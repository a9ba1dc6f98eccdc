#ifndef DASHBOARD_DASHBOARDWINDOW_H
#define DASHBOARD_DASHBOARDWINDOW_H

#include <QWidget>

QT_BEGIN_NAMESPACE
class QComboBox;
class QLabel;
class QPushButton;
QT_END_NAMESPACE

namespace dashboard
{

class PluginHost;
class Session;
class SignalBars;

/// The operator's window: signal and operator, the card's text for the idle screen, the button of the SIM Toolkit with
/// the title of the card's menu, device and language.
/// The widgets' object names end in their kind.
class DashboardWindow : public QWidget
{
    Q_OBJECT

public:
    /// Both are the caller's and outlive the window.
    DashboardWindow(PluginHost &plugin, Session &session);

    /// Asks the dialogs over this window to close, the plug-in's among them. One that refuses goes with this window.
    void closeDialogs();

public slots:
    /// Attaches the device; a profile that cannot be used is reported in a message and in the log.
    void attachDevice();
    /// Detaches the device, or attaches it.
    void toggleDevice();
    /// Goes on to the next language of the chooser, behind the last one to the first.
    void nextLanguage();
    /// Speaks the language from now on, and has the plug-in do so.
    void setLanguage(const QString &code);

signals:
    void inspectorAsked();
    void languageChanged(const QString &code);

protected:
    void changeEvent(QEvent *event) override;

private slots:
    void openToolkit();
    void showDeviceState();
    void showIdleText(const QString &text);

private:
    QWidget *createHeader();
    QWidget *createIdleScreen();
    QWidget *createToolkitButton();
    QWidget *createControls();
    void alignOperator();
    void connectAll();
    void showMenuTitle(const QString &title);

    PluginHost &m_plugin;
    Session &m_session;
    SignalBars *m_signalBars = nullptr;
    QLabel *m_operatorLabel = nullptr;
    QLabel *m_deviceLabel = nullptr;
    QLabel *m_idleCaption = nullptr;
    QLabel *m_idleLabel = nullptr;
    QPushButton *m_toolkitButton = nullptr;
    QPushButton *m_deviceButton = nullptr;
    QPushButton *m_inspectorButton = nullptr;
    QComboBox *m_languageComboBox = nullptr;
};

} // namespace dashboard

#endif // DASHBOARD_DASHBOARDWINDOW_H
