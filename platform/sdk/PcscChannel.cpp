#include "sdk/PcscChannel.h"

#include "sdk/PcscCard.h"
#include "sdk/PcscThread.h"
#include "sdk/PcscWatch.h"
#include "sdk/SdkControl.h"

#include <algorithm>
#include <atomic>
#include <iterator>

namespace sdk
{

namespace
{

/// So long the service may take to list its readers: it needs no card for that.
constexpr std::chrono::milliseconds listPatience{5000};

/// A card at rest is asked that often, unless it wants another time (ETSI TS 102 221 clause 14.3 has 30 s).
constexpr std::chrono::milliseconds pollPause{30000};

const char serviceHangs[] = "the PC/SC service does not answer: start it anew (sudo systemctl restart pcscd)";
const char cardHangs[] = "the card does not answer: take it out and put it in again";

/// What a reset() with the same card, a while later, gives again.
constexpr LONG lasting[] = {SCARD_W_UNRESPONSIVE_CARD, SCARD_W_UNPOWERED_CARD, SCARD_W_UNSUPPORTED_CARD,
                            SCARD_E_PROTO_MISMATCH,    SCARD_E_UNKNOWN_READER, SCARD_E_NO_SERVICE};

bool mayPass(LONG code)
{
    return std::find(std::begin(lasting), std::end(lasting), code) == std::end(lasting);
}

class PcscChannel : public CardChannel
{
public:
    PcscChannel(const std::string &wanted, const std::string &reader, const PcscPatience &patience)
        : m_patience(patience), m_link(std::make_shared<Link>()), m_thread([link = m_link] { link->card.close(); }),
          m_watch(wanted, reader, patience.retry)
    {
    }

    std::string name() const override { return "reader '" + m_watch.desk()->reader() + '\''; }

    bool reset(std::string *error) override;
    bool transmit(const cat::Bytes &apdu, cat::Bytes *answer) override;

    std::uint8_t toolkitClass() const override { return m_toolkitClass; }
    void setListener(std::function<void(News)> listener) override { m_watch.setListener(std::move(listener)); }
    bool staysWithoutCard() const override { return true; }
    std::optional<std::chrono::milliseconds> pollInterval() const override { return pollPause; }

    void interrupt() override
    {
        m_link->isWanted = false;
        m_thread.interrupt();
    }

private:
    /// What calls to the card use: they may outlive the channel.
    struct Link {
        PcscCard card; ///< for m_thread alone
        std::atomic<bool> isWanted{true};
    };

    struct Result {
        LONG code = SCARD_F_UNKNOWN_ERROR;
        cat::Bytes answer;
        std::uint8_t toolkitClass = 0;
    };

    template <typename Call>
    PcscThread::Outcome callCard(Call call, const std::shared_ptr<Result> &result);

    const PcscPatience m_patience;
    const std::shared_ptr<Link> m_link;
    PcscThread m_thread;
    PcscWatch m_watch;
    std::uint8_t m_toolkitClass = 0x80;
};

/// Has `call` fill in `*result` on the card's thread.
template <typename Call>
PcscThread::Outcome PcscChannel::callCard(Call call, const std::shared_ptr<Result> &result)
{
    const auto end = [desk = m_watch.desk()] { desk->note([](PcscNews &news) { news.end(); }); };
    const auto onThread = [link = m_link, result, call, end] {
        call(*link, result.get());
        end();
    };
    m_watch.desk()->note([](PcscNews &news) { news.begin(); });
    const PcscThread::Outcome outcome = m_thread.run(onThread, m_patience.answer);
    if (outcome == PcscThread::Outcome::Busy)
        end();
    return outcome;
}

bool PcscChannel::reset(std::string *error)
{
    const auto result = std::make_shared<Result>();
    m_watch.desk()->note([](PcscNews &news) { news.resetBegins(); });
    const auto call = [reader = m_watch.desk()->reader()](Link &link, Result *into) {
        into->code = link.card.reset(reader, link.isWanted);
        into->toolkitClass = link.card.toolkitClass();
    };
    const PcscThread::Outcome outcome = callCard(call, result);
    const bool isDone = outcome == PcscThread::Outcome::Done;
    const bool isUp = isDone && result->code == SCARD_S_SUCCESS;
    const bool mayRetry = !isDone || mayPass(result->code);
    m_watch.desk()->note([&](PcscNews &news) { news.resetDone(isUp, mayRetry, PcscNews::Clock::now()); });
    if (isUp)
        m_toolkitClass = result->toolkitClass;
    else if (error)
        *error = isDone ? pcscProblem(result->code) : cardHangs;
    return isUp;
}

bool PcscChannel::transmit(const cat::Bytes &apdu, cat::Bytes *answer)
{
    if (!m_watch.desk()->isCardUp())
        return false;
    const auto result = std::make_shared<Result>();
    const auto call = [apdu](Link &link, Result *into) { into->code = link.card.transmit(apdu, &into->answer); };
    if (callCard(call, result) == PcscThread::Outcome::Done && result->code == SCARD_S_SUCCESS) {
        *answer = std::move(result->answer);
        return true;
    }
    m_watch.desk()->note([](PcscNews &news) { news.lose(PcscNews::Clock::now()); });
    return false;
}

/// Lists the readers, or tells why not.
bool listReadersInTime(std::vector<std::string> *names, std::string *error)
{
    struct Found {
        LONG code = SCARD_F_UNKNOWN_ERROR;
        std::vector<std::string> names;
    };
    const auto found = std::make_shared<Found>();
    PcscThread thread;
    const auto outcome = thread.run(
        [found] {
            PcscContext context;
            found->code = context.open();
            if (found->code == SCARD_S_SUCCESS)
                found->code = pcscReaders(context.handle(), &found->names);
        },
        listPatience);
    const bool isDone = outcome == PcscThread::Outcome::Done;
    if (isDone && found->code == SCARD_S_SUCCESS) {
        *names = std::move(found->names);
        return true;
    }
    *error = isDone ? pcscProblem(found->code) : serviceHangs;
    return false;
}

} // namespace

std::unique_ptr<CardChannel> openReader(const std::string &name, const PcscPatience &patience, std::string *error)
{
    std::vector<std::string> names;
    std::string problem;
    std::string reader;
    if (listReadersInTime(&names, &problem))
        reader = chooseReader(names, name, &problem);
    if (!reader.empty())
        return std::make_unique<PcscChannel>(name, reader, patience);
    if (error)
        *error = problem;
    return nullptr;
}

std::unique_ptr<CardChannel> openReader(const std::string &name, std::string *error)
{
    return openReader(name, PcscPatience(), error);
}

std::vector<std::string> listReaders(std::string *error)
{
    std::vector<std::string> names;
    std::string problem;
    const bool isListed = listReadersInTime(&names, &problem);
    if (isListed && names.empty())
        problem = pcscProblem(SCARD_E_NO_READERS_AVAILABLE);
    if (error && !problem.empty())
        *error = problem;
    return names;
}

} // namespace sdk
