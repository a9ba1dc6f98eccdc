#ifndef TESTS_DASHBOARD_READERDOUBLE_H
#define TESTS_DASHBOARD_READERDOUBLE_H

#include "sdk/SdkControl.h"

#include <memory>
#include <mutex>

/// A reader that stays while its card, a virtual one, is pulled out and put in. Any thread.
class ReaderDouble
{
public:
    explicit ReaderDouble(const std::string &profile) : m_state(std::make_shared<State>())
    {
        m_state->card = sdk::openVirtualCard(profile, nullptr);
    }

    /// The way to it, once; empty at first.
    std::unique_ptr<sdk::CardChannel> channel() const { return std::make_unique<Channel>(m_state); }

    void insert() { setCard(true); }
    void pull() { setCard(false); }

private:
    struct State {
        std::mutex mutex;
        bool hasCard = false;
        std::unique_ptr<sdk::CardChannel> card;
        std::mutex listening;
        std::function<void(sdk::CardChannel::News)> listener;
    };

    class Channel : public sdk::CardChannel
    {
    public:
        explicit Channel(std::shared_ptr<State> state) : m_state(std::move(state)) {}
        std::string name() const override { return "reader 'Double'"; }
        bool staysWithoutCard() const override { return true; }
        void interrupt() override { m_state->card->interrupt(); }
        bool reset(std::string *error) override
        {
            if (hasCard())
                return m_state->card->reset(error);
            if (error)
                *error = "there is no card in it";
            return false;
        }
        bool transmit(const cat::Bytes &apdu, cat::Bytes *answer) override
        {
            return hasCard() && m_state->card->transmit(apdu, answer) && hasCard();
        }
        void setListener(std::function<void(News)> listener) override
        {
            const std::lock_guard<std::mutex> lock(m_state->listening);
            m_state->listener = std::move(listener);
        }

    private:
        bool hasCard() const
        {
            const std::lock_guard<std::mutex> lock(m_state->mutex);
            return m_state->hasCard;
        }
        const std::shared_ptr<State> m_state;
    };

    void setCard(bool isIn)
    {
        {
            const std::lock_guard<std::mutex> lock(m_state->mutex);
            m_state->hasCard = isIn;
        }
        const std::lock_guard<std::mutex> lock(m_state->listening);
        if (m_state->listener)
            m_state->listener(isIn ? sdk::CardChannel::News::There : sdk::CardChannel::News::Gone);
    }

    const std::shared_ptr<State> m_state;
};

#endif // TESTS_DASHBOARD_READERDOUBLE_H
