#ifndef TESTS_RECORDINGCARD_H
#define TESTS_RECORDINGCARD_H

#include "sdk/CardChannel.h"

#include <QtCore/QMutex>
#include <QtCore/QStringList>

#include <atomic>
#include <memory>
#include <vector>

/// What has passed over the line to a card, in hexadecimal, one line for each thing worth comparing:
///
///     term 80C2000009D30782020181900101     a command APDU of the terminal, FETCH left out
///     card D00F810301...                    a proactive command, as FETCH brought it
///     card 9000                             a status without a command waiting
///     reset
///
/// A FETCH with another length than the card has announced is told as it stands. Any thread.
class CardLog
{
public:
    QStringList lines() const;
    void forget();

    /// The card has said that nothing waits, and the terminal has not said anything since.
    bool isAtRest() const;

    /// The terminal has sent a command APDU.
    void begin();

    /// Takes one exchange; `answer` is empty when the card has gone.
    void add(const cat::Bytes &apdu, const cat::Bytes &answer);
    void add(const QString &line);

private:
    mutable QMutex m_mutex;
    QStringList m_lines;
    cat::Bytes m_lastStatus; ///< of the last answer; empty after what FETCH brought
    bool m_isTalking = false;
};

/// The way to another card, with everything on it written down. It wants no STATUS at rest: when that comes depends on
/// the clock.
class RecordingCard : public sdk::CardChannel
{
public:
    /// `log` and `hasNetwork`, which says whether there is one, must outlive the card.
    RecordingCard(std::unique_ptr<sdk::CardChannel> card, CardLog *log, const std::atomic<bool> *hasNetwork);

    std::string name() const override;
    bool reset(std::string *error) override;
    bool transmit(const cat::Bytes &apdu, cat::Bytes *answer) override;
    bool hasNetwork() const override;
    std::uint8_t toolkitClass() const override { return m_card->toolkitClass(); }
    void setListener(std::function<void(News)> listener) override { m_card->setListener(std::move(listener)); }
    bool staysWithoutCard() const override { return m_card->staysWithoutCard(); }
    void interrupt() override;

private:
    const std::unique_ptr<sdk::CardChannel> m_card;
    CardLog *const m_log;
    const std::atomic<bool> *const m_hasNetwork;
};

/// A card that raises the given proactive commands one after the other, the first when the user chooses from its menu,
/// whatever the terminal answers. Its menu is "Scripted card" with the one item "Go".
class ScriptedCard : public sdk::CardChannel
{
public:
    explicit ScriptedCard(std::vector<cat::Bytes> commands);
    ~ScriptedCard() override;

    std::string name() const override;
    bool reset(std::string *error) override;
    bool transmit(const cat::Bytes &apdu, cat::Bytes *answer) override;
    void interrupt() override;

private:
    struct Private;
    const std::unique_ptr<Private> d;
};

#endif // TESTS_RECORDINGCARD_H
