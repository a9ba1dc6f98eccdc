#include "platform/card/Terminal.h"

#include "platform/cat/Hex.h"

namespace
{

QByteArray withData(const QByteArray &head, const cat::Bytes &data)
{
    const auto length = static_cast<std::uint8_t>(data.size());
    return head + hexOf(cat::ByteView(&length, 1)) + hexOf(data);
}

} // namespace

Terminal::Terminal(card::Profile profile) : m_card(std::make_unique<card::VirtualCard>(std::move(profile)))
{
    follow("9000");
}

void Terminal::start()
{
    follow(send("8010000002FFFF"));
    if (m_command.details.type == cat::CommandType::SetUpMenu)
        respond(cat::Result::Performed);
}

QByteArray Terminal::send(const QByteArray &apdu)
{
    const card::CardAnswer answer = m_card->transmit(bytesOf(apdu));
    m_delay = answer.delay;
    return hexOf(answer.bytes);
}

void Terminal::select(int itemId, bool help)
{
    follow(send(withData("80C20000", cat::encodeMenuSelection({static_cast<std::uint8_t>(itemId), help}))));
}

void Terminal::respond(cat::Result result)
{
    respond(response(result));
}

void Terminal::respondItem(int itemId, cat::Result result)
{
    cat::Response answer = response(result);
    answer.itemId = static_cast<std::uint8_t>(itemId);
    respond(answer);
}

void Terminal::respondText(const QString &text, cat::TextCoding coding)
{
    cat::Response answer = response(cat::Result::Performed);
    answer.text = cat::Text{text.toStdU16String(), coding};
    respond(answer);
}

void Terminal::respondYesNo(bool yes)
{
    respondText(QChar(yes ? 1 : 0));
}

QString Terminal::shown() const
{
    const std::optional<cat::Text> &text = m_command.text;
    const std::u16string words = text ? text->value : m_command.alphaId.value_or(u"");
    if (!isOpen())
        return QString();
    return (QString::fromStdString(cat::commandName(m_command.details.type)) + ' ' + textOf(words)).trimmed();
}

cat::Response Terminal::response(cat::Result result) const
{
    cat::Response answer;
    answer.details = m_command.details;
    answer.result = result;
    return answer;
}

void Terminal::respond(const cat::Response &answer)
{
    follow(send(withData("80140000", cat::encodeResponse(answer))));
}

/// Fetches the command that a 91xx announces; 9000 closes the one that was open.
void Terminal::follow(const QByteArray &status)
{
    m_status = status;
    const std::chrono::milliseconds delay = m_delay;
    if (status != "9000" && !status.startsWith("91"))
        return;
    m_command = cat::Command();
    m_command.details.type = static_cast<cat::CommandType>(0);
    m_bytes.clear();
    if (status == "9000")
        return;
    m_bytes = send("80120000" + status.mid(2)).chopped(4);
    m_delay = delay;
    const cat::DecodedCommand decoded = cat::decodeCommand(bytesOf(m_bytes));
    if (decoded.detailsKnown)
        m_command = decoded.command;
}
