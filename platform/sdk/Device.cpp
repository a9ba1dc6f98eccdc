#include "sdk/Service.h"

#include "sdk/Apdu.h"
#include "sdk/Outside.h"

// The part of Service that knows cards: how one comes, and how it goes.

namespace sdk
{

Service::Device::Device(std::unique_ptr<CardChannel> cardChannel, std::uint64_t number)
    : channel(std::move(cardChannel)), attachment(number)
{
}

Service::Device::~Device()
{
    close();
}

void Service::Device::close()
{
    if (channel)
        callOutside("the card channel", [this] { channel->setListener({}); });
    channel.reset();
}

/// Forgets the attached device and has its end told. The caller passes it to letGo() when it has released the lock.
Service::DevicePtr Service::takeDeviceLocked()
{
    DevicePtr device = std::exchange(m_state, State()).device;
    if (device && !m_isStopping)
        queueLocked([this, device] { finishDetach(device); });
    return device;
}

void Service::letGo(const DevicePtr &device)
{
    if (!device)
        return;
    callOutside("the card channel", [&] { device->channel->interrupt(); });
    const std::lock_guard<std::mutex> lock(m_mutex);
    device->isReleased = true;
    m_wake.notify_all();
}

void Service::finishDetach(const DevicePtr &device)
{
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_wake.wait(lock, [&] { return device->isReleased; });
    }
    tell(Exchange::Kind::Device, device->channel->name() + ": detached");
    device->close(); // before the event: whoever hears it may open the same card again
    if (!device->isRemovalTold)
        raiseDevice(MDSV_DEVICE_REMOVED);
}

/// Any thread, at any time.
void Service::hear(std::uint64_t attachment, CardChannel::News news)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const DevicePtr device = m_state.device;
    if (!device || device->attachment != attachment)
        return;
    switch (news) {
    case CardChannel::News::Asks:
        m_state.upkeep.isAsking = m_state.hasCard;
        m_wake.notify_all();
        break;
    case CardChannel::News::Ended:
        queueLocked([this, device] { closeGivenUp(device); });
        break;
    case CardChannel::News::Gone:
        // A card that has been reset since is back: what has become of it tells the next command.
        queueLocked([this, device, resets = device->resets] {
            if (device->resets == resets)
                loseDevice(device, "the card is gone", MDSV_DEVICE_REMOVED);
        });
        break;
    case CardChannel::News::There:
        // Not for this device: the loss of its card may be on its way.
        queueLocked([this, attachment] { welcomeCard(attachment); });
        break;
    }
}

void Service::startCard(const DevicePtr &device)
{
    if (!isCurrent(device))
        return;
    tell(Exchange::Kind::Device, device->channel->name() + ": attached");
    const auto listener = [this, attachment = device->attachment](CardChannel::News news) { hear(attachment, news); };
    callOutside("the card channel", [&] { device->channel->setListener(listener); });
    restartCard(device);
}

/// What the user has been asked needs no answer any more, unless it is another one by now.
void Service::closeGivenUp(const DevicePtr &device)
{
    if (!isCurrent(device))
        return;
    bool isGivenUp = false;
    callOutside("the card channel", [&] { isGivenUp = device->channel->isGivenUp(); });
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_state.device != device || !m_state.open || !isGivenUp)
            return;
        takeOpenLocked();
    }
    note("the card does not wait for the answer any more");
    endSession(device);
}

/// A card has come to a channel that has waited for one.
void Service::welcomeCard(std::uint64_t attachment)
{
    DevicePtr device;
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_state.device || m_state.device->attachment != attachment || m_state.hasCard)
            return;
        device = m_state.device;
        m_state.hasCard = true;
        m_state.isBusy = true;
    }
    tell(Exchange::Kind::Device, device->channel->name() + ": there is a card");
    restartCard(device);
}

void Service::restartCard(const DevicePtr &device)
{
    std::string error;
    bool isThere = false;
    callOutside("the card channel", [&] { isThere = device->channel->reset(&error); });
    if (!isThere)
        return loseDevice(device, "no card, " + error, MDSV_DEVICE_UNAVAILABLE);
    readCard(device);
    cat::Bytes answer;
    if (exchange(device, terminalProfileApdu(device->toolkitClass), &answer))
        follow(device, answer);
}

/// What can be known of a card when it has been reset.
void Service::readCard(const DevicePtr &device)
{
    Upkeep upkeep;
    callOutside("the card channel", [&] {
        device->toolkitClass = device->channel->toolkitClass();
        upkeep.pollInterval = device->channel->pollInterval();
    });
    const std::lock_guard<std::mutex> lock(m_mutex);
    ++device->resets;
    if (m_state.device == device)
        m_state.upkeep = upkeep;
}

bool Service::isCurrent(const DevicePtr &device) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_state.device == device;
}

/// The card is gone, and with it the device, unless its channel waits for another.
void Service::loseDevice(const DevicePtr &device, const std::string &why, int event)
{
    if (!isCurrent(device))
        return; // detached meanwhile, and that tells its own end
    const std::string name = device->channel->name();
    bool isWaiting = false;
    callOutside("the card channel", [&] { isWaiting = device->channel->staysWithoutCard(); });
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_state.device != device || !m_state.hasCard)
            return;
        m_state = State();
        if (isWaiting) {
            m_state.device = std::make_shared<Device>(std::move(device->channel), device->attachment);
            m_state.device->isRemovalTold = event == MDSV_DEVICE_REMOVED;
        }
    }
    tell(Exchange::Kind::Device, name + ": " + why);
    device->close();
    tellTurn();
    raiseDevice(event);
}

} // namespace sdk
