#ifndef DASHBOARD_INSPECTORWINDOW_H
#define DASHBOARD_INSPECTORWINDOW_H

#include "dashboard/KeyboardShare.h"
#include "dashboard/SessionModel.h"

#include <QWidget>

#include <vector>

QT_BEGIN_NAMESPACE
class QComboBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QTabWidget;
class QTableView;
class QTreeWidget;
QT_END_NAMESPACE

namespace dashboard
{

class CardPanel;
class CommandForm;
class Session;

/// The session from near by: every step as a row of a table, and what its bytes say. A window without a parent, so that
/// the windows of a plug-in, which are modal over the dashboard's, leave it usable. The widgets' object names end in
/// their kind.
class InspectorWindow : public QWidget
{
    Q_OBJECT

public:
    /// Both are the caller's and outlive the window.
    InspectorWindow(SessionModel &model, Session &session);

    CardPanel *cardPanel() const { return m_cardPanel; }

    /// What the last command of the user came to: what was copied or saved, or why not.
    QString report() const;

public slots:
    /// Shows the window, in front of the others.
    void open();
    /// The bytes of the chosen rows, a line for each, to the clipboard.
    void copyHex();
    /// Asks for a file and saves the whole session.
    void askForFile();
    void save(const QString &file);

private:
    QWidget *createSession();
    QWidget *createTools();
    QWidget *createFilterRow();
    QWidget *createTable();
    QWidget *createDetails();
    void createLine(QWidget *parent);
    QWidget *createButtons();
    void connectAll();
    QWidget *createStatus();
    void showTurn();
    void raiseCommand(const QByteArray &command);
    void setReport(const QString &text);
    void choose(int kindIndex);
    void showDetails();
    QModelIndex chosenLine() const;
    bool isAtEnd() const;

    SessionModel &m_model;
    Session &m_session;
    SessionFilter m_filter;
    KeyboardShare m_keyboard{this};
    bool m_wasAtEnd = true; ///< only between the two signals of a row that comes
    QTabWidget *m_tools = nullptr;
    CommandForm *m_commandForm = nullptr;
    CardPanel *m_cardPanel = nullptr;
    QComboBox *m_kindComboBox = nullptr;
    QLineEdit *m_searchLineEdit = nullptr;
    QTableView *m_table = nullptr;
    QPlainTextEdit *m_lineEdit = nullptr; ///< what the table cuts off
    QTreeWidget *m_details = nullptr;
    QLineEdit *m_bytesLineEdit = nullptr;
    QPushButton *m_copyButton = nullptr;
    QPushButton *m_saveButton = nullptr;
    QPushButton *m_clearButton = nullptr;
    QLabel *m_reportLabel = nullptr;
    QLabel *m_turnLabel = nullptr;
};

} // namespace dashboard

#endif // DASHBOARD_INSPECTORWINDOW_H
