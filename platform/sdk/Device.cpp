#include "sdk/Service.h"

#include "sdk/Apdu.h"
#include "sdk/Outside.h"

// The part of Service that knows cards: how one comes, and how it goes.

namespace sdk
{

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
    device->channel.reset(); // before the event: whoever hears it may open the same card again
    raiseDevice(MDSV_DEVICE_REMOVED);
}

void Service::startCard(const DevicePtr &device)
{
    if (!isCurrent(device))
        return;
    tell(Exchange::Kind::Device, device->channel->name() + ": attached");
    restartCard(device);
}

void Service::restartCard(const DevicePtr &device)
{
    std::string error;
    bool isThere = false;
    callOutside("the card channel", [&] { isThere = device->channel->reset(&error); });
    cat::Bytes answer;
    if (!isThere)
        loseDevice(device, "no card, " + error, MDSV_DEVICE_UNAVAILABLE);
    else if (exchange(device, terminalProfileApdu(), &answer))
        follow(device, answer);
}

bool Service::isCurrent(const DevicePtr &device) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_state.device == device;
}

void Service::loseDevice(const DevicePtr &device, const std::string &why, int event)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (m_state.device != device)
            return; // detached meanwhile, and that tells its own end
        m_state = State();
    }
    tell(Exchange::Kind::Device, device->channel->name() + ": " + why);
    device->channel.reset();
    raiseDevice(event);
}

} // namespace sdk
