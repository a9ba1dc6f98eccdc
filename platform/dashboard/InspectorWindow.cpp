#include "dashboard/InspectorWindow.h"

#include "dashboard/ApduText.h"
#include "dashboard/CardChoice.h"
#include "dashboard/CardPanel.h"
#include "dashboard/CommandForm.h"
#include "dashboard/Session.h"
#include "dashboard/SessionFile.h"
#include "dashboard/Widgets.h"

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QShortcut>
#include <QSplitter>
#include <QTabWidget>
#include <QTableView>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <algorithm>
#include <iterator>

namespace dashboard
{

namespace
{

struct KindChoice {
    const char *name;
    QList<EntryKind> kinds;
};

/// What the table can be narrowed to; no kinds stand for all but APDUs.
const KindChoice kindChoices[] = {
    {QT_TRANSLATE_NOOP("dashboard::InspectorWindow", "The session"), {}},
    {QT_TRANSLATE_NOOP("dashboard::InspectorWindow", "The session and APDUs"),
     {EntryKind::Command, EntryKind::Response, EntryKind::Envelope, EntryKind::Device, EntryKind::Note, EntryKind::Host,
      EntryKind::Apdu}},
    {QT_TRANSLATE_NOOP("dashboard::InspectorWindow", "What the card asks"), {EntryKind::Command}},
    {QT_TRANSLATE_NOOP("dashboard::InspectorWindow", "Answers"), {EntryKind::Response}},
    {QT_TRANSLATE_NOOP("dashboard::InspectorWindow", "Envelopes: choices and timers"), {EntryKind::Envelope}},
    {QT_TRANSLATE_NOOP("dashboard::InspectorWindow", "Device and notes"), {EntryKind::Device, EntryKind::Note}},
    {QT_TRANSLATE_NOOP("dashboard::InspectorWindow", "The dashboard"), {EntryKind::Host}},
    {QT_TRANSLATE_NOOP("dashboard::InspectorWindow", "APDUs"), {EntryKind::Apdu}},
};

QTreeWidgetItem *itemOf(const cat::Explanation &object)
{
    auto *item = new QTreeWidgetItem({QString::fromStdString(object.tag), QString::fromStdString(object.name),
                                      QString::number(object.length), readable(QString::fromStdString(object.value))});
    for (const cat::Explanation &part : object.parts)
        item->addChild(itemOf(part));
    return item;
}

QFont fixedFont(const QFont &like)
{
    QFont font = like;
    font.setFamily("monospace");
    font.setStyleHint(QFont::TypeWriter);
    return font;
}

} // namespace

InspectorWindow::InspectorWindow(SessionModel &model, Session &session) : m_model(model), m_session(session)
{
    setObjectName("InspectorWindow");
    setWindowTitle(tr("SIM Toolkit inspector"));
    setLayoutDirection(Qt::LeftToRight); // times, English words and bytes, in every language
    setAttribute(Qt::WA_QuitOnClose, false);
    resize(1160, 680);
    m_filter.setSourceModel(&m_model);

    auto *splitter = new QSplitter(Qt::Horizontal, this);
    splitter->setObjectName("toolsSplitter");
    splitter->setChildrenCollapsible(false);
    splitter->addWidget(createSession());
    splitter->addWidget(createTools());
    splitter->setStretchFactor(0, 1);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(splitter, 1);
    layout->addWidget(createStatus());
    connectAll();
    showTurn();
    showDetails();
    m_table->setFocus();
}

QWidget *InspectorWindow::createSession()
{
    auto *session = new QWidget(this);
    auto *layout = new QVBoxLayout(session);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(createFilterRow());
    auto *splitter = new QSplitter(Qt::Vertical, session);
    splitter->setObjectName("sessionSplitter");
    splitter->setChildrenCollapsible(false);
    splitter->addWidget(createTable());
    splitter->addWidget(createDetails());
    splitter->setStretchFactor(0, 3);
    splitter->setStretchFactor(1, 2);
    layout->addWidget(splitter, 1);
    layout->addWidget(createButtons());
    return session;
}

/// In scroll areas: a small or much enlarged screen has no room for all of it.
QWidget *InspectorWindow::createTools()
{
    m_commandForm = new CommandForm;
    m_cardPanel = new CardPanel(m_session);
    m_tools = named(new QTabWidget(this), "toolsTabs", tr("Commands, card and terminal"));
    const auto add = [this](QWidget *tool, const QString &title) {
        auto *area = new QScrollArea;
        area->setWidget(tool);
        area->setWidgetResizable(true);
        area->setFrameShape(QFrame::NoFrame);
        m_tools->addTab(area, title);
    };
    add(m_commandForm, tr("Raise a comman&d"));
    add(m_cardPanel, tr("Card and term&inal"));
    m_tools->setMinimumWidth(m_commandForm->minimumSizeHint().width() + 40);
    return m_tools;
}

QWidget *InspectorWindow::createFilterRow()
{
    auto *row = new QWidget(this);
    m_kindComboBox = named(new QComboBox(row), "kindComboBox", tr("What the table shows"));
    for (const KindChoice &choice : kindChoices)
        m_kindComboBox->addItem(tr(choice.name));
    m_searchLineEdit = named(new QLineEdit(row), "searchLineEdit", tr("Search in words and bytes"));
    m_searchLineEdit->setPlaceholderText(tr("Words or bytes"));
    m_searchLineEdit->setClearButtonEnabled(true);

    auto *layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(labelFor(m_kindComboBox, tr("Sho&w")));
    layout->addWidget(m_kindComboBox);
    layout->addWidget(labelFor(m_searchLineEdit, tr("&Find")));
    layout->addWidget(m_searchLineEdit, 1);
    return row;
}

QWidget *InspectorWindow::createTable()
{
    m_table = named(new QTableView(this), "sessionTable", tr("The session, newest last"));
    m_table->setModel(&m_filter);
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setAlternatingRowColors(true);
    m_table->setShowGrid(false);
    m_table->setWordWrap(false);
    m_table->setTabKeyNavigation(false); // Tab leads on to the next control
    m_table->verticalHeader()->hide();
    m_table->verticalHeader()->setDefaultSectionSize(m_table->fontMetrics().height() + 6);
    QHeaderView *const header = m_table->horizontalHeader();
    header->setHighlightSections(false);
    header->setDefaultAlignment(Qt::AlignLeft | Qt::AlignAbsolute | Qt::AlignVCenter);
    header->setStretchLastSection(true);
    const QFontMetrics metrics = m_table->fontMetrics();
    m_table->setColumnWidth(SessionModel::TimeColumn, metrics.horizontalAdvance("00:00:00.000") + 24);
    m_table->setColumnWidth(SessionModel::DirectionColumn, metrics.horizontalAdvance("card asks") + 24);
    m_table->setColumnWidth(SessionModel::TextColumn, metrics.horizontalAdvance('x') * 56);
    return m_table;
}

/// A line may be of any length and without a blank, so it breaks anywhere and scrolls.
void InspectorWindow::createLine(QWidget *parent)
{
    m_lineEdit = named(new QPlainTextEdit(parent), "lineTextEdit", tr("The chosen line, whole"));
    m_lineEdit->setReadOnly(true);
    m_lineEdit->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    m_lineEdit->setTabChangesFocus(true);
    m_lineEdit->setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    m_lineEdit->setFixedHeight(m_lineEdit->fontMetrics().lineSpacing() * 2 + 14);
}

QWidget *InspectorWindow::createDetails()
{
    auto *details = new QWidget(this);
    createLine(details);
    m_details = named(new QTreeWidget(details), "detailsTree", tr("What the bytes say"));
    m_details->setHeaderLabels({tr("Tag"), tr("Name"), tr("Length"), tr("Value")});
    m_details->header()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignAbsolute | Qt::AlignVCenter);
    m_details->setUniformRowHeights(true);
    m_details->setAlternatingRowColors(true);
    m_details->setColumnWidth(0, 130);
    m_details->setColumnWidth(1, 210);
    m_details->setColumnWidth(2, 70);
    m_bytesLineEdit = named(new QLineEdit(details), "bytesLineEdit", tr("Bytes of the chosen line"));
    m_bytesLineEdit->setReadOnly(true);
    m_bytesLineEdit->setFont(fixedFont(m_bytesLineEdit->font()));

    auto *layout = new QVBoxLayout(details);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_lineEdit);
    layout->addWidget(m_details, 1);
    layout->addWidget(m_bytesLineEdit);
    return details;
}

QWidget *InspectorWindow::createButtons()
{
    auto *row = new QWidget(this);
    m_copyButton = named(new QPushButton(tr("&Copy as hex"), row), "copyButton", tr("Copy the chosen lines as hex"));
    m_saveButton = named(new QPushButton(tr("Sa&ve"), row), "saveButton", tr("Save the session"));
    m_clearButton = named(new QPushButton(tr("C&lear"), row), "clearButton", tr("Clear the table"));
    auto *layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_copyButton);
    layout->addWidget(m_saveButton);
    layout->addWidget(m_clearButton);
    layout->addStretch(1);
    return row;
}

QWidget *InspectorWindow::createStatus()
{
    auto *row = new QWidget(this);
    m_reportLabel = tellingLabel(row, "reportLabel", tr("Report"));
    m_reportLabel->setWordWrap(true);
    m_turnLabel = tellingLabel(row, "turnLabel", tr("Whose turn it is"));
    auto *layout = new QHBoxLayout(row);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(12);
    layout->addWidget(m_reportLabel, 1);
    layout->addWidget(m_turnLabel);
    return row;
}

/// A screen reader says the same words: an accessible name of its own would hide them.
void InspectorWindow::showTurn()
{
    const QString words = m_session.isAttached() ? turnWords(m_session.turn()) : tr("no device");
    m_turnLabel->setText(tr("Session: %1").arg(words));
}

void InspectorWindow::connectAll()
{
    connect(&m_session, &Session::turnChanged, this, &InspectorWindow::showTurn);
    connect(&m_session, &Session::attachedChanged, this, &InspectorWindow::showTurn);
    connect(m_kindComboBox, qOverload<int>(&QComboBox::currentIndexChanged), this, &InspectorWindow::choose);
    connect(m_searchLineEdit, &QLineEdit::textChanged, this, [this](const QString &text) {
        m_filter.setSearch(text);
        m_table->scrollToBottom();
    });
    connect(&m_filter, &QAbstractItemModel::rowsAboutToBeInserted, this, [this] { m_wasAtEnd = isAtEnd(); });
    connect(&m_filter, &QAbstractItemModel::rowsInserted, this, [this] {
        if (m_wasAtEnd)
            m_table->scrollToBottom();
    });
    connect(m_table->selectionModel(), &QItemSelectionModel::selectionChanged, this, &InspectorWindow::showDetails);
    connect(&m_filter, &QAbstractItemModel::modelReset, this, &InspectorWindow::showDetails);
    connect(m_commandForm, &CommandForm::raiseAsked, this, &InspectorWindow::raiseCommand);
    connect(m_cardPanel, &CardPanel::reported, this, &InspectorWindow::setReport);
    connect(m_copyButton, &QPushButton::clicked, this, &InspectorWindow::copyHex);
    connect(m_saveButton, &QPushButton::clicked, this, &InspectorWindow::askForFile);
    connect(m_clearButton, &QPushButton::clicked, &m_model, &SessionModel::clear);
    connect(new QShortcut(QKeySequence::Save, this), &QShortcut::activated, this, &InspectorWindow::askForFile);
    connect(new QShortcut(QKeySequence::Close, this), &QShortcut::activated, this, &QWidget::close);
    connect(new QShortcut(QKeySequence::Find, this), &QShortcut::activated, m_searchLineEdit,
            qOverload<>(&QWidget::setFocus));
    auto *copy = new QShortcut(QKeySequence::Copy, m_table);
    copy->setContext(Qt::WidgetShortcut);
    connect(copy, &QShortcut::activated, this, &InspectorWindow::copyHex);
}

void InspectorWindow::open()
{
    show();
    raise();
    activateWindow();
}

bool InspectorWindow::isAtEnd() const
{
    const QScrollBar *const bar = m_table->verticalScrollBar();
    return bar->value() == bar->maximum();
}

void InspectorWindow::choose(int kindIndex)
{
    m_filter.setKinds(kindChoices[kindIndex].kinds);
    m_table->scrollToBottom();
}

/// The line that was chosen last. The current one alone is not chosen: a table makes its first one that when it gets
/// the focus.
QModelIndex InspectorWindow::chosenLine() const
{
    const QModelIndex current = m_table->currentIndex();
    return m_table->selectionModel()->isSelected(current) ? m_filter.mapToSource(current) : QModelIndex();
}

void InspectorWindow::showDetails()
{
    m_lineEdit->clear();
    m_details->clear();
    m_bytesLineEdit->clear();
    const QModelIndex index = chosenLine();
    m_bytesLineEdit->setPlaceholderText(index.isValid() ? tr("This line has no bytes")
                                                        : tr("Choose a line to see its bytes"));
    if (!index.isValid())
        return;
    const SessionEntry &entry = m_model.entry(index.row());
    m_lineEdit->setPlainText(readable(entry.text));
    for (const cat::Explanation &object : explainEntry(entry))
        m_details->addTopLevelItem(itemOf(object));
    m_details->expandAll();
    m_bytesLineEdit->setText(bytesOf(entry));
    m_bytesLineEdit->setCursorPosition(0);
}

QString InspectorWindow::report() const
{
    return m_reportLabel->text();
}

void InspectorWindow::setReport(const QString &text)
{
    m_reportLabel->setText(text);
}

void InspectorWindow::raiseCommand(const QByteArray &command)
{
    if (isRealCard(m_session.card()))
        return setReport(tr("The command was not raised: a card in a reader or a modem asks what it likes. Choose a "
                            "profile, and its virtual card asks what you say."));
    QString error;
    if (m_session.raise(cat::Bytes(command.begin(), command.end()), &error))
        setReport(tr("The card raises the command as soon as no session is open."));
    else
        setReport(tr("The command was not raised: %1").arg(error));
}

void InspectorWindow::copyHex()
{
    QModelIndexList rows = m_table->selectionModel()->selectedRows();
    std::sort(rows.begin(), rows.end());
    QStringList lines;
    for (const QModelIndex &row : rows) {
        const SessionEntry &entry = m_model.entry(m_filter.mapToSource(row).row());
        if (!entry.bytes.empty())
            lines << (spacedHex(entry.bytes) + ' ' + spacedHex(entry.answer)).trimmed();
    }
    if (lines.isEmpty())
        return setReport(tr("Nothing to copy: choose a line that has bytes."));
    QApplication::clipboard()->setText(lines.join('\n'));
    setReport(lines.size() == 1 ? tr("The bytes of one line are copied.")
                                : tr("The bytes of %1 lines are copied.").arg(lines.size()));
}

void InspectorWindow::askForFile()
{
    auto *dialog = new QFileDialog(this, tr("Save the session"));
    dialog->setObjectName("saveDialog");
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setNameFilters({tr("Packet capture (*.pcap)"), tr("Text (*.txt)")});
    dialog->setDefaultSuffix("pcap");
    dialog->selectFile("session.pcap");
    connect(dialog, &QFileDialog::filterSelected, dialog,
            [dialog](const QString &filter) { dialog->setDefaultSuffix(filter.contains("pcap") ? "pcap" : "txt"); });
    connect(dialog, &QFileDialog::fileSelected, this, &InspectorWindow::save);
    dialog->open();
}

void InspectorWindow::save(const QString &file)
{
    std::vector<SessionEntry> entries;
    for (int row = 0; row < m_model.rowCount(); ++row)
        entries.push_back(m_model.entry(row));
    QString report;
    saveSession(entries, file, &report);
    setReport(report);
}

} // namespace dashboard
