#include "dashboard/CardPanel.h"

#include "core/CoreControl.h"
#include "dashboard/Languages.h"
#include "dashboard/Options.h"
#include "dashboard/Session.h"
#include "dashboard/Widgets.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QVBoxLayout>

namespace dashboard
{

namespace
{

/// What the limit's chooser has beside the commands.
enum LimitChoice { AllCommands = -1, Unattended = -2 };

/// A reader goes by a part of its name, too.
bool isSameCard(const QString &offered, const QString &card)
{
    const bool isReader = offered.startsWith("pcsc:") && isRealCard(card) && card.startsWith("pcsc");
    return offered == card || (isReader && offered.section(':', 1).contains(card.section(':', 1)));
}

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
    m_cardLineEdit = named(new QLineEdit(m_session.card()), "cardLineEdit", tr("Profile, reader or modem of the card"));
    m_cardLineEdit->setReadOnly(true);
    m_cardMenu = named(new QMenu(this), "cardMenu", tr("Cards"));
    m_cardMenu->setToolTipsVisible(true);
    m_cardButton = named(new QPushButton(tr("&Pick a card")), "cardButton", tr("Choose profile, reader or modem"));
    m_cardButton->setMenu(m_cardMenu);
    m_insertButton = named(new QPushButton, "insertButton", tr("Insert or remove the card"));
    m_hangCheckBox = named(new QCheckBox(tr("Card &hangs")), "hangCheckBox", tr("The card answers nothing"));
    m_failButton = named(new QPushButton(tr("Fail next library &call")), "failButton",
                         tr("Let the next call of the device-service library fail"));

    auto *layout = new QVBoxLayout(group);
    layout->addWidget(m_cardLineEdit);
    layout->addWidget(m_cardButton);
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
    connect(m_cardMenu, &QMenu::aboutToShow, this, &CardPanel::fillCardMenu);
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

/// Readers and modems come and go: they are looked for each time.
void CardPanel::fillCardMenu()
{
    m_cardMenu->clear();
    QAction *const profile = m_cardMenu->addAction(tr("&Profile ..."), this, &CardPanel::askForProfile);
    profile->setObjectName("profileAction");
    const CardPlaces places = m_finder();
    m_cardMenu->addSeparator();
    for (const QString &name : places.readers)
        addCard(tr("Reader %1").arg(name), "pcsc:" + name);
    if (places.readers.isEmpty())
        addRemark(tr("No reader"), places.readerProblem);
    m_cardMenu->addSeparator();
    for (const QString &line : places.modemLines)
        addCard(tr("Modem %1").arg(line), "modem:" + line);
    if (places.modemLines.isEmpty())
        addRemark(tr("No modem"), tr("There is no serial line of a modem."));
}

void CardPanel::addCard(const QString &text, const QString &address)
{
    QAction *const action = m_cardMenu->addAction(QString(text).replace('&', "&&"));
    action->setCheckable(true);
    action->setChecked(isSameCard(address, m_session.card()));
    connect(action, &QAction::triggered, this, [this, address] { useCard(address); });
}

/// A line of the menu that only tells something; chosen, it tells the rest.
void CardPanel::addRemark(const QString &text, const QString &more)
{
    QAction *const action = m_cardMenu->addAction(tr("%1: why?").arg(text));
    action->setToolTip(more);
    connect(action, &QAction::triggered, this, [this, text, more] { emit reported(text + ": " + more); });
}

void CardPanel::askForProfile()
{
    auto *dialog =
        new QFileDialog(this, tr("Choose a card profile"), isRealCard(m_session.card()) ? QString() : m_session.card());
    dialog->setObjectName("profileDialog");
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::ExistingFile);
    dialog->setNameFilters({tr("Card profiles (*.yaml)"), tr("All files (*)")});
    connect(dialog, &QFileDialog::fileSelected, this, [this](const QString &file) { useCard(addressOfProfile(file)); });
    dialog->open();
}

void CardPanel::useCard(const QString &address)
{
    QString error;
    if (!m_session.attach(address, &error))
        return emit reported(tr("The card stays as it is. %1").arg(error));
    emit reported(tr("The device has %1.").arg(cardWords(address)));
    emit cardChosen(address);
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
    m_cardLineEdit->setText(m_session.card());
    const bool isReal = isRealCard(m_session.card());
    const QString whyNot = isReal ? tr("Only a virtual card can be disturbed: choose a profile.") : QString();
    if (isReal)
        m_hangCheckBox->setChecked(false);
    for (QWidget *fault : {static_cast<QWidget *>(m_hangCheckBox), static_cast<QWidget *>(m_failButton)}) {
        fault->setEnabled(!isReal);
        fault->setToolTip(whyNot);
        fault->setAccessibleDescription(whyNot);
    }
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
