#include "platform/cat/ToolkitRows.h"

#include "platform/cat/Hex.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QStringList>

#include <iterator>

using cat::Command;
using cat::CommandType;

namespace toolkit
{

namespace
{

const QJsonValue absent(QJsonValue::Undefined);

QJsonValue hexValue(const std::optional<cat::Bytes> &bytes)
{
    return bytes ? QJsonValue(QString::fromLatin1(hexOf(*bytes))) : absent;
}

QJsonValue textValue(const std::optional<std::u16string> &text)
{
    return text ? QJsonValue(textOf(*text)) : absent;
}

QJsonValue textValue(const std::optional<cat::Text> &text)
{
    return text ? QJsonValue(textOf(text->value)) : absent;
}

QJsonValue iconValue(const std::optional<cat::Icon> &icon)
{
    if (!icon)
        return absent;
    return QJsonObject{{"id", icon->id}, {"self_explanatory", icon->selfExplanatory}};
}

QJsonArray numbers(cat::ByteView bytes)
{
    QJsonArray array;
    for (const std::uint8_t byte : bytes)
        array.append(byte);
    return array;
}

bool isMenu(const Command &command)
{
    return command.details.type == CommandType::SetUpMenu || command.details.type == CommandType::SelectItem;
}

bool isCall(const Command &command)
{
    return command.details.type == CommandType::SetUpCall;
}

// SEND SHORT MESSAGE: the SMS-SUBMIT in the TPDU (3GPP TS 23.040 clause 9.2.2.2).

QString swappedDigits(cat::ByteView octets)
{
    QString digits;
    for (const std::uint8_t octet : octets)
        digits += QString::number(octet & 0x0F, 16) + QString::number(octet >> 4, 16);
    return digits;
}

QString messageText(cat::ByteView data, std::uint8_t scheme, std::uint8_t length)
{
    if ((scheme & 0x0C) == 0x08)
        return textOf(cat::decodeUcs2(data));
    if ((scheme & 0x0C) == 0x04)
        return textOf(cat::decodeGsm8Bit(data));
    return textOf(cat::decodeGsm7Packed(data)).left(length);
}

QJsonValue messageValue(const Command &command)
{
    if (!command.tpdu)
        return absent;
    const cat::Bytes &tpdu = *command.tpdu;
    const std::size_t addressSize = tpdu.size() > 2 ? (tpdu[2] + 1u) / 2 : 0;
    const std::size_t head = 4 + addressSize + 3; // without a validity period
    if (tpdu.size() < head || tpdu[0] != 0x01)
        return QString("no SMS-SUBMIT without a validity period");
    const std::uint8_t scheme = tpdu[head - 2];
    const std::uint8_t length = tpdu[head - 1];
    const cat::ByteView data(tpdu.data() + head, tpdu.size() - head);
    QJsonObject message{
        {"mr", tpdu[1]},
        {"dest", swappedDigits(cat::ByteView(tpdu.data() + 4, addressSize)).left(tpdu[2])},
        {"dest_toa", tpdu[3]},
        {"pid", tpdu[head - 3]},
        {"dcs", scheme},
        {"udl", length},
        {"text", messageText(data, scheme, length)},
        {"tpdu_hex", QString::fromLatin1(hexOf(tpdu))},
        {"smsc", command.address ? QJsonValue(QString::fromStdString(command.address->digits)) : QJsonValue()},
    };
    if (command.isPackingRequired()) {
        message["dcs"] = scheme & ~0x04;
        message["tpdu_dcs_on_card"] = scheme;
        message["note"] = "packing required: terminal converts 8-bit user data to packed 7-bit";
    }
    return message;
}

// Values. Each function gives `absent` for a command that does not carry the object.

QJsonValue items(const Command &command)
{
    if (!isMenu(command))
        return absent;
    QJsonArray array;
    for (const cat::Item &item : command.items)
        array.append(QJsonObject{{"id", item.id}, {"text", textOf(item.text)}});
    return array;
}

QJsonValue itemIcons(const Command &command)
{
    if (!command.itemIcons)
        return absent;
    const cat::Bytes &value = *command.itemIcons;
    return QJsonObject{{"self_explanatory", (value.at(0) & 1) == 0},
                       {"ids", numbers(cat::ByteView(value.data() + 1, value.size() - 1))}};
}

QJsonValue duration(const Command &command)
{
    if (!command.duration)
        return absent;
    constexpr const char *units[] = {"minutes", "seconds", "tenths"};
    return QJsonObject{{"unit", units[static_cast<int>(command.duration->unit)]},
                       {"interval", command.duration->interval},
                       {"ms", static_cast<int>(command.duration->time().count())}};
}

QJsonValue addressValue(const std::optional<cat::Address> &address, const char *digitsKey)
{
    if (!address)
        return absent;
    return QJsonObject{{"ton_npi", address->tonNpi}, {digitsKey, QString::fromStdString(address->digits)}};
}

/// Paths begin at the master file: their number stands in front.
QJsonValue fileList(const Command &command)
{
    if (!command.fileList)
        return absent;
    const QString hex = QString::fromLatin1(hexOf(*command.fileList));
    QJsonArray paths;
    for (const QString &path : hex.mid(2).split("3F00").mid(1))
        paths.append("3F00" + path);
    return paths.size() == hex.left(2).toInt(nullptr, 16) ? QJsonValue(paths) : QJsonValue("a wrong number of files");
}

constexpr struct {
    const char *key;
    QJsonValue (*value)(const Command &command);
} values[] = {
    {"text", [](const Command &c) { return textValue(c.text); }},
    {"default_text", [](const Command &c) { return textValue(c.defaultText); }},
    {"response_min", [](const Command &c) { return c.responseLength ? c.responseLength->minimum : absent; }},
    {"response_max", [](const Command &c) { return c.responseLength ? c.responseLength->maximum : absent; }},
    {"duration", duration},
    {"immediate_response", [](const Command &c) { return c.immediateResponse ? true : absent; }},
    {"tone", [](const Command &c) { return c.tone ? *c.tone : absent; }},
    {"tone_name", [](const Command &c) { return c.tone ? QString::fromStdString(cat::toneName(*c.tone)) : absent; }},
    {"url", [](const Command &c) { return c.url ? QString::fromStdString(*c.url) : absent; }},
    {"file_list", fileList},
    {"title", [](const Command &c) { return isMenu(c) ? textValue(c.alphaId) : absent; }},
    {"items", items},
    {"remove_menu",
     [](const Command &c) {
         return c.details.type == CommandType::SetUpMenu && c.items.empty() ? QJsonValue(true) : absent;
     }},
    {"next_action", [](const Command &c) { return c.nextAction ? numbers(*c.nextAction) : absent; }},
    {"item_icons", itemIcons},
    {"item_text_attr_hex", [](const Command &c) { return hexValue(c.itemTextAttributes); }},
    {"alpha_id", [](const Command &c) { return isMenu(c) || isCall(c) ? absent : textValue(c.alphaId); }},
    {"alpha_id_confirm", [](const Command &c) { return isCall(c) ? textValue(c.alphaId) : absent; }},
    {"alpha_id_call", [](const Command &c) { return textValue(c.callAlphaId); }},
    {"icon", [](const Command &c) { return isCall(c) ? absent : iconValue(c.icon); }},
    {"icon_confirm", [](const Command &c) { return isCall(c) ? iconValue(c.icon) : absent; }},
    {"icon_call", [](const Command &c) { return iconValue(c.callIcon); }},
    {"text_attr_hex", [](const Command &c) { return isCall(c) ? absent : hexValue(c.textAttribute); }},
    {"text_attr_confirm_hex", [](const Command &c) { return isCall(c) ? hexValue(c.textAttribute) : absent; }},
    {"text_attr_call_hex", [](const Command &c) { return hexValue(c.callTextAttribute); }},
    {"address", [](const Command &c) { return isCall(c) ? addressValue(c.address, "number") : absent; }},
    {"subaddress_hex", [](const Command &c) { return hexValue(c.subaddress); }},
    {"ss", [](const Command &c) { return addressValue(c.ss, "string"); }},
    {"ussd", [](const Command &c) { return textValue(c.ussd); }},
    {"sms", messageValue},
};

// Flags.

QJsonValue word(const char *const *words, std::size_t count, std::uint8_t index)
{
    return index < count ? QJsonValue(words[index]) : QJsonValue(index);
}

QJsonValue callMode(const Command &command)
{
    constexpr const char *modes[] = {"only if not busy",  "only if not busy, with redial",
                                     "hold others",       "hold others, with redial",
                                     "disconnect others", "disconnect others, with redial"};
    return word(modes, std::size(modes), command.details.qualifier);
}

QJsonValue refreshMode(const Command &command)
{
    constexpr const char *modes[] = {"initialization and full file change", "file change",
                                     "initialization and file change", "initialization", "reset"};
    return word(modes, std::size(modes), command.details.qualifier);
}

QJsonValue browserMode(const Command &command)
{
    constexpr const char *modes[] = {"launch if not already launched", "not used", "use existing browser",
                                     "close existing and launch new"};
    return word(modes, std::size(modes), command.details.qualifier);
}

/// SELECT ITEM: how the choice is shown (ETSI TS 102 223 clause 8.6).
QJsonValue presentation(const Command &command)
{
    constexpr const char *ways[] = {"unspecified", "data_values", "unspecified", "navigation"};
    return ways[command.details.qualifier & 0x03];
}

QJsonValue keyType(const Command &command)
{
    return command.isYesNo() ? "yes_no" : command.isDigitsOnly() ? "digit" : "character";
}

constexpr struct {
    CommandType type;
    const char *key;
    QJsonValue (*value)(const Command &command);
} flags[] = {
    {CommandType::DisplayText, "high_priority", [](const Command &c) { return QJsonValue(c.isHighPriority()); }},
    {CommandType::DisplayText, "user_clear", [](const Command &c) { return QJsonValue(c.isClearedByUser()); }},
    {CommandType::GetInkey, "response_type", keyType},
    {CommandType::GetInkey, "alphabet", [](const Command &c) { return QJsonValue(c.isUcs2() ? "ucs2" : "gsm"); }},
    {CommandType::GetInkey, "immediate_digit", [](const Command &c) { return QJsonValue(c.isImmediateDigit()); }},
    {CommandType::GetInkey, "help_available", [](const Command &c) { return QJsonValue(c.helpAvailable()); }},
    {CommandType::GetInput, "response_type",
     [](const Command &c) { return QJsonValue(c.isDigitsOnly() ? "digits" : "text"); }},
    {CommandType::GetInput, "alphabet", [](const Command &c) { return QJsonValue(c.isUcs2() ? "ucs2" : "gsm"); }},
    {CommandType::GetInput, "hidden_input", [](const Command &c) { return QJsonValue(c.isHidden()); }},
    {CommandType::GetInput, "packed", [](const Command &c) { return QJsonValue(c.isPacked()); }},
    {CommandType::GetInput, "help_available", [](const Command &c) { return QJsonValue(c.helpAvailable()); }},
    {CommandType::PlayTone, "vibrate", [](const Command &c) { return QJsonValue(c.isVibrating()); }},
    {CommandType::SetUpMenu, "soft_keys_preferred",
     [](const Command &c) { return QJsonValue(c.isSoftKeyPreferred()); }},
    {CommandType::SetUpMenu, "help_available", [](const Command &c) { return QJsonValue(c.helpAvailable()); }},
    {CommandType::SelectItem, "presentation", presentation},
    {CommandType::SelectItem, "soft_keys_preferred",
     [](const Command &c) { return QJsonValue(c.isSoftKeyPreferred()); }},
    {CommandType::SelectItem, "help_available", [](const Command &c) { return QJsonValue(c.helpAvailable()); }},
    {CommandType::SendShortMessage, "packing_required",
     [](const Command &c) { return QJsonValue(c.isPackingRequired()); }},
    {CommandType::SetUpCall, "mode", callMode},
    {CommandType::Refresh, "mode", refreshMode},
    {CommandType::LaunchBrowser, "mode", browserMode},
};

QJsonObject valuesOf(const Command &command)
{
    QJsonObject object;
    for (const auto &row : values) {
        const QJsonValue value = row.value(command);
        if (!value.isUndefined())
            object[row.key] = value;
    }
    return object;
}

QJsonObject flagsOf(const Command &command)
{
    QJsonObject object;
    for (const auto &row : flags) {
        if (row.type == command.details.type)
            object[row.key] = row.value(command);
    }
    return object;
}

QJsonValue deviceName(cat::Device device)
{
    constexpr struct {
        cat::Device device;
        const char *name;
    } names[] = {
        {cat::Device::Display, "display"},   {cat::Device::Earpiece, "earpiece"}, {cat::Device::Uicc, "uicc"},
        {cat::Device::Terminal, "terminal"}, {cat::Device::Network, "network"},
    };
    for (const auto &row : names) {
        if (row.device == device)
            return row.name;
    }
    return static_cast<int>(device);
}

QString hexByte(int byte)
{
    return QString::number(byte, 16).rightJustified(2, '0').toUpper();
}

} // namespace

QJsonObject commandRow(const Command &command)
{
    return {
        {"command", QString::fromStdString(cat::commandName(command.details.type))},
        {"type", static_cast<int>(command.details.type)},
        {"command_number", command.details.number},
        {"qualifier", command.details.qualifier},
        {"device", QJsonArray{deviceName(command.source), deviceName(command.destination)}},
        {"flags", flagsOf(command)},
        {"expected", valuesOf(command)},
    };
}

QJsonObject responseRow(const cat::Response &response)
{
    QJsonObject row{
        {"command", QString::fromStdString(cat::commandName(response.details.type))},
        {"type", static_cast<int>(response.details.type)},
        {"qualifier", response.details.qualifier},
        {"response_hex", QString::fromLatin1(hexOf(cat::encodeResponse(response)))},
        {"device", QJsonArray{deviceName(response.source), deviceName(response.destination)}},
        {"result", hexByte(static_cast<int>(response.result))},
    };
    if (!response.additionalInformation.empty())
        row["additional_hex"] = QString::fromLatin1(hexOf(response.additionalInformation));
    if (response.itemId)
        row["item_id"] = *response.itemId;
    if (!response.text)
        return row;
    row["text_dcs"] = static_cast<int>(response.text->coding);
    const bool yesNo = response.details.type == CommandType::GetInkey && (response.details.qualifier & 0x04) != 0;
    if (yesNo)
        row["yes_no"] = response.text->value == std::u16string(1, u'\1');
    else
        row["text"] = textOf(response.text->value);
    return row;
}

QJsonObject selectionRow(const cat::MenuSelection &selection)
{
    return {
        {"envelope_hex", QString::fromLatin1(hexOf(cat::encodeMenuSelection(selection)))},
        {"item_id", selection.itemId},
        {"help_request", selection.helpRequested},
    };
}

QString difference(const QJsonObject &actual, const QJsonObject &expected)
{
    QJsonObject all = actual;
    for (auto it = expected.begin(); it != expected.end(); ++it)
        all[it.key()] = it.value();
    QStringList lines;
    const auto show = [](const QJsonObject &object, const QString &key) {
        return object.contains(key) ? QString(QJsonDocument(QJsonArray{object[key]}).toJson(QJsonDocument::Compact))
                                    : QString("nothing");
    };
    for (const QString &key : all.keys()) {
        if (actual.contains(key) != expected.contains(key) || actual[key] != expected[key])
            lines << key + ": " + show(actual, key) + " instead of " + show(expected, key);
    }
    return lines.join("; ");
}

bool isKnownKey(const QString &key)
{
    const auto has = [&key](const auto &row) { return key == QLatin1String(row.key); };
    return std::any_of(std::begin(values), std::end(values), has) ||
           std::any_of(std::begin(flags), std::end(flags), has);
}

} // namespace toolkit
