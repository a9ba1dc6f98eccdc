#include "platform/sdk/Events.h"

#include "sdk/MDSVStk.h"

#include <QRegularExpression>

#include <algorithm>
#include <mutex>

namespace events
{

namespace
{

struct Kept {
    std::mutex mutex;
    std::vector<Event> events;
    std::vector<sdk::Exchange> exchanges;
    std::function<void(const Event &)> reaction;
};

Kept &kept()
{
    static Kept instance;
    return instance;
}

void keep(const Event &event)
{
    std::function<void(const Event &)> reaction;
    {
        const std::lock_guard<std::mutex> lock(kept().mutex);
        kept().events.push_back(event);
        reaction = kept().reaction;
    }
    if (reaction)
        reaction(event);
}

const char *kindName(sdk::Exchange::Kind kind)
{
    static const char *const names[] = {"Command", "Response", "Envelope", "Device", "Note"};
    return names[static_cast<int>(kind)];
}

} // namespace

int stkCallback(int, void *data)
{
    const auto *record = static_cast<const MDSVStkNotifyData *>(data);
    Event event;
    event.text = "STK " + QString::number(record->enStkType) + (record->nTimeOut ? " timed out" : "");
    event.id = record->sCmdId;
    event.thread = std::this_thread::get_id();
    keep(event);
    return 0;
}

int deviceCallback(int event, void *)
{
    keep({"DEVICE " + QString::number(event), 0, std::this_thread::get_id()});
    return 1;
}

int otherStkCallback(int, void *)
{
    keep({"OTHER STK", 0, std::this_thread::get_id()});
    return 0;
}

int otherDeviceCallback(int, void *)
{
    keep({"OTHER DEVICE", 0, std::this_thread::get_id()});
    return 1;
}

bool registerBoth()
{
    return MDSV_STK_RegisterCallBack(stkCallback) == 0 && MDSV_DevSrv_RegisterDevMgrCallback(deviceCallback) == 0;
}

void setReaction(std::function<void(const Event &)> reaction)
{
    const std::lock_guard<std::mutex> lock(kept().mutex);
    kept().reaction = std::move(reaction);
}

void reset()
{
    setReaction({});
    const std::lock_guard<std::mutex> lock(kept().mutex);
    kept().events.clear();
    kept().exchanges.clear();
}

void forget()
{
    const std::lock_guard<std::mutex> lock(kept().mutex);
    kept().events.clear();
}

std::vector<Event> all()
{
    const std::lock_guard<std::mutex> lock(kept().mutex);
    return kept().events;
}

QStringList texts()
{
    QStringList texts;
    for (const Event &event : all())
        texts.append(event.text);
    return texts;
}

int count(const QString &text)
{
    return static_cast<int>(texts().count(text));
}

int lastId()
{
    const std::vector<Event> events = all();
    const auto last = std::find_if(events.rbegin(), events.rend(), [](const Event &event) { return event.id != 0; });
    return last == events.rend() ? 0 : last->id;
}

bool has(const QString &text)
{
    return texts().contains(text);
}

void listen()
{
    sdk::setExchangeListener([](const sdk::Exchange &exchange) {
        const std::lock_guard<std::mutex> lock(kept().mutex);
        kept().exchanges.push_back(exchange);
    });
}

QStringList exchanges()
{
    const std::lock_guard<std::mutex> lock(kept().mutex);
    QStringList texts;
    for (const sdk::Exchange &exchange : kept().exchanges)
        texts.append(QString(kindName(exchange.kind)) + ": " + QString::fromStdString(exchange.text));
    return texts;
}

QStringList exchangesWithBytes()
{
    QStringList texts = exchanges();
    const std::lock_guard<std::mutex> lock(kept().mutex);
    for (int i = 0; i < texts.size(); ++i)
        texts[i] +=
            " [" + QString::fromStdString(cat::toHex(kept().exchanges[static_cast<std::size_t>(i)].bytes)) + ']';
    return texts;
}

QStringList notes()
{
    return exchanges().filter(QRegularExpression("^Note: ")).replaceInStrings(QRegularExpression("^Note: "), "");
}

} // namespace events
