#ifndef DASHBOARD_CARDPANEL_H
#define DASHBOARD_CARDPANEL_H

#include "dashboard/CardChoice.h"

#include <QWidget>

#include <functional>

QT_BEGIN_NAMESPACE
class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QLineEdit;
class QMenu;
class QPushButton;
QT_END_NAMESPACE

namespace dashboard
{

class Session;

/// The card and the terminal: which card, in or out, hanging, failing; threads, limits, language and style.
class CardPanel : public QWidget
{
    Q_OBJECT

public:
    /// `session` is the caller's and outlives the panel.
    explicit CardPanel(Session &session, QWidget *parent = nullptr);

    /// Puts the card with this address into the device in place of the one that is there. A card that cannot be used
    /// changes nothing, and is reported.
    void useCard(const QString &address);

    /// Whom the card menu asks what there is each time it opens; findCardPlaces() at first.
    void setFinder(std::function<CardPlaces()> finder) { m_finder = std::move(finder); }

public slots:
    void showLanguage(const QString &code);
    void showStyle(bool isDark);

signals:
    void reported(const QString &text);
    void languageChosen(const QString &code);
    void styleChosen(bool isDark);
    void cardChosen(const QString &address);

private:
    QWidget *createCard();
    QWidget *createTerminal();
    QWidget *createLooks();
    void connectAll();
    void fillCardMenu();
    void addCard(const QString &text, const QString &address);
    void addRemark(const QString &text, const QString &more);
    void askForProfile();
    void toggleDevice();
    void showDevice();
    void setLimit();

    Session &m_session;
    std::function<CardPlaces()> m_finder = findCardPlaces;
    QLineEdit *m_cardLineEdit = nullptr;
    QPushButton *m_cardButton = nullptr;
    QMenu *m_cardMenu = nullptr;
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
