#include "dashboard/CommandBuilder.h"

#include "card/ShortMessageTpdu.h"
#include "card/StepCommand.h"
#include "cat/Tlv.h"
#include "sdk/Describe.h"

#include <QtCore/QCoreApplication>

#include <algorithm>
#include <cmath>

namespace dashboard
{

namespace
{

using cat::CommandType;
using Field = CommandField;

constexpr std::size_t longestCommand = 256; // in FETCH

QString tr(const char *text)
{
    return QCoreApplication::translate("dashboard::CommandBuilder", text);
}

/// A problem to report in the middle of building.
struct Problem {
    QString words;
};

/// Braces of a profile's texts stand for answers; here they are characters.
std::u16string literal(QString text)
{
    return text.replace('{', "{{").toStdU16String();
}

std::optional<std::u16string> alpha(const QString &text)
{
    return text.isEmpty() ? std::nullopt : std::make_optional(literal(text));
}

cat::Text text(const QString &value)
{
    return {literal(value), cat::TextCoding::Gsm8Bit};
}

std::optional<cat::Duration> duration(double seconds)
{
    constexpr double most = 255;
    if (seconds <= 0)
        return std::nullopt;
    const auto in = [most](cat::Duration::Unit unit, double interval) {
        return cat::Duration{unit, static_cast<std::uint8_t>(std::clamp(std::round(interval), 1.0, most))};
    };
    if (seconds * 10 <= most && seconds != std::floor(seconds))
        return in(cat::Duration::Unit::TenthsOfSeconds, seconds * 10);
    return seconds <= most ? in(cat::Duration::Unit::Seconds, seconds) : in(cat::Duration::Unit::Minutes, seconds / 60);
}

cat::Address address(const QString &number)
{
    const std::optional<cat::Address> found = card::addressOf(number.toStdString());
    if (!found)
        throw Problem{
            tr("'%1' is no number: use digits, *, # and p for a pause, with or without + in front.").arg(number)};
    return *found;
}

/// The number of files, then their paths (ETSI TS 102 223 clause 8.18).
cat::Bytes fileList(const QString &files)
{
    const QStringList paths = files.split(' ', Qt::SkipEmptyParts);
    cat::Bytes list{static_cast<std::uint8_t>(paths.size())};
    for (const QString &path : paths) {
        cat::Bytes bytes;
        if (!cat::fromHex(path.toStdString(), &bytes) || bytes.size() % 2 != 0)
            throw Problem{tr("'%1' is no path: use two bytes in hex for each file, such as 3F007F206F07.").arg(path)};
        list.insert(list.end(), bytes.begin(), bytes.end());
    }
    return list;
}

card::Menu menu(const CommandValues &values)
{
    card::Menu menu;
    menu.title = literal(values.text);
    for (const QString &item : values.items) {
        if (menu.entries.size() == 255)
            throw Problem{tr("A menu has 255 items at most: take some away.")};
        card::Entry entry;
        entry.id = static_cast<std::uint8_t>(menu.entries.size() + 1);
        entry.text = literal(item);
        menu.entries.push_back(entry);
    }
    return menu;
}

void fillText(const CommandValues &values, card::Step *step)
{
    step->command.text = text(values.text);
}

void fillInput(const CommandValues &values, card::Step *step)
{
    fillText(values, step);
    if (values.minimum > values.maximum)
        throw Problem{tr("The shortest answer is longer than the longest: change one of the two lengths.")};
    step->command.responseLength =
        cat::ResponseLength{static_cast<std::uint8_t>(values.minimum), static_cast<std::uint8_t>(values.maximum)};
    if (!values.defaultText.isEmpty())
        step->command.defaultText = text(values.defaultText);
}

void fillMenu(const CommandValues &values, card::Step *step)
{
    step->menu = std::make_shared<card::Menu>(menu(values));
}

void fillTone(const CommandValues &values, card::Step *step)
{
    step->command.alphaId = alpha(values.text);
    if (values.tone)
        step->command.tone = static_cast<std::uint8_t>(*values.tone);
}

void fillCall(const CommandValues &values, card::Step *step)
{
    step->command.alphaId = alpha(values.text);
    step->command.callAlphaId = alpha(values.callText);
    step->command.address = address(values.number);
}

void fillShortMessage(const CommandValues &values, card::Step *step)
{
    step->command.alphaId = alpha(values.text);
    step->message = card::ShortMessage{address(values.number), literal(values.message)};
    if (!card::submitTpdu(step->message->destination, values.message.toStdU16String()))
        throw Problem{tr("One short message holds 160 characters, or 70 of any script, to 20 digits: shorten it.")};
}

void fillSs(const CommandValues &values, card::Step *step)
{
    step->command.alphaId = alpha(values.text);
    if (values.code.isEmpty() || !std::all_of(values.code.cbegin(), values.code.cend(), [](QChar character) {
            return QString("0123456789*#").contains(character);
        }))
        throw Problem{tr("'%1' is no code: use digits, * and #.").arg(values.code)};
    step->command.ss = cat::Address{cat::Address().tonNpi, values.code.toStdString()};
}

void fillUssd(const CommandValues &values, card::Step *step)
{
    step->command.alphaId = alpha(values.text);
    if (values.code.isEmpty())
        throw Problem{tr("The USSD code is empty: fill in one such as *100#.")};
    step->command.ussd = text(values.code);
}

void fillBrowser(const CommandValues &values, card::Step *step)
{
    step->command.alphaId = alpha(values.text);
    step->command.url = values.url.trimmed().toStdString();
}

void fillRefresh(const CommandValues &values, card::Step *step)
{
    step->command.alphaId = alpha(values.text);
    if (!values.files.trimmed().isEmpty())
        step->command.fileList = fileList(values.files);
}

void fillPolling(const CommandValues &values, card::Step *)
{
    if (values.duration <= 0)
        throw Problem{tr("There is no duration: fill in how many seconds are between two polls.")};
}

void fillEvents(const CommandValues &values, card::Step *step)
{
    cat::Bytes events;
    if (!cat::fromHex(values.events.toStdString(), &events))
        throw Problem{tr("'%1' are no events: use two hexadecimal digits for each, such as 04 07.").arg(values.events)};
    step->command.eventList = events;
}

void fillTimer(const CommandValues &values, card::Step *step)
{
    step->command.timerId = static_cast<std::uint8_t>(values.timer);
    step->command.details.qualifier = values.qualifier;
    if (step->command.timerAction() != cat::TimerAction::Start)
        return;
    if (values.duration < 1)
        throw Problem{tr("The timer has no time: fill in a duration of a second at least.")};
    step->command.timerValue = std::chrono::seconds(std::lround(values.duration));
}

void fillLanguage(const CommandValues &values, card::Step *step)
{
    if (!values.language.isEmpty())
        step->command.language = values.language.toStdString();
}

struct Filler {
    CommandType type;
    void (*fill)(const CommandValues &values, card::Step *step);
};

const Filler fillers[] = {
    {CommandType::DisplayText, fillText},
    {CommandType::GetInkey, fillText},
    {CommandType::GetInput, fillInput},
    {CommandType::SelectItem, fillMenu},
    {CommandType::PlayTone, fillTone},
    {CommandType::SetUpCall, fillCall},
    {CommandType::SendShortMessage, fillShortMessage},
    {CommandType::SendSs, fillSs},
    {CommandType::SendUssd, fillUssd},
    {CommandType::LaunchBrowser, fillBrowser},
    {CommandType::Refresh, fillRefresh},
    {CommandType::SetUpIdleModeText, fillText},
    {CommandType::PollInterval, fillPolling},
    {CommandType::SetUpEventList, fillEvents},
    {CommandType::TimerManagement, fillTimer},
    {CommandType::LanguageNotification, fillLanguage},
};

bool has(CommandType type, Field field)
{
    const std::vector<CommandRecipe> &recipes = commandRecipes();
    return std::any_of(recipes.begin(), recipes.end(), [=](const CommandRecipe &recipe) {
        return recipe.type == type &&
               std::find(recipe.fields.begin(), recipe.fields.end(), field) != recipe.fields.end();
    });
}

cat::Command commandOf(const CommandValues &values)
{
    constexpr std::uint8_t number = 1;
    if (values.type == CommandType::SetUpMenu)
        return card::raisedMainMenu(menu(values), number);
    card::Step step;
    step.command.details.type = values.type;
    step.command.destination = cat::destinationOf(values.type);
    step.coding = values.coding;
    if (has(values.type, Field::Duration) && values.type != CommandType::TimerManagement)
        step.command.duration = duration(values.duration);
    step.command.immediateResponse = has(values.type, Field::Immediate) && values.isImmediate;
    for (const Filler &filler : fillers) {
        if (filler.type == values.type)
            filler.fill(values, &step);
    }
    return card::raised(step, {}, number);
}

BuiltCommand refused(const QString &problem)
{
    return {{}, problem, {}};
}

/// The bytes as a command: what nobody could fetch is none.
BuiltCommand checked(const cat::Bytes &bytes)
{
    const cat::DecodedCommand decoded = cat::decodeCommand(bytes);
    if (!decoded.detailsKnown)
        return refused(tr("No card can say this: %1. Begin with the command details, such as 81 03 01 21 80.")
                           .arg(QString::fromStdString(decoded.reason)));
    if (bytes.size() > longestCommand)
        return refused(
            tr("%1 bytes, and a command has %2 at most: shorten the texts.").arg(bytes.size()).arg(longestCommand));
    const QString words = QString::fromStdString(sdk::describe(decoded));
    const bool isGood = decoded.result == cat::Result::Performed;
    return {bytes, {}, isGood ? words : tr("The terminal will refuse it: %1").arg(words)};
}

/// What is wrong with the digits; empty: nothing.
QString problemOfDigits(const QString &hex)
{
    int digits = 0;
    for (int i = 0; i < hex.size(); ++i) {
        if (hex.at(i).isSpace())
            continue;
        if (!QString("0123456789abcdefABCDEF").contains(hex.at(i)))
            return tr("'%1' at character %2 is no hexadecimal digit: use 0 to 9 and A to F.").arg(hex.at(i)).arg(i + 1);
        ++digits;
    }
    if (digits == 0)
        return tr("There are no bytes: fill in the form, or type a command that begins with D0.");
    if (digits % 2 != 0)
        return tr("Byte %1 has only one digit: add the other one, or take it away.").arg(digits / 2 + 1);
    return QString();
}

/// What is wrong with tag and length; empty: nothing.
QString problemOfFrame(const cat::Bytes &bytes)
{
    if (bytes[0] != static_cast<std::uint8_t>(cat::BerTag::ProactiveCommand))
        return tr("Byte 1 is %1, and a command begins with D0: put D0 and the length in front.")
            .arg(QString::fromStdString(cat::toHex({bytes.data(), 1})));
    const std::optional<cat::BerObject> whole = cat::readBer(bytes);
    if (!whole)
        return tr("Byte 2 is no length: put the number of bytes that follow there, and 81 in front of it from 80 on.");
    const auto there = static_cast<std::size_t>(bytes.data() + bytes.size() - whole->value.begin());
    if (whole->complete && whole->value.size == there)
        return QString();
    return tr("The length behind D0 does not fit: %1 bytes follow it. Correct the length, or the bytes.").arg(there);
}

} // namespace

const std::vector<CommandRecipe> &commandRecipes()
{
    constexpr std::uint8_t clearedByUser = 0x80, anyCharacter = 0x01, dateAndTime = 0x03, oneLanguage = 0x01;
    static const std::vector<CommandRecipe> recipes{
        {CommandType::DisplayText, clearedByUser, {Field::Text, Field::Coding, Field::Duration, Field::Immediate}},
        {CommandType::GetInkey, anyCharacter, {Field::Text, Field::Coding, Field::Duration}},
        {CommandType::GetInput,
         anyCharacter,
         {Field::Text, Field::Coding, Field::Minimum, Field::Maximum, Field::DefaultText}},
        {CommandType::SelectItem, 0, {Field::Text, Field::Items}},
        {CommandType::SetUpMenu, 0, {Field::Text, Field::Items}},
        {CommandType::PlayTone, 0, {Field::Text, Field::Tone, Field::Duration}},
        {CommandType::SetUpCall, 0, {Field::Text, Field::CallText, Field::Number, Field::Duration}},
        {CommandType::SendShortMessage, 0, {Field::Text, Field::Number, Field::Message}},
        {CommandType::SendSs, 0, {Field::Text, Field::Code}},
        {CommandType::SendUssd, 0, {Field::Text, Field::Code, Field::Coding}},
        {CommandType::LaunchBrowser, 0, {Field::Text, Field::Url}},
        {CommandType::Refresh, 3, {Field::Text, Field::Files}},
        {CommandType::SetUpIdleModeText, 0, {Field::Text, Field::Coding}},
        {CommandType::MoreTime, 0, {}},
        {CommandType::PollInterval, 0, {Field::Duration}},
        {CommandType::PollingOff, 0, {}},
        {CommandType::SetUpEventList, 0, {Field::Events}},
        {CommandType::ProvideLocalInformation, dateAndTime, {}},
        {CommandType::TimerManagement, 0, {Field::Timer, Field::Duration}},
        {CommandType::LanguageNotification, oneLanguage, {Field::Language}},
    };
    return recipes;
}

BuiltCommand buildCommand(const CommandValues &values)
{
    try {
        cat::Command command = commandOf(values);
        command.details.qualifier = values.qualifier;
        return checked(cat::encodeCommand(command));
    } catch (const Problem &problem) {
        return refused(problem.words);
    }
}

BuiltCommand readCommand(const QString &hex)
{
    const QString digits = problemOfDigits(hex);
    if (!digits.isEmpty())
        return refused(digits);
    const QByteArray raw = QByteArray::fromHex(hex.toLatin1());
    const cat::Bytes bytes(raw.begin(), raw.end());
    const QString frame = problemOfFrame(bytes);
    return frame.isEmpty() ? checked(bytes) : refused(frame);
}

} // namespace dashboard
