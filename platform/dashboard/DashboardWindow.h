#ifndef DASHBOARD_DASHBOARDWINDOW_H
#define DASHBOARD_DASHBOARDWINDOW_H

#include <QWidget>

QT_BEGIN_NAMESPACE
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QTreeWidget;
QT_END_NAMESPACE

namespace dashboard
{

class PluginHost;
class Session;
struct SessionEntry;

/// The operator's window: device and menu, the button of the SIM Toolkit, language, and what is said in the session.
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
    void addEntry(const dashboard::SessionEntry &entry);
    void showDeviceState();
    void showIdleText(const QString &text);
    void showBytes();

private:
    QWidget *createHeader();
    QWidget *createControls();
    QWidget *createLanguageChooser();
    QWidget *createLog();
    QWidget *createIdleScreen();
    void alignIdleScreen();
    void connectAll();

    PluginHost &m_plugin;
    Session &m_session;
    QLabel *m_titleLabel = nullptr;
    QLabel *m_deviceLabel = nullptr;
    QLabel *m_idleCaption = nullptr;
    QLabel *m_idleLabel = nullptr;
    QPushButton *m_toolkitButton = nullptr;
    QPushButton *m_deviceButton = nullptr;
    QPushButton *m_inspectorButton = nullptr;
    QComboBox *m_languageComboBox = nullptr;
    QTreeWidget *m_sessionTree = nullptr;
    QLineEdit *m_bytesLineEdit = nullptr;
};

} // namespace dashboard

#endif // DASHBOARD_DASHBOARDWINDOW_H
