#include "Fuzz.h"

#include "card/VirtualCard.h"
#include "cat/Tlv.h"

// The virtual card under any APDUs: raw ones, and ones that lead deep into its session.

namespace
{

class Terminal
{
public:
    explicit Terminal(card::VirtualCard *card) : m_card(card) { m_card->reset(); }

    void act(Input *input)
    {
        using Action = void (Terminal::*)(Input *);
        static constexpr Action actions[] = {&Terminal::sendRaw, &Terminal::fetch, &Terminal::respond,
                                             &Terminal::choose,  &Terminal::raise, &Terminal::start,
                                             &Terminal::respond, &Terminal::fetch};
        (this->*actions[input->byte() % std::size(actions)])(input);
    }

private:
    void send(cat::ByteView apdu)
    {
        // A copy that ends where its memory ends.
        const cat::Bytes copy(apdu.begin(), apdu.end());
        m_answer = m_card->transmit(copy).bytes;
        expect(m_answer.size() >= 2 && m_answer.size() <= 258, "an answer is a status word with 256 bytes at most");
    }

    void sendWithData(std::uint8_t instruction, cat::ByteView data)
    {
        cat::Bytes apdu{0x80, instruction, 0x00, 0x00, static_cast<std::uint8_t>(data.size)};
        apdu.insert(apdu.end(), data.begin(), data.end());
        send(apdu);
    }

    bool isCommandWaiting() const { return m_answer.size() >= 2 && m_answer[m_answer.size() - 2] == 0x91; }

    void sendRaw(Input *input) { send(input->block()); }
    void raise(Input *input)
    {
        const cat::ByteView command = input->block();
        m_card->raise(cat::Bytes(command.begin(), command.end()));
    }
    void start(Input *) { sendWithData(0x10, cat::Bytes{0xFF, 0xFF}); }

    void fetch(Input *)
    {
        if (!isCommandWaiting())
            return send(cat::Bytes{0x80, 0xF2, 0x00, 0x0C, 0x00});
        const std::uint8_t length = m_answer.back();
        send(cat::Bytes{0x80, 0x12, 0x00, 0x00, length});
        expect(m_answer.size() == (length == 0 ? 256u : length) + 2u, "FETCH brings what was announced");
        m_command = cat::decodeCommand(cat::ByteView(m_answer.data(), m_answer.size() - 2));
        expect(m_command.detailsKnown, "the card asks nothing without command details");
    }

    /// Result, item and text are the fuzzer's.
    void respond(Input *input)
    {
        cat::Response response;
        response.details = m_command.command.details;
        response.result = static_cast<cat::Result>(input->byte());
        const std::uint8_t item = input->byte();
        if (item != 0)
            response.itemId = item;
        const cat::ByteView text = input->take(input->byte() % 32);
        if (!text.empty())
            response.text = cat::Text{cat::decodeGsm8Bit(text), m_command.command.answerCoding()};
        sendWithData(0x14, cat::encodeResponse(response));
    }

    void choose(Input *input)
    {
        const std::uint8_t item = input->byte();
        sendWithData(0xC2, cat::encodeMenuSelection({static_cast<std::uint8_t>(item & 0x7F), (item & 0x80) != 0}));
    }

    card::VirtualCard *m_card;
    cat::Bytes m_answer;
    cat::DecodedCommand m_command;
};

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static card::VirtualCard card(card::loadProfile(STK_PROFILE));
    Terminal terminal(&card);
    for (Input input(cat::ByteView(data, size)); !input.isEmpty();)
        terminal.act(&input);
    return 0;
}
