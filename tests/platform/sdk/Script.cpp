#include "platform/sdk/Script.h"

#include <algorithm>
#include <stdexcept>

class Script::Channel : public sdk::CardChannel
{
public:
    explicit Channel(std::shared_ptr<Script> script) : m_script(std::move(script)) {}
    ~Channel() override
    {
        const std::lock_guard<std::mutex> lock(m_script->m_mutex);
        m_script->m_isDeleted = true;
        m_script->m_isDeletedDeaf = !m_script->m_listener;
    }

    std::string name() const override { return "scripted card"; }
    bool reset(std::string *error) override { return m_script->reset(error); }
    bool transmit(const cat::Bytes &apdu, cat::Bytes *answer) override { return m_script->transmit(apdu, answer); }
    bool hasNetwork() const override
    {
        const std::lock_guard<std::mutex> lock(m_script->m_mutex);
        return m_script->m_network;
    }
    void interrupt() override { m_script->interrupt(); }
    void setListener(std::function<void(News)> listener) override { m_script->setListener(std::move(listener)); }
    std::uint8_t toolkitClass() const override
    {
        const std::lock_guard<std::mutex> lock(m_script->m_mutex);
        return m_script->m_toolkitClass;
    }
    bool staysWithoutCard() const override
    {
        const std::lock_guard<std::mutex> lock(m_script->m_mutex);
        return m_script->m_staysWithoutCard;
    }
    bool isGivenUp() const override
    {
        const std::lock_guard<std::mutex> lock(m_script->m_mutex);
        return m_script->m_isGivenUp;
    }
    std::optional<std::chrono::milliseconds> pollInterval() const override
    {
        const std::lock_guard<std::mutex> lock(m_script->m_mutex);
        return m_script->m_pollInterval;
    }

private:
    std::shared_ptr<Script> m_script;
};

std::unique_ptr<sdk::CardChannel> Script::channel(const std::shared_ptr<Script> &script)
{
    return std::make_unique<Channel>(script);
}

Script &Script::answers(const char *hex)
{
    return answers(hex, 1);
}

Script &Script::answers(const char *hex, int count)
{
    cat::Bytes bytes;
    if (!cat::fromHex(hex, &bytes))
        throw std::invalid_argument(hex);
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_steps.insert(m_steps.end(), static_cast<std::size_t>(count), Step{Step::Kind::Answer, bytes});
    return *this;
}

Script &Script::vanishes()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_steps.push_back({Step::Kind::Vanish, {}});
    return *this;
}

Script &Script::answersLate(const char *hex)
{
    answers(hex);
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_steps.back().kind = Step::Kind::AnswerLate;
    return *this;
}

void Script::goOn()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    ++m_goOn;
    m_wake.notify_all();
}

Script &Script::hangs()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_steps.push_back({Step::Kind::Hang, {}});
    return *this;
}

Script &Script::throws()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_steps.push_back({Step::Kind::Throw, {}});
    return *this;
}

Script &Script::refusesReset(const std::string &error)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_resetError = error;
    return *this;
}

Script &Script::staysWithoutCard()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_staysWithoutCard = true;
    return *this;
}

Script &Script::givesUp(bool isGivenUp)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isGivenUp = isGivenUp;
    return *this;
}

Script &Script::wantsPolling(std::chrono::milliseconds interval)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_pollInterval = interval;
    return *this;
}

Script &Script::isOld()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_toolkitClass = 0xA0;
    return *this;
}

bool Script::tells(sdk::CardChannel::News news)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    const std::function<void(sdk::CardChannel::News)> listener = m_listener;
    if (!listener)
        return false;
    ++m_telling;
    lock.unlock();
    listener(news);
    lock.lock();
    --m_telling;
    m_wake.notify_all();
    return true;
}

int Script::deafResets() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_deafResets;
}

bool Script::isDeletedDeaf() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_isDeletedDeaf;
}

Script &Script::proposes(const char *pdu)
{
    cat::Bytes bytes;
    if (!cat::fromHex(pdu, &bytes))
        throw std::invalid_argument(pdu);
    const cat::Bytes length = {static_cast<std::uint8_t>(bytes.size())};
    answers(("91" + cat::toHex(length)).c_str());
    return answers((cat::toHex(bytes) + "9000").c_str());
}

void Script::setNetwork(bool network)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_network = network;
}

QStringList Script::sent() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    QStringList sent;
    for (const std::string &apdu : m_sent)
        sent.append(QString::fromStdString(apdu));
    return sent;
}

void Script::forgetSent()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_sent.clear();
}

int Script::resets() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_resets;
}

bool Script::isHanging() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_isHanging;
}

bool Script::isInterrupted() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_isInterrupted;
}

bool Script::isDeleted() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_isDeleted;
}

bool Script::isPlayedOut() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_steps.empty();
}

bool Script::reset(std::string *error)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    ++m_resets;
    m_deafResets += m_listener ? 0 : 1;
    *error = m_resetError;
    return m_resetError.empty();
}

bool Script::transmit(const cat::Bytes &apdu, cat::Bytes *answer)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    if (m_isInterrupted)
        return false;
    m_sent.push_back(cat::toHex(apdu));
    if (m_steps.empty()) {
        *answer = {0x6F, 0x00};
        return true;
    }
    const Step step = m_steps.front();
    m_steps.pop_front();
    if (step.kind == Step::Kind::Throw)
        throw std::runtime_error("the reader has caught fire");
    if (step.kind == Step::Kind::Hang || step.kind == Step::Kind::AnswerLate) {
        m_isHanging = true;
        m_wake.wait(lock, [&] { return m_isInterrupted || (step.kind == Step::Kind::AnswerLate && m_goOn > 0); });
        m_isHanging = false;
        m_goOn = std::max(0, m_goOn - 1);
    }
    *answer = step.answer;
    return !m_isInterrupted && (step.kind == Step::Kind::Answer || step.kind == Step::Kind::AnswerLate);
}

void Script::interrupt()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isInterrupted = true;
    m_wake.notify_all();
}

void Script::setListener(std::function<void(sdk::CardChannel::News)> listener)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    m_listener = std::move(listener);
    m_wake.wait(lock, [this] { return m_telling == 0; });
}
