#ifndef DASHBOARD_COMMANDFORM_H
#define DASHBOARD_COMMANDFORM_H

#include "dashboard/CommandBuilder.h"

#include <QWidget>

QT_BEGIN_NAMESPACE
class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QFormLayout;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QSpinBox;
class QVBoxLayout;
QT_END_NAMESPACE

namespace dashboard
{

/// Makes a command by a form, or takes its bytes by hand, and asks to have it raised. The line of bytes is what counts:
/// the form fills it.
class CommandForm : public QWidget
{
    Q_OBJECT

public:
    explicit CommandForm(QWidget *parent = nullptr);

    /// What has been filled in.
    CommandValues values() const;

signals:
    /// `command` is one that a card can say.
    void raiseAsked(const QByteArray &command);

public slots:
    void raiseCommand();

private:
    void createFields();
    void connectField(QWidget *widget);
    void removeField(QWidget *widget);
    void showFields(const std::vector<CommandField> &asked);
    void showChoices(cat::CommandType type);
    QWidget *createQualifier();
    void chooseType();
    void showQualifier();
    void takeQualifier();
    void build();
    void check();
    cat::CommandType type() const;

    QFormLayout *m_layout;
    struct Field {
        CommandField field;
        QString label;
        QWidget *widget;
    };
    std::vector<Field> m_fields; ///< from top to bottom
    QComboBox *m_typeComboBox;
    QSpinBox *m_qualifierSpinBox;
    QVBoxLayout *m_choices;
    QComboBox *m_modeComboBox;
    QLineEdit *m_textLineEdit;
    QPlainTextEdit *m_itemsEdit;
    QComboBox *m_codingComboBox;
    QSpinBox *m_minimumSpinBox;
    QSpinBox *m_maximumSpinBox;
    QLineEdit *m_defaultTextLineEdit;
    QDoubleSpinBox *m_durationSpinBox;
    QComboBox *m_toneComboBox;
    QLineEdit *m_numberLineEdit;
    QLineEdit *m_callTextLineEdit;
    QLineEdit *m_messageLineEdit;
    QLineEdit *m_codeLineEdit;
    QLineEdit *m_urlLineEdit;
    QLineEdit *m_filesLineEdit;
    QLineEdit *m_eventsLineEdit;
    QSpinBox *m_timerSpinBox;
    QLineEdit *m_languageLineEdit;
    QCheckBox *m_immediateCheckBox;
    QPlainTextEdit *m_bytesEdit;
    QLabel *m_wordsLabel;
    QPushButton *m_raiseButton;
};

} // namespace dashboard

#endif // DASHBOARD_COMMANDFORM_H
