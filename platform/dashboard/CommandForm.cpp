#include "dashboard/CommandForm.h"

#include "cat/Explain.h"
#include "dashboard/ExchangeText.h"
#include "dashboard/Widgets.h"

#include <QtCore/QSignalBlocker>

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

#include <algorithm>

namespace dashboard
{

namespace
{

constexpr int noTone = -1;

/// The tones that have a name (ETSI TS 102 223 clause 8.16).
constexpr std::uint8_t tones[] = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x10, 0x11, 0x12, 0x13, 0x14, 0x15,
                                  0x20, 0x30, 0x31, 0x32, 0x33, 0x34, 0x40, 0x41, 0x42, 0x43, 0x44, 0x45, 0x46, 0x47};

struct CodingName {
    const char *name;
    int coding; ///< -1: the shortest
};

const CodingName codings[] = {
    {QT_TRANSLATE_NOOP("dashboard::CommandForm", "The shortest that holds it"), -1},
    {QT_TRANSLATE_NOOP("dashboard::CommandForm", "Packed to 7 bits"), int(cat::TextCoding::Gsm7Packed)},
    {QT_TRANSLATE_NOOP("dashboard::CommandForm", "8 bits"), int(cat::TextCoding::Gsm8Bit)},
    {QT_TRANSLATE_NOOP("dashboard::CommandForm", "UCS2"), int(cat::TextCoding::Ucs2)},
};

QSpinBox *spinBox(const char *name, const QString &accessibleName, int value)
{
    auto *box = named(new QSpinBox, name, accessibleName);
    box->setRange(0, 255);
    box->setValue(value);
    return box;
}

bool isMode(const cat::QualifierChoice &choice)
{
    return choice.mask != choice.value || choice.mask == 0xFF;
}

} // namespace

CommandForm::CommandForm(QWidget *parent) : QWidget(parent), m_layout(new QFormLayout)
{
    setObjectName("commandForm");
    auto *column = new QVBoxLayout(this);
    column->addLayout(m_layout);
    column->addStretch(1);
    m_layout->setRowWrapPolicy(QFormLayout::WrapLongRows);
    m_layout->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    m_typeComboBox = named(new QComboBox, "typeComboBox", tr("Type of command"));
    for (const CommandRecipe &recipe : commandRecipes())
        m_typeComboBox->addItem(QString::fromStdString(cat::commandName(recipe.type)), int(recipe.type));
    m_layout->addRow(tr("Co&mmand"), m_typeComboBox);
    createFields();
    m_layout->addRow(tr("&Qualifier"), createQualifier());

    m_bytesEdit = named(new QPlainTextEdit, "commandBytesEdit", tr("The command's bytes, in hex"));
    m_bytesEdit->setTabChangesFocus(true);
    m_bytesEdit->setFixedHeight(m_bytesEdit->fontMetrics().lineSpacing() * 4 + 10);
    m_wordsLabel = tellingLabel(this, "commandWordsLabel", tr("What the bytes say"));
    m_wordsLabel->setWordWrap(true);
    m_raiseButton = named(new QPushButton(tr("&Raise")), "raiseButton", tr("Have the card raise the command"));
    m_layout->addRow(tr("B&ytes"), m_bytesEdit);
    m_layout->addRow(m_wordsLabel);
    m_layout->addRow(m_raiseButton);

    connect(m_typeComboBox, qOverload<int>(&QComboBox::currentIndexChanged), this, &CommandForm::chooseType);
    connect(m_qualifierSpinBox, qOverload<int>(&QSpinBox::valueChanged), this, [this] {
        showQualifier();
        build();
    });
    connect(m_bytesEdit, &QPlainTextEdit::textChanged, this, &CommandForm::check);
    connect(m_raiseButton, &QPushButton::clicked, this, &CommandForm::raiseCommand);
    chooseType();
}

/// Without deleting it; its label goes.
void CommandForm::removeField(QWidget *widget)
{
    if (m_layout->indexOf(widget) < 0)
        return;
    const QFormLayout::TakeRowResult row = m_layout->takeRow(widget);
    if (row.labelItem)
        delete row.labelItem->widget();
    delete row.labelItem;
    delete row.fieldItem;
    widget->hide();
}

/// Below the type: rows that are only hidden would leave gaps.
void CommandForm::showFields(const std::vector<CommandField> &asked)
{
    int row = 1;
    for (const Field &each : m_fields) {
        removeField(each.widget);
        if (std::find(asked.begin(), asked.end(), each.field) == asked.end())
            continue;
        m_layout->insertRow(row++, each.label, each.widget);
        each.widget->show();
    }
}

void CommandForm::createFields()
{
    m_textLineEdit = named(new QLineEdit(tr("Hello")), "textLineEdit", tr("Text or title"));
    m_itemsEdit = named(new QPlainTextEdit("One\nTwo\nThree"), "itemsEdit", tr("Items, one on each line"));
    m_itemsEdit->setTabChangesFocus(true);
    m_itemsEdit->setFixedHeight(m_itemsEdit->fontMetrics().lineSpacing() * 4 + 10);
    m_codingComboBox = named(new QComboBox, "codingComboBox", tr("Coding of the text"));
    for (const CodingName &coding : codings)
        m_codingComboBox->addItem(tr(coding.name), coding.coding);
    m_minimumSpinBox = spinBox("minimumSpinBox", tr("Fewest characters"), 0);
    m_maximumSpinBox = spinBox("maximumSpinBox", tr("Most characters, 255 for no limit"), 255);
    m_defaultTextLineEdit = named(new QLineEdit, "defaultTextLineEdit", tr("Default text"));
    m_durationSpinBox = named(new QDoubleSpinBox, "durationSpinBox", tr("Duration in seconds, 0 for none"));
    m_durationSpinBox->setRange(0, 255 * 60);
    m_durationSpinBox->setDecimals(1);
    m_durationSpinBox->setSpecialValueText(tr("none"));
    m_durationSpinBox->setSuffix(tr(" s"));
    m_toneComboBox = named(new QComboBox, "toneComboBox", tr("Tone"));
    m_toneComboBox->addItem(tr("The terminal's choice"), noTone);
    for (const std::uint8_t tone : tones)
        m_toneComboBox->addItem(QString::fromStdString(cat::toneName(tone)), int(tone));
    m_toneComboBox->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    m_numberLineEdit = named(new QLineEdit("+12345"), "numberLineEdit", tr("Number"));
    m_callTextLineEdit = named(new QLineEdit, "callTextLineEdit", tr("Text during the call"));
    m_messageLineEdit = named(new QLineEdit(tr("Hello")), "messageLineEdit", tr("Short message"));
    m_codeLineEdit = named(new QLineEdit("*100#"), "codeLineEdit", tr("Code"));
    m_urlLineEdit = named(new QLineEdit("http://www.example.com/"), "urlLineEdit", tr("Web address"));
    m_filesLineEdit = named(new QLineEdit, "filesLineEdit", tr("Paths of changed files, in hex"));
    m_eventsLineEdit = named(new QLineEdit("04"), "eventsLineEdit", tr("Numbers of events, in hex"));
    m_timerSpinBox = spinBox("timerSpinBox", tr("Number of the timer"), 1);
    m_timerSpinBox->setRange(1, cat::timerCount);
    m_languageLineEdit = named(new QLineEdit("en"), "commandLanguageLineEdit", tr("Language, two letters"));
    m_immediateCheckBox = named(new QCheckBox(tr("&Answered at once")), "immediateCheckBox", tr("Answered at once"));

    m_fields = {
        {CommandField::Text, tr("&Text"), m_textLineEdit},
        {CommandField::CallText, tr("Du&ring the call"), m_callTextLineEdit},
        {CommandField::Items, tr("Item&s"), m_itemsEdit},
        {CommandField::Number, tr("N&umber"), m_numberLineEdit},
        {CommandField::Message, tr("Messa&ge"), m_messageLineEdit},
        {CommandField::Code, tr("C&ode"), m_codeLineEdit},
        {CommandField::Url, tr("Web addr&ess"), m_urlLineEdit},
        {CommandField::Files, tr("Fil&es"), m_filesLineEdit},
        {CommandField::Events, tr("Eve&nts"), m_eventsLineEdit},
        {CommandField::Timer, tr("&Timer"), m_timerSpinBox},
        {CommandField::Language, tr("Langua&ge"), m_languageLineEdit},
        {CommandField::Coding, tr("Codin&g"), m_codingComboBox},
        {CommandField::Minimum, tr("At &least"), m_minimumSpinBox},
        {CommandField::Maximum, tr("At m&ost"), m_maximumSpinBox},
        {CommandField::DefaultText, tr("Defa&ult text"), m_defaultTextLineEdit},
        {CommandField::Tone, tr("T&one"), m_toneComboBox},
        {CommandField::Duration, tr("D&uration"), m_durationSpinBox},
        {CommandField::Immediate, QString(), m_immediateCheckBox},
    };
    for (const Field &each : m_fields) {
        each.widget->setParent(this);
        each.widget->hide();
        connectField(each.widget);
    }
}

void CommandForm::connectField(QWidget *widget)
{
    if (auto *line = qobject_cast<QLineEdit *>(widget))
        connect(line, &QLineEdit::textChanged, this, &CommandForm::build);
    else if (auto *list = qobject_cast<QPlainTextEdit *>(widget))
        connect(list, &QPlainTextEdit::textChanged, this, &CommandForm::build);
    else if (auto *choice = qobject_cast<QComboBox *>(widget))
        connect(choice, qOverload<int>(&QComboBox::currentIndexChanged), this, &CommandForm::build);
    else if (auto *number = qobject_cast<QSpinBox *>(widget))
        connect(number, qOverload<int>(&QSpinBox::valueChanged), this, &CommandForm::build);
    else if (auto *time = qobject_cast<QDoubleSpinBox *>(widget))
        connect(time, qOverload<double>(&QDoubleSpinBox::valueChanged), this, &CommandForm::build);
    else if (auto *box = qobject_cast<QCheckBox *>(widget))
        connect(box, &QCheckBox::toggled, this, &CommandForm::build);
}

QWidget *CommandForm::createQualifier()
{
    auto *qualifier = new QWidget(this);
    m_qualifierSpinBox = spinBox("qualifierSpinBox", tr("Qualifier, in hex"), 0);
    m_qualifierSpinBox->setDisplayIntegerBase(16);
    m_qualifierSpinBox->setPrefix("0x");
    m_modeComboBox = named(new QComboBox, "modeComboBox", tr("What the qualifier asks for"));
    m_modeComboBox->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    connect(m_modeComboBox, qOverload<int>(&QComboBox::activated), this,
            [this] { m_qualifierSpinBox->setValue(m_modeComboBox->currentData().toInt()); });
    m_choices = new QVBoxLayout(qualifier);
    m_choices->setContentsMargins(0, 0, 0, 0);
    m_choices->setSpacing(4);
    m_choices->addWidget(m_qualifierSpinBox);
    m_choices->addWidget(m_modeComboBox);
    qualifier->setFocusProxy(m_qualifierSpinBox);
    return qualifier;
}

cat::CommandType CommandForm::type() const
{
    return static_cast<cat::CommandType>(m_typeComboBox->currentData().toInt());
}

/// Shows what this type asks for, and the choices that its qualifier has.
void CommandForm::chooseType()
{
    const CommandRecipe &recipe = commandRecipes()[static_cast<std::size_t>(m_typeComboBox->currentIndex())];
    showFields(recipe.fields);
    showChoices(recipe.type);
    const QSignalBlocker blocker(m_qualifierSpinBox);
    m_qualifierSpinBox->setValue(recipe.qualifier);
    showQualifier();
    build();
}

void CommandForm::showChoices(cat::CommandType type)
{
    qDeleteAll(m_choices->parentWidget()->findChildren<QCheckBox *>());
    m_modeComboBox->clear();
    for (const cat::QualifierChoice &choice : cat::qualifierChoices(type)) {
        if (isMode(choice)) {
            m_modeComboBox->addItem(choice.words, int(choice.value));
            continue;
        }
        auto *box = named(new QCheckBox(choice.words), "qualifierCheckBox", choice.words);
        box->setProperty("mask", int(choice.mask));
        connect(box, &QCheckBox::toggled, this, &CommandForm::takeQualifier);
        m_choices->addWidget(box);
    }
    m_modeComboBox->setVisible(m_modeComboBox->count() > 0);
}

void CommandForm::showQualifier()
{
    const int qualifier = m_qualifierSpinBox->value();
    for (QCheckBox *box : m_choices->parentWidget()->findChildren<QCheckBox *>()) {
        const QSignalBlocker blocker(box);
        box->setChecked((qualifier & box->property("mask").toInt()) != 0);
    }
    m_modeComboBox->setCurrentIndex(m_modeComboBox->findData(qualifier));
}

void CommandForm::takeQualifier()
{
    int qualifier = m_qualifierSpinBox->value();
    for (const QCheckBox *box : m_choices->parentWidget()->findChildren<QCheckBox *>()) {
        const int mask = box->property("mask").toInt();
        qualifier = box->isChecked() ? qualifier | mask : qualifier & ~mask;
    }
    m_qualifierSpinBox->setValue(qualifier);
}

CommandValues CommandForm::values() const
{
    CommandValues values;
    values.type = type();
    values.qualifier = static_cast<std::uint8_t>(m_qualifierSpinBox->value());
    values.text = m_textLineEdit->text();
    values.items = m_itemsEdit->toPlainText().split('\n', Qt::SkipEmptyParts);
    const int coding = m_codingComboBox->currentData().toInt();
    if (coding >= 0)
        values.coding = static_cast<cat::TextCoding>(coding);
    values.minimum = m_minimumSpinBox->value();
    values.maximum = m_maximumSpinBox->value();
    values.defaultText = m_defaultTextLineEdit->text();
    values.duration = m_durationSpinBox->value();
    const int tone = m_toneComboBox->currentData().toInt();
    if (tone != noTone)
        values.tone = tone;
    values.number = m_numberLineEdit->text();
    values.callText = m_callTextLineEdit->text();
    values.message = m_messageLineEdit->text();
    values.code = m_codeLineEdit->text();
    values.url = m_urlLineEdit->text();
    values.files = m_filesLineEdit->text();
    values.events = m_eventsLineEdit->text();
    values.timer = m_timerSpinBox->value();
    values.language = m_languageLineEdit->text();
    values.isImmediate = m_immediateCheckBox->isChecked();
    return values;
}

void CommandForm::build()
{
    const BuiltCommand built = buildCommand(values());
    {
        const QSignalBlocker blocker(m_bytesEdit);
        m_bytesEdit->setPlainText(spacedHex(built.bytes));
    }
    m_wordsLabel->setText(built.problem.isEmpty() ? built.words : built.problem);
    m_raiseButton->setEnabled(built.problem.isEmpty());
}

void CommandForm::check()
{
    const BuiltCommand read = readCommand(m_bytesEdit->toPlainText());
    m_wordsLabel->setText(read.problem.isEmpty() ? read.words : read.problem);
    m_raiseButton->setEnabled(read.problem.isEmpty());
}

void CommandForm::raiseCommand()
{
    const BuiltCommand read = readCommand(m_bytesEdit->toPlainText());
    if (read.problem.isEmpty())
        emit raiseAsked(QByteArray(reinterpret_cast<const char *>(read.bytes.data()), int(read.bytes.size())));
}

} // namespace dashboard
