#include "card/ShortMessageTpdu.h"
#include "card/StepReader.h"
#include "card/Template.h"
#include "cat/Text.h"

#include <algorithm>

namespace card
{

namespace
{

// Bits of the qualifier (ETSI TS 102 223 clause 8.6).
constexpr std::uint8_t highPriority = 0x01, clearedByUser = 0x80;                   // DISPLAY TEXT
constexpr std::uint8_t anyCharacter = 0x01, anyScript = 0x02, helpAvailable = 0x80; // GET INKEY, GET INPUT
constexpr std::uint8_t notShown = 0x04, packedAnswer = 0x08;                        // GET INPUT
constexpr std::uint8_t redialling = 0x01;                                           // SET UP CALL
constexpr std::uint8_t fileChange = 0x01, initialisationAndFileChange = 0x02;       // REFRESH
constexpr std::uint8_t noLimit = 255;
constexpr std::string_view dialled = "0123456789*#";

/// "2min", "5s" or "300ms" as the card says it: 1 to 255 minutes, seconds or tenths of a second.
std::optional<cat::Duration> durationOf(std::string_view text)
{
    using Unit = cat::Duration::Unit;
    static constexpr struct {
        std::string_view suffix;
        Unit unit;
        long long divisor;
    } units[] = {{"min", Unit::Minutes, 1}, {"ms", Unit::TenthsOfSeconds, 100}, {"s", Unit::Seconds, 1}};
    for (const auto &row : units) {
        if (text.size() <= row.suffix.size() || text.substr(text.size() - row.suffix.size()) != row.suffix)
            continue;
        const std::optional<long long> number = wholeNumber(text.substr(0, text.size() - row.suffix.size()));
        const bool good =
            number && *number % row.divisor == 0 && *number >= row.divisor && *number <= 255 * row.divisor;
        return good ? std::optional(cat::Duration{row.unit, static_cast<std::uint8_t>(*number / row.divisor)})
                    : std::nullopt;
    }
    return std::nullopt;
}

bool isDigits(std::u16string_view text)
{
    return text.find_first_not_of(u"0123456789*#+") == std::u16string_view::npos;
}

} // namespace

void StepReader::setFlag(Draft *draft, std::uint8_t flag, bool on) const
{
    std::uint8_t &qualifier = draft->step.command.details.qualifier;
    qualifier = static_cast<std::uint8_t>(on ? qualifier | flag : qualifier & ~flag);
}

cat::Address StepReader::address(const YAML::Node &value) const
{
    const std::string expected = "a number of at most 40 digits, *, # and p for a pause";
    const std::string number = m_source.scalar(value, expected);
    const std::optional<cat::Address> address = addressOf(number);
    if (!address)
        m_source.fail(value.Mark(), expected + " expected, with + in front or without, not " + quoted(number));
    return *address;
}

void StepReader::readText(const YAML::Node &value, Draft *draft)
{
    draft->step.command.text = cat::Text{m_menus.text(value, "a text"), cat::TextCoding::Gsm8Bit};
}

void StepReader::readAlpha(const YAML::Node &value, Draft *draft)
{
    draft->step.command.alphaId = m_menus.alpha(value, "a text");
}

void StepReader::readCoding(const YAML::Node &value, Draft *draft)
{
    static constexpr Word<cat::TextCoding> words[] = {
        {"packed", cat::TextCoding::Gsm7Packed}, {"8bit", cat::TextCoding::Gsm8Bit}, {"ucs2", cat::TextCoding::Ucs2}};
    draft->step.coding = m_source.choice(value, words);
    draft->codingMark = value.Mark();
}

void StepReader::readDuration(const YAML::Node &value, Draft *draft)
{
    const std::string expected = "a time of 1 to 255 min, 1 to 255 s or 100 to 25500 ms in steps of 100";
    const std::string word = m_source.scalar(value, expected);
    draft->step.command.duration = durationOf(word);
    if (!draft->step.command.duration)
        m_source.fail(value.Mark(), expected + " expected, such as 5s, not " + quoted(word));
    draft->durationMark = value.Mark();
}

void StepReader::readClear(const YAML::Node &value, Draft *draft)
{
    static constexpr Word<bool> words[] = {{"auto", false}, {"user", true}};
    setFlag(draft, clearedByUser, m_source.choice(value, words));
}

void StepReader::readHighPriority(const YAML::Node &value, Draft *draft)
{
    setFlag(draft, highPriority, m_source.truth(value));
}

void StepReader::readImmediateResponse(const YAML::Node &value, Draft *draft)
{
    draft->step.command.immediateResponse = m_source.truth(value);
}

void StepReader::readDigits(const YAML::Node &value, Draft *draft)
{
    draft->digits = m_source.truth(value);
    setFlag(draft, anyCharacter, !draft->digits);
}

void StepReader::readUcs2(const YAML::Node &value, Draft *draft)
{
    draft->ucs2 = m_source.truth(value);
    setFlag(draft, anyScript, draft->ucs2);
}

void StepReader::readHidden(const YAML::Node &value, Draft *draft)
{
    setFlag(draft, notShown, m_source.truth(value));
}

void StepReader::readPacked(const YAML::Node &value, Draft *draft)
{
    draft->packed = m_source.truth(value);
    setFlag(draft, packedAnswer, draft->packed);
}

void StepReader::readHelp(const YAML::Node &value, Draft *draft)
{
    setFlag(draft, helpAvailable, m_source.truth(value));
}

void StepReader::readHelpText(const YAML::Node &value, Draft *draft)
{
    draft->step.helpText = m_menus.message(value, "a text for help");
}

void StepReader::readAs(const YAML::Node &value, Draft *draft)
{
    draft->step.as = m_menus.answerName(value);
}

void StepReader::readYesNoAs(const YAML::Node &value, Draft *draft)
{
    readAs(value, draft);
    draft->answer = AnswerKind::YesOrNo;
}

void StepReader::readMinimum(const YAML::Node &value, Draft *draft)
{
    std::optional<cat::ResponseLength> &length = draft->step.command.responseLength;
    length = cat::ResponseLength{m_source.number(value, 0, 255), length ? length->maximum : noLimit};
}

void StepReader::readMaximum(const YAML::Node &value, Draft *draft)
{
    std::optional<cat::ResponseLength> &length = draft->step.command.responseLength;
    length = cat::ResponseLength{length ? length->minimum : std::uint8_t{0}, m_source.number(value, 0, 255)};
}

void StepReader::readDefaultText(const YAML::Node &value, Draft *draft)
{
    draft->step.command.defaultText = cat::Text{m_menus.text(value, "a text"), cat::TextCoding::Gsm8Bit};
    draft->defaultMark = value.Mark();
}

void StepReader::readOnNo(const YAML::Node &value, Draft *draft)
{
    static constexpr Word<bool> words[] = {{"end", true}, {"next", false}};
    draft->step.endOnNo = m_source.choice(value, words);
}

void StepReader::readOnFailure(const YAML::Node &value, Draft *draft)
{
    draft->step.onFailure = m_menus.message(value, "a text");
}

void StepReader::readTone(const YAML::Node &value, Draft *draft)
{
    draft->step.command.tone = m_source.number(value, 0, 255);
}

void StepReader::readNumber(const YAML::Node &value, Draft *draft)
{
    draft->step.command.address = address(value);
}

void StepReader::readCallText(const YAML::Node &value, Draft *draft)
{
    draft->step.command.callAlphaId = m_menus.alpha(value, "a text");
}

void StepReader::readOthers(const YAML::Node &value, Draft *draft)
{
    static constexpr Word<std::uint8_t> words[] = {{"refuse", 0x00}, {"hold", 0x02}, {"disconnect", 0x04}};
    setFlag(draft, m_source.choice(value, words), true);
}

void StepReader::readRedial(const YAML::Node &value, Draft *draft)
{
    draft->redial = m_source.truth(value);
    setFlag(draft, redialling, draft->redial);
}

void StepReader::readRecipient(const YAML::Node &value, Draft *draft)
{
    ShortMessage &message = draft->step.message ? *draft->step.message : draft->step.message.emplace();
    message.destination = address(value);
    if (!submitTpdu(message.destination, {}))
        m_source.fail(value.Mark(), "a short message goes to a number of at most 20 digits");
}

void StepReader::readMessage(const YAML::Node &value, Draft *draft)
{
    ShortMessage &message = draft->step.message ? *draft->step.message : draft->step.message.emplace();
    message.text = m_menus.text(value, "a text");
    draft->hasMessage = true;
    if (!submitTpdu({}, expanded(message.text, {}, 0)))
        m_source.fail(value.Mark(),
                      "the text is longer than one short message: 160 characters of the default alphabet, "
                      "or 70 of any other script");
}

void StepReader::readTpdu(const YAML::Node &value, Draft *draft)
{
    draft->step.command.tpdu = m_source.bytes(value, "hexadecimal digits of an SMS-SUBMIT");
}

void StepReader::readSsCode(const YAML::Node &value, Draft *draft)
{
    const std::string expected = "a code of digits, * and #";
    const std::string code = m_source.scalar(value, expected);
    if (code.empty() || code.find_first_not_of(dialled) != std::string::npos)
        m_source.fail(value.Mark(), expected + " expected, not " + quoted(code));
    draft->step.command.ss = cat::Address{cat::Address().tonNpi, code};
}

void StepReader::readUssdCode(const YAML::Node &value, Draft *draft)
{
    draft->step.command.ussd = cat::Text{m_menus.text(value, "a USSD code"), cat::TextCoding::Gsm8Bit};
    if (draft->step.command.ussd->value.empty())
        m_source.fail(value.Mark(), "the USSD code is empty; expected one such as *100#");
}

void StepReader::readUrl(const YAML::Node &value, Draft *draft)
{
    const std::string url = m_source.scalar(value, "a URL");
    if (std::any_of(url.begin(), url.end(), [](char unit) { return unit <= ' ' || unit > '~'; }))
        m_source.fail(value.Mark(), "a URL without blanks and of ASCII characters expected, not " + quoted(url));
    draft->step.command.url = url;
}

void StepReader::readBrowserMode(const YAML::Node &value, Draft *draft)
{
    static constexpr Word<std::uint8_t> words[] = {{"if-closed", 0x00}, {"same", 0x02}, {"restart", 0x03}};
    setFlag(draft, m_source.choice(value, words), true);
}

void StepReader::readRefreshMode(const YAML::Node &value, Draft *draft)
{
    static constexpr Word<std::uint8_t> words[] = {
        {"init-full-file-change", 0x00},
        {"file-change", fileChange},
        {"init-file-change", initialisationAndFileChange},
        {"init", 0x03},
        {"reset", 0x04},
        {"application-reset", 0x05},
        {"session-reset", 0x06},
    };
    draft->step.command.details.qualifier = m_source.choice(value, words);
    if (m_menus.isAtStart())
        m_source.fail(value.Mark(), "a refresh at the start would start the card again without end");
}

/// The number of files, then their paths (ETSI TS 102 223 clause 8.18).
void StepReader::readFiles(const YAML::Node &value, Draft *draft)
{
    const std::string expected = "a path of file identifiers in hexadecimal digits, such as 3F007F206F07,";
    if (!value.IsSequence() || value.size() == 0 || value.size() > 255)
        m_source.fail(value.Mark(),
                      std::string("a list of 1 to 255 paths expected, not ") +
                          (value.IsSequence() ? std::to_string(value.size()) + " of them" : kindOf(value)));
    cat::Bytes list{static_cast<std::uint8_t>(value.size())};
    for (const YAML::Node &item : value) {
        const cat::Bytes path = m_source.bytes(item, expected);
        if (path.size() % 2 != 0)
            m_source.fail(item.Mark(), "a file identifier has two bytes, and one of them is missing here");
        list.insert(list.end(), path.begin(), path.end());
    }
    draft->step.command.fileList = list;
}

void StepReader::finishKey(Draft *draft)
{
    if (draft->digits && draft->ucs2)
        m_source.fail(draft->mark, "digits and ucs2 exclude each other");
}

void StepReader::finishInput(Draft *draft)
{
    finishKey(draft);
    cat::Command &command = draft->step.command;
    if (!command.responseLength)
        command.responseLength = cat::ResponseLength();
    const cat::ResponseLength length = *command.responseLength;
    if (draft->packed && draft->ucs2)
        m_source.fail(draft->mark, "packed and ucs2 exclude each other");
    if (length.minimum > length.maximum)
        m_source.fail(draft->mark, "min is larger than max");
    if (!command.defaultText)
        return;
    const std::u16string text = expanded(command.defaultText->value, {}, 0);
    if (length.maximum != noLimit && text.size() > length.maximum)
        m_source.fail(draft->defaultMark, "the default text is longer than max allows");
    if (draft->digits && !isDigits(text))
        m_source.fail(draft->defaultMark, "the default text has more than digits, *, # and +");
}

void StepReader::finishCall(Draft *draft)
{
    if (draft->step.command.duration && !draft->redial)
        m_source.fail(draft->durationMark, "duration says how long to redial, and redial is not true");
}

void StepReader::finishSms(Draft *draft)
{
    const std::optional<ShortMessage> &message = draft->step.message;
    const bool raw = draft->step.command.tpdu.has_value();
    if (raw == message.has_value())
        m_source.fail(draft->mark, "a short message needs either number and message, or tpdu");
    if (message && (message->destination.digits.empty() || !draft->hasMessage))
        m_source.fail(draft->mark, draft->hasMessage ? "the action sms needs the key \"number\""
                                                     : "the action sms needs the key \"message\"");
}

void StepReader::finishRefresh(Draft *draft)
{
    const std::uint8_t mode = draft->step.command.details.qualifier;
    const bool named = mode == fileChange || mode == initialisationAndFileChange;
    if (named && !draft->step.command.fileList)
        m_source.fail(draft->mark, "this mode needs the key \"files\": the files that have changed");
}

} // namespace card
