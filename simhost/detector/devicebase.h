// The ov::IDev part of every simulated device, written once.
//
// DeviceBase<Iface, Core> implements every ov::IDev operation of Iface (ov::IDev itself
// or a family interface derived from it, such as ov::IDevMpx2) on top of Core, which is
// SimDevice or a class derived from it that holds what several families share. A device
// class derives from DeviceBase<its interface> and adds the family operations:
//
//     class PlainDevice final : public DeviceBase<ov::IDev> { ... };
#pragma once

#include "simdevice.h"

#include <type_traits>

namespace sim {

template <class Iface, class Core = SimDevice>
class DeviceBase : public Iface, public Core
{
    static_assert(std::is_base_of_v<ov::IDev, Iface>, "DeviceBase needs a device interface");
    static_assert(std::is_base_of_v<SimDevice, Core>, "DeviceBase needs a simulated device");

public:
    explicit DeviceBase(const DeviceDesc& desc) : Core(desc) { }

    ov::IDev* dev() override { return this; }

    int deviceType() override { return this->kind(); }
    int deviceInfo(ov::DevInfo* out) override { return this->fillDeviceInfo(out); }
    int registerEvent(const char* eventName, ov::EventCallback cb, void* user) override
    {
        return this->addEventCallback(eventName, cb, user);
    }
    int registerLogCallback(ov::LogCallback cb, void* user) override
    {
        return this->addLogCallback(cb, user);
    }
    int unregisterLogCallback(ov::LogCallback cb, void* user) override
    {
        return this->removeLogCallback(cb, user);
    }
    int deviceName(ov::String& out) override
    {
        out.set(this->name().toUtf8().constData());
        return 0;
    }
    bool isLocked() override { return this->locked(); }
    int reconnect() override { return this->reopen(); }
    // Parameter managers come with the device families that have parameters.
    ov::IParamMgr* paramMgr() override { return nullptr; }
    int loadFactoryConfig() override { return this->useFactoryConfig(); }
    int configFilePath(ov::String& out) override
    {
        out.set(this->configPath().toUtf8().constData());
        return 0;
    }
    const ov::IMenuItem* deviceMenu() override { return this->menu(); }
    int statusText(ov::String& out) override
    {
        out.set(this->statusMessage().toUtf8().constData());
        return 0;
    }
    int status() override { return this->statusCode(); }
    int abortOperation() override { return this->requestAbort(); }
};

} // namespace sim
