#include "dashboard/CardPanel.h"

#include "core/CoreControl.h"
#include "dashboard/Languages.h"
#include "dashboard/Options.h"
#include "dashboard/Session.h"
#include "dashboard/Widgets.h"

#include <QtCore/QFileInfo>

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace dashboard
{

namespace
{

/// What the limit's chooser has beside the commands.
enum LimitChoice { AllCommands = -1, Unattended = -2 };

} // namespace

CardPanel::CardPanel(Session &session, QWidget *parent) : QWidget(parent), m_session(session)
{
    setObjectName("cardPanel");
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(createCard());
    layout->addWidget(createTerminal());
    layout->addWidget(createLooks());
    layout->addStretch(1);
    connectAll();
    showDevice();
}

QWidget *CardPanel::createCard()
{
    auto *group = new QGroupBox(tr("Card"), this);
    m_profileLineEdit = named(new QLineEdit(m_session.profileFile()), "profileLineEdit", tr("Profile of the card"));
    m_profileLineEdit->setReadOnly(true);
    m_profileButton = named(new QPushButton(tr("Choose &profile")), "profileButton", tr("Choose a card profile"));
    m_insertButton = named(new QPushButton, "insertButton", tr("Insert or remove the card"));
    m_hangCheckBox = named(new QCheckBox(tr("Card &hangs")), "hangCheckBox", tr("The card answers nothing"));
    m_failButton = named(new QPushButton(tr("Fail next library &call")), "failButton",
                         tr("Let the next call of the device-service library fail"));

    auto *layout = new QVBoxLayout(group);
    layout->addWidget(m_profileLineEdit);
    layout->addWidget(m_profileButton);
    layout->addWidget(m_insertButton);
    layout->addWidget(m_hangCheckBox);
    layout->addWidget(m_failButton);
    return group;
}

QWidget *CardPanel::createTerminal()
{
    auto *group = new QGroupBox(tr("Terminal"), this);
    m_threadComboBox = named(new QComboBox, "threadComboBox", tr("Thread of the callbacks"));
    m_threadComboBox->addItem(tr("User interface"), true);
    m_threadComboBox->addItem(tr("Device service"), false);
    m_threadComboBox->setCurrentIndex(m_session.isCallbackOnUiThread() ? 0 : 1);
    m_limitComboBox = named(new QComboBox, "limitComboBox", tr("Command that the time limit is for"));
    m_limitComboBox->addItem(tr("Every command"), int(AllCommands));
    m_limitComboBox->addItem(tr("Nobody ends it"), int(Unattended));
    for (const LimitedCommand &command : limitedCommands())
        m_limitComboBox->addItem(command.name, command.stkType);
    m_limitSpinBox = named(new QDoubleSpinBox, "limitSpinBox", tr("Time limit in seconds"));
    m_limitSpinBox->setRange(0.1, 86400);
    m_limitSpinBox->setDecimals(1);
    m_limitSpinBox->setValue(60);
    m_limitSpinBox->setSuffix(tr(" s"));
    m_limitButton = named(new QPushButton(tr("Set li&mit")), "limitButton", tr("Set the time limit"));

    auto *layout = new QFormLayout(group);
    layout->setRowWrapPolicy(QFormLayout::WrapLongRows);
    layout->addRow(tr("Call&backs"), m_threadComboBox);
    layout->addRow(tr("Time limit &of"), m_limitComboBox);
    layout->addRow(QString(), m_limitSpinBox);
    layout->addRow(QString(), m_limitButton);
    return group;
}

QWidget *CardPanel::createLooks()
{
    auto *group = new QGroupBox(tr("Looks"), this);
    m_languageComboBox = named(new QComboBox, "languageComboBox", tr("Language of the plug-in"));
    fillLanguages(m_languageComboBox);
    m_styleComboBox = named(new QComboBox, "styleComboBox", tr("Light or dark style"));
    m_styleComboBox->addItem(tr("Light"), false);
    m_styleComboBox->addItem(tr("Dark"), true);

    auto *layout = new QFormLayout(group);
    layout->setRowWrapPolicy(QFormLayout::WrapLongRows);
    layout->addRow(tr("La&nguage"), m_languageComboBox);
    layout->addRow(tr("Styl&e"), m_styleComboBox);
    return group;
}

void CardPanel::connectAll()
{
    connect(m_profileButton, &QPushButton::clicked, this, &CardPanel::askForProfile);
    connect(m_insertButton, &QPushButton::clicked, this, &CardPanel::toggleDevice);
    connect(m_hangCheckBox, &QCheckBox::toggled, &m_session, &Session::setHanging);
    connect(m_failButton, &QPushButton::clicked, this, [this] {
        m_session.failNextCall();
        emit reported(tr("The plug-in's next call of the library will fail."));
    });
    connect(m_threadComboBox, qOverload<int>(&QComboBox::activated), this,
            [this] { m_session.setCallbackOnUiThread(m_threadComboBox->currentData().toBool()); });
    connect(m_limitButton, &QPushButton::clicked, this, &CardPanel::setLimit);
    connect(m_languageComboBox, qOverload<int>(&QComboBox::activated), this,
            [this] { emit languageChosen(m_languageComboBox->currentData().toString()); });
    connect(m_styleComboBox, qOverload<int>(&QComboBox::activated), this,
            [this] { emit styleChosen(m_styleComboBox->currentData().toBool()); });
    connect(&m_session, &Session::attachedChanged, this, &CardPanel::showDevice);
}

void CardPanel::showLanguage(const QString &code)
{
    m_languageComboBox->setCurrentIndex(m_languageComboBox->findData(code));
}

void CardPanel::showStyle(bool isDark)
{
    m_styleComboBox->setCurrentIndex(m_styleComboBox->findData(isDark));
}

void CardPanel::askForProfile()
{
    auto *dialog = new QFileDialog(this, tr("Choose a card profile"), m_session.profileFile());
    dialog->setObjectName("profileDialog");
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::ExistingFile);
    dialog->setNameFilters({tr("Card profiles (*.yaml)"), tr("All files (*)")});
    connect(dialog, &QFileDialog::fileSelected, this, &CardPanel::useProfile);
    dialog->open();
}

void CardPanel::useProfile(const QString &file)
{
    QString error;
    if (!m_session.attach(file, &error))
        return emit reported(tr("The card stays as it is. %1").arg(error));
    m_profileLineEdit->setText(file);
    emit reported(tr("The card of %1 is in the device.").arg(QFileInfo(file).fileName()));
}

void CardPanel::toggleDevice()
{
    QString error;
    if (m_session.isAttached())
        m_session.detach();
    else if (!m_session.attach(&error))
        emit reported(tr("The card cannot be inserted. %1").arg(error));
}

void CardPanel::showDevice()
{
    m_insertButton->setText(m_session.isAttached() ? tr("Remo&ve card") : tr("&Insert card"));
    m_profileLineEdit->setText(m_session.profileFile());
}

void CardPanel::setLimit()
{
    const int choice = m_limitComboBox->currentData().toInt();
    const auto limit = std::chrono::milliseconds(static_cast<long long>(m_limitSpinBox->value() * 1000.0));
    if (choice == Unattended)
        m_session.setUnattendedLimit(limit);
    else
        m_session.setResponseLimit({choice == AllCommands ? std::nullopt : std::make_optional(choice), limit});
    emit reported(tr("Time limit of \"%1\": %2 s, from the next command on.")
                      .arg(m_limitComboBox->currentText())
                      .arg(m_limitSpinBox->value()));
}

} // namespace dashboard
