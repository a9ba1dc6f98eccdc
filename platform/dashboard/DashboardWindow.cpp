#include "dashboard/DashboardWindow.h"

#include "core/CoreControl.h"
#include "dashboard/Languages.h"
#include "dashboard/PluginHost.h"
#include "dashboard/Session.h"
#include "dashboard/Widgets.h"

#include <QtCore/QTime>

#include <QComboBox>
#include <QDialog>
#include <QEvent>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace dashboard
{

namespace
{

const int logLimit = 2000; // entries
const int bytesRole = Qt::UserRole;

// Sheets stand at the widgets they are for: one at the window would also reach the plug-in's windows, its children.
const char headerSheet[] = "#headerFrame { background: #14324a; }"
                           "#titleLabel { color: white; font-size: 20px; font-weight: bold; }"
                           "#deviceLabel { color: #c9dcec; font-size: 13px; }"
                           "#idleCaptionLabel { color: #c9dcec; font-size: 13px; }"
                           "#idleLabel { color: #f2d48a; font-size: 17px; }";
const char toolkitSheet[] = "QPushButton { background: #1f6fb2; color: white; border: 2px solid #1f6fb2;"
                            "  border-radius: 6px; font-size: 17px; font-weight: bold; padding: 18px 12px;"
                            "  outline: none; }"
                            "QPushButton:hover { background: #2a80c7; }"
                            "QPushButton:pressed { background: #17588f; }"
                            "QPushButton:focus { border-color: #f2b632; }"
                            "QPushButton:disabled { background: #c3ccd5; border-color: #c3ccd5; color: #f3f5f8; }";

} // namespace

DashboardWindow::DashboardWindow(PluginHost &plugin, Session &session) : m_plugin(plugin), m_session(session)
{
    setObjectName("DashboardWindow");
    setWindowTitle(tr("Dashboard"));
    resize(900, 560);

    auto *body = new QHBoxLayout;
    body->setContentsMargins(20, 20, 20, 20);
    body->setSpacing(20);
    body->addWidget(createControls());
    body->addWidget(createLog(), 1);

    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(createHeader());
    layout->addLayout(body, 1);

    connectAll();
    showDeviceState();
    showIdleText(m_session.idleText());
    m_toolkitButton->setFocus();
}

QWidget *DashboardWindow::createHeader()
{
    auto *header = new QFrame(this);
    header->setObjectName("headerFrame");
    header->setStyleSheet(headerSheet);
    m_titleLabel = named(plainLabel(header), "titleLabel", tr("Menu of the SIM card"));
    m_deviceLabel = named(plainLabel(header), "deviceLabel", tr("State of the device"));

    auto *device = new QVBoxLayout;
    device->setSpacing(4);
    device->addWidget(m_titleLabel, 0, Qt::AlignLeft); // which is the right in a mirrored window
    device->addWidget(m_deviceLabel, 0, Qt::AlignLeft);
    auto *layout = new QHBoxLayout(header);
    layout->setContentsMargins(20, 14, 20, 14);
    layout->setSpacing(20);
    layout->addLayout(device);
    layout->addWidget(createIdleScreen(), 1);
    return header;
}

QWidget *DashboardWindow::createIdleScreen()
{
    auto *screen = new QWidget(this);
    m_idleCaption = named(plainLabel(screen), "idleCaptionLabel", tr("Idle screen"));
    m_idleCaption->setText(tr("On the idle screen"));
    m_idleLabel = named(plainLabel(screen), "idleLabel", tr("The card's text for the idle screen"));
    m_idleLabel->setWordWrap(true);
    alignIdleScreen();

    auto *layout = new QVBoxLayout(screen);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(4);
    layout->addWidget(m_idleCaption);
    layout->addWidget(m_idleLabel);
    return screen;
}

/// To the far side of the header. A label would go by the direction of its text.
void DashboardWindow::alignIdleScreen()
{
    const Qt::Alignment side = layoutDirection() == Qt::RightToLeft ? Qt::AlignLeft : Qt::AlignRight;
    for (QLabel *label : {m_idleCaption, m_idleLabel})
        label->setAlignment(side | Qt::AlignAbsolute | Qt::AlignVCenter);
}

void DashboardWindow::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::LayoutDirectionChange && m_idleLabel)
        alignIdleScreen();
}

QWidget *DashboardWindow::createControls()
{
    auto *controls = new QWidget(this);
    controls->setFixedWidth(220);
    m_toolkitButton = named(new QPushButton(tr("&SIM Toolkit"), controls), "simToolkitButton", tr("SIM Toolkit"));
    m_toolkitButton->setStyleSheet(toolkitSheet);
    m_deviceButton = named(new QPushButton(controls), "deviceButton", tr("Attach or detach the device"));
    m_deviceButton->setMinimumHeight(34);
    m_deviceButton->setToolTip(tr("F9 does it in every window"));

    m_inspectorButton = named(new QPushButton(tr("&Inspector"), controls), "inspectorButton", tr("Open the inspector"));
    m_inspectorButton->setMinimumHeight(34);
    m_inspectorButton->setToolTip(tr("F12 does it in every window"));

    auto *layout = new QVBoxLayout(controls);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(12);
    layout->addWidget(m_toolkitButton);
    layout->addWidget(m_deviceButton);
    layout->addWidget(m_inspectorButton);
    layout->addStretch(1);
    layout->addWidget(createLanguageChooser());
    return controls;
}

QWidget *DashboardWindow::createLanguageChooser()
{
    auto *chooser = new QWidget(this);
    m_languageComboBox = named(new QComboBox(chooser), "languageComboBox", tr("Language"));
    m_languageComboBox->setMinimumHeight(28);
    m_languageComboBox->setToolTip(tr("F8 takes the next one in every window"));
    fillLanguages(m_languageComboBox);

    auto *label = new QLabel(tr("&Language"), chooser);
    label->setBuddy(m_languageComboBox);
    auto *layout = new QHBoxLayout(chooser);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(label);
    layout->addWidget(m_languageComboBox, 1);
    return chooser;
}

QWidget *DashboardWindow::createLog()
{
    auto *log = new QWidget(this);
    log->setLayoutDirection(Qt::LeftToRight); // times, English words and bytes, in every language
    m_sessionTree = named(new QTreeWidget(log), "sessionTree", tr("What card and user say"));
    m_sessionTree->setHeaderLabels({tr("Time"), tr("Who"), tr("What")});
    m_sessionTree->setRootIsDecorated(false);
    m_sessionTree->setUniformRowHeights(true);
    m_sessionTree->setAlternatingRowColors(true);
    m_sessionTree->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_sessionTree->header()->setSectionsMovable(false);
    m_sessionTree->header()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignAbsolute | Qt::AlignVCenter);
    m_sessionTree->header()->setMinimumSectionSize(80);
    m_sessionTree->header()->setSectionResizeMode(QHeaderView::ResizeToContents);

    m_bytesLineEdit = named(new QLineEdit(log), "bytesLineEdit", tr("Bytes of the chosen line"));
    m_bytesLineEdit->setReadOnly(true);
    m_bytesLineEdit->setPlaceholderText(tr("Choose a line to see its bytes"));

    auto *label = new QLabel(tr("S&ession"), log);
    label->setBuddy(m_sessionTree);
    auto *layout = new QVBoxLayout(log);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(label);
    layout->addWidget(m_sessionTree, 1);
    layout->addWidget(m_bytesLineEdit);
    return log;
}

void DashboardWindow::connectAll()
{
    connect(m_toolkitButton, &QPushButton::clicked, this, &DashboardWindow::openToolkit);
    connect(m_deviceButton, &QPushButton::clicked, this, &DashboardWindow::toggleDevice);
    connect(m_inspectorButton, &QPushButton::clicked, this, &DashboardWindow::inspectorAsked);
    connect(m_languageComboBox, qOverload<int>(&QComboBox::activated), this,
            [this] { setLanguage(m_languageComboBox->currentData().toString()); });
    connect(m_sessionTree, &QTreeWidget::currentItemChanged, this, &DashboardWindow::showBytes);
    connect(&m_session, &Session::entryAdded, this, &DashboardWindow::addEntry);
    connect(&m_session, &Session::attachedChanged, this, &DashboardWindow::showDeviceState);
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

void DashboardWindow::addEntry(const SessionEntry &entry)
{
    if (entry.kind == EntryKind::Apdu)
        return;
    auto *item = new QTreeWidgetItem({entry.time.toString("hh:mm:ss"), directionOf(entry.kind), readable(entry.text)});
    item->setData(0, bytesRole, spacedHex(entry.bytes));
    m_sessionTree->addTopLevelItem(item);
    if (m_sessionTree->topLevelItemCount() > logLimit)
        delete m_sessionTree->takeTopLevelItem(0);
    m_sessionTree->scrollToBottom();
    showDeviceState();
}

void DashboardWindow::showIdleText(const QString &text)
{
    m_idleLabel->setText(text);
    m_idleCaption->setVisible(!text.isEmpty());
}

void DashboardWindow::showBytes()
{
    const QTreeWidgetItem *item = m_sessionTree->currentItem();
    m_bytesLineEdit->setText(item ? item->data(0, bytesRole).toString() : QString());
    m_bytesLineEdit->setCursorPosition(0);
}

void DashboardWindow::showDeviceState()
{
    const bool attached = m_session.isAttached();
    const QString title = m_session.menuTitle();
    if (!attached)
        m_titleLabel->setText(tr("No device"));
    else
        m_titleLabel->setText(title.isEmpty() ? tr("No menu") : title);
    m_deviceLabel->setText(attached ? tr("\u25cf Device attached") : tr("\u25cb Device detached"));
    m_deviceButton->setText(attached ? tr("&Detach device") : tr("&Attach device"));
    m_toolkitButton->setEnabled(attached);
}

} // namespace dashboard
