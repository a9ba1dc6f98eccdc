#ifndef DASHBOARD_CARDPANEL_H
#define DASHBOARD_CARDPANEL_H

#include <QWidget>

QT_BEGIN_NAMESPACE
class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QLineEdit;
class QPushButton;
QT_END_NAMESPACE

namespace dashboard
{

class Session;

/// The card and the terminal: which profile, in or out, hanging, failing; threads, limits, language and style.
class CardPanel : public QWidget
{
    Q_OBJECT

public:
    /// `session` is the caller's and outlives the panel.
    explicit CardPanel(Session &session, QWidget *parent = nullptr);

    /// Puts the card of this profile into the device in place of the one that is there. A profile that cannot be used
    /// changes nothing, and is reported.
    void useProfile(const QString &file);

public slots:
    void showLanguage(const QString &code);
    void showStyle(bool isDark);

signals:
    void reported(const QString &text);
    void languageChosen(const QString &code);
    void styleChosen(bool isDark);

private:
    QWidget *createCard();
    QWidget *createTerminal();
    QWidget *createLooks();
    void connectAll();
    void askForProfile();
    void toggleDevice();
    void showDevice();
    void setLimit();

    Session &m_session;
    QLineEdit *m_profileLineEdit = nullptr;
    QPushButton *m_profileButton = nullptr;
    QPushButton *m_insertButton = nullptr;
    QCheckBox *m_hangCheckBox = nullptr;
    QPushButton *m_failButton = nullptr;
    QComboBox *m_threadComboBox = nullptr;
    QComboBox *m_limitComboBox = nullptr;
    QDoubleSpinBox *m_limitSpinBox = nullptr;
    QPushButton *m_limitButton = nullptr;
    QComboBox *m_languageComboBox = nullptr;
    QComboBox *m_styleComboBox = nullptr;
};

} // namespace dashboard

#endif // DASHBOARD_CARDPANEL_H
