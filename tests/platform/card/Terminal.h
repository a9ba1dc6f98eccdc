#ifndef TESTS_CARD_TERMINAL_H
#define TESTS_CARD_TERMINAL_H

#include "card/VirtualCard.h"

#include <QByteArray>
#include <QString>

#include <memory>

/// The terminal's side of a session with a virtual card, one APDU at a time.
class Terminal
{
public:
    explicit Terminal(card::Profile profile);

    /// TERMINAL PROFILE, and the main menu set up; fetches what the card begins with, if it begins with anything.
    void start();

    /// Sends one command APDU in hexadecimal digits. Data and status word of the answer.
    QByteArray send(const QByteArray &apdu);

    /// The user's choice from the main menu, or the question what the item is for; fetches what follows.
    void select(int itemId, bool help = false);

    /// Answers the open command; fetches what follows. A response that is refused leaves the command open.
    void respond(cat::Result result);
    void respondItem(int itemId, cat::Result result = cat::Result::Performed);
    void respondText(const QString &text, cat::TextCoding coding = cat::TextCoding::Gsm8Bit);
    void respondYesNo(bool yes);

    /// The command that is open; of type 0 when there is none.
    const cat::Command &command() const { return m_command; }
    /// "SELECT ITEM Title", "DISPLAY TEXT Hello": the command and what it shows; empty when none is open.
    QString shown() const;
    /// The open command as FETCH brought it.
    QByteArray bytes() const { return m_bytes; }
    /// The status word of the last command but FETCH.
    QByteArray status() const { return m_status; }
    bool isOpen() const { return !m_bytes.isEmpty(); }
    std::chrono::milliseconds delay() const { return m_delay; }

private:
    cat::Response response(cat::Result result) const;
    void respond(const cat::Response &response);
    void follow(const QByteArray &status);

    std::unique_ptr<card::VirtualCard> m_card;
    cat::Command m_command;
    QByteArray m_bytes;
    QByteArray m_status;
    std::chrono::milliseconds m_delay{0};
};

#endif // TESTS_CARD_TERMINAL_H
