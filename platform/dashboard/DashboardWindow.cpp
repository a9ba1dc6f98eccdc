#include "dashboard/DashboardWindow.h"

#include "core/CoreControl.h"
#include "dashboard/CardChoice.h"
#include "dashboard/Languages.h"
#include "dashboard/PluginHost.h"
#include "dashboard/Session.h"
#include "dashboard/SignalBars.h"
#include "dashboard/Widgets.h"

#include <QComboBox>
#include <QDialog>
#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QVBoxLayout>

namespace dashboard
{

namespace
{

const int titleWidth = 360; // of a menu's title on the button; a longer one is cut

} // namespace

DashboardWindow::DashboardWindow(PluginHost &plugin, Session &session) : m_plugin(plugin), m_session(session)
{
    setObjectName("DashboardWindow");
    setWindowTitle(tr("Dashboard"));
    resize(760, 520);

    auto *body = new QVBoxLayout;
    body->setContentsMargins(20, 20, 20, 20);
    body->setSpacing(16);
    body->addWidget(createIdleScreen(), 1);
    body->addWidget(createToolkitButton(), 0, Qt::AlignHCenter);
    body->addWidget(createControls());

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(createHeader());
    layout->addLayout(body, 1);

    connectAll();
    showDeviceState();
    m_toolkitButton->setFocus();
}

QWidget *DashboardWindow::createHeader()
{
    auto *header = new QFrame(this);
    header->setObjectName("headerFrame");
    m_signalBars = new SignalBars(header);
    m_signalBars->setObjectName("signalBars");
    m_operatorLabel = tellingLabel(header, "operatorLabel", tr("Operator"));
    m_operatorLabel->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    alignOperator();
    m_deviceLabel = tellingLabel(header, "deviceLabel", tr("State of the device"));

    auto *layout = new QHBoxLayout(header);
    layout->setContentsMargins(20, 16, 20, 16);
    layout->setSpacing(14);
    layout->addWidget(m_signalBars);
    layout->addWidget(m_operatorLabel, 1);
    layout->addWidget(m_deviceLabel);
    return header;
}

/// Beside the bars. A label would go by the direction of its text.
void DashboardWindow::alignOperator()
{
    const Qt::Alignment side = layoutDirection() == Qt::RightToLeft ? Qt::AlignRight : Qt::AlignLeft;
    m_operatorLabel->setAlignment(side | Qt::AlignAbsolute | Qt::AlignVCenter);
}

void DashboardWindow::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::LayoutDirectionChange && m_operatorLabel)
        alignOperator();
}

QWidget *DashboardWindow::createIdleScreen()
{
    auto *screen = new QFrame(this);
    screen->setObjectName("idleFrame");
    m_idleCaption = tellingLabel(screen, "idleCaptionLabel", tr("Idle screen"));
    m_idleCaption->setAlignment(Qt::AlignCenter);
    m_idleLabel = tellingLabel(screen, "idleLabel", tr("The card's text for the idle screen"));
    m_idleLabel->setAlignment(Qt::AlignCenter);
    m_idleLabel->setWordWrap(true);

    auto *layout = new QVBoxLayout(screen);
    layout->setSpacing(8);
    layout->addStretch(1);
    layout->addWidget(m_idleLabel);
    layout->addWidget(m_idleCaption);
    layout->addStretch(1);
    return screen;
}

QWidget *DashboardWindow::createToolkitButton()
{
    m_toolkitButton = named(new QPushButton(this), "simToolkitButton", tr("SIM Toolkit"));
    m_toolkitButton->setMinimumWidth(titleWidth);
    return m_toolkitButton;
}

QWidget *DashboardWindow::createControls()
{
    auto *controls = new QWidget(this);
    m_deviceButton = named(new QPushButton(controls), "deviceButton", tr("Attach or detach the device"));
    m_deviceButton->setToolTip(tr("F9 does it in every window"));
    m_inspectorButton = named(new QPushButton(tr("&Inspector"), controls), "inspectorButton", tr("Open the inspector"));
    m_inspectorButton->setToolTip(tr("F12 does it in every window"));
    m_languageComboBox = named(new QComboBox(controls), "languageComboBox", tr("Language"));
    m_languageComboBox->setToolTip(tr("F8 takes the next one in every window"));
    fillLanguages(m_languageComboBox);
    for (QWidget *control : {static_cast<QWidget *>(m_deviceButton), static_cast<QWidget *>(m_inspectorButton),
                             static_cast<QWidget *>(m_languageComboBox)})
        control->setMinimumSize(130, 34);

    auto *layout = new QHBoxLayout(controls);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(12);
    layout->addWidget(m_deviceButton);
    layout->addWidget(m_inspectorButton);
    layout->addStretch(1);
    layout->addWidget(labelFor(m_languageComboBox, tr("&Language")));
    layout->addWidget(m_languageComboBox);
    return controls;
}

void DashboardWindow::connectAll()
{
    connect(m_toolkitButton, &QPushButton::clicked, this, &DashboardWindow::openToolkit);
    connect(m_deviceButton, &QPushButton::clicked, this, &DashboardWindow::toggleDevice);
    connect(m_inspectorButton, &QPushButton::clicked, this, &DashboardWindow::inspectorAsked);
    connect(m_languageComboBox, qOverload<int>(&QComboBox::activated), this,
            [this] { setLanguage(m_languageComboBox->currentData().toString()); });
    connect(&m_session, &Session::entryAdded, this, &DashboardWindow::showDeviceState);
    connect(&m_session, &Session::attachedChanged, this, &DashboardWindow::showDeviceState);
    connect(&m_session, &Session::turnChanged, this, &DashboardWindow::showDeviceState);
    connect(&m_session, &Session::idleTextChanged, this, &DashboardWindow::showIdleText);
}

void DashboardWindow::closeDialogs()
{
    const QList<QDialog *> dialogs = findChildren<QDialog *>(QString(), Qt::FindDirectChildrenOnly);
    for (QDialog *dialog : dialogs) {
        if (dialog->isVisible())
            dialog->close();
    }
}

void DashboardWindow::openToolkit()
{
    m_session.addHostEntry("opens the SIM Toolkit window");
    if (!m_plugin.showWindow(this, rect()))
        m_session.addHostEntry("the SIM Toolkit window did not open");
}

void DashboardWindow::toggleDevice()
{
    if (m_session.isAttached())
        m_session.detach();
    else
        attachDevice();
}

void DashboardWindow::attachDevice()
{
    QString reason;
    if (m_session.isAttached() || m_session.attach(&reason))
        return;
    m_session.addHostEntry("the device cannot be attached: " + reason);
    auto *box = new QMessageBox(QMessageBox::Warning, tr("Dashboard"), tr("The device cannot be attached."),
                                QMessageBox::Ok, this);
    box->setTextFormat(Qt::PlainText);
    box->setInformativeText(reason);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->open();
}

void DashboardWindow::nextLanguage()
{
    const int next = (m_languageComboBox->currentIndex() + 1) % m_languageComboBox->count();
    setLanguage(m_languageComboBox->itemData(next).toString());
}

void DashboardWindow::setLanguage(const QString &code)
{
    if (code == core::language() || !core::setLanguage(code))
        return;
    m_languageComboBox->setCurrentIndex(m_languageComboBox->findData(code));
    m_session.addHostEntry("speaks " + m_languageComboBox->currentText());
    m_plugin.changeLanguage(code);
    emit languageChanged(code);
}

void DashboardWindow::showIdleText(const QString &text)
{
    m_idleLabel->setText(text);
    m_idleLabel->setVisible(!text.isEmpty());
    m_idleCaption->setText(!text.isEmpty()       ? tr("On the idle screen")
                           : m_session.hasCard() ? tr("The card shows no text on the idle screen")
                                                 : tr("There is no card"));
}

void DashboardWindow::showDeviceState()
{
    const bool attached = m_session.isAttached();
    const QString name = m_session.operatorName();
    // Whether a real card has a network, and how well it hears it, nobody here knows.
    const QString place = placeWords(m_session.card());
    if (!attached)
        m_operatorLabel->setText(tr("No device"));
    else if (!m_session.hasCard())
        m_operatorLabel->setText(tr("No card"));
    else if (!place.isEmpty())
        m_operatorLabel->setText(place);
    else if (!m_session.hasNetwork())
        m_operatorLabel->setText(tr("No network"));
    else
        m_operatorLabel->setText(name.isEmpty() ? tr("Network") : name);
    m_signalBars->setStrength(m_session.hasNetwork() ? SignalBars::most : 0);
    m_signalBars->setVisible(!attached || place.isEmpty());
    m_deviceLabel->setText(!attached             ? tr("\u25cb Device detached")
                           : m_session.hasCard() ? tr("\u25cf Device attached")
                                                 : tr("\u25cb ") + missingCardWords(m_session.card()));
    m_deviceButton->setText(attached ? tr("&Detach device") : tr("&Attach device"));
    m_toolkitButton->setEnabled(m_session.hasCard());
    showMenuTitle(m_session.menuTitle());
    showIdleText(m_session.idleText());
}

/// Below the words that never change; an ampersand of the card's is no mnemonic.
void DashboardWindow::showMenuTitle(const QString &title)
{
    QString shown = m_toolkitButton->fontMetrics().elidedText(title, Qt::ElideRight, titleWidth);
    shown.replace('&', "&&");
    m_toolkitButton->setText(shown.isEmpty() ? tr("&SIM Toolkit") : tr("&SIM Toolkit") + '\n' + shown);
    m_toolkitButton->setAccessibleDescription(title);
}

} // namespace dashboard
