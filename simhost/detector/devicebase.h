// The ov::IDev part of every simulated device, written once.
//
// DeviceBase<Iface> implements every ov::IDev operation of Iface (ov::IDev itself or a
// family interface derived from it, such as ov::IDevMpx2) on top of SimDevice. A device
// class derives from DeviceBase<its interface> and adds the family operations:
//
//     class TimepixDevice final : public DeviceBase<ov::IDevMpx2> { ... };
#pragma once

#include "simdevice.h"

#include <type_traits>

namespace sim {

template <class Iface>
class DeviceBase : public Iface, public SimDevice
{
    static_assert(std::is_base_of_v<ov::IDev, Iface>, "DeviceBase needs a device interface");

public:
    explicit DeviceBase(const DeviceDesc& desc) : SimDevice(desc) { }

    ov::IDev* dev() override { return this; }

    int deviceType() override { return kind(); }
    int deviceInfo(ov::DevInfo* out) override { return fillDeviceInfo(out); }
    int registerEvent(const char* eventName, ov::EventCallback cb, void* user) override
    {
        return addEventCallback(eventName, cb, user);
    }
    int registerLogCallback(ov::LogCallback cb, void* user) override
    {
        return addLogCallback(cb, user);
    }
    int unregisterLogCallback(ov::LogCallback cb, void* user) override
    {
        return removeLogCallback(cb, user);
    }
    int deviceName(ov::String& out) override
    {
        out.set(name().toUtf8().constData());
        return 0;
    }
    bool isLocked() override { return locked(); }
    int reconnect() override { return reopen(); }
    // Parameter managers come with the device families that have parameters.
    ov::IParamMgr* paramMgr() override { return nullptr; }
    int loadFactoryConfig() override { return useFactoryConfig(); }
    int configFilePath(ov::String& out) override
    {
        out.set(configPath().toUtf8().constData());
        return 0;
    }
    const ov::IMenuItem* deviceMenu() override { return menu(); }
    int statusText(ov::String& out) override
    {
        out.set(statusMessage().toUtf8().constData());
        return 0;
    }
    int status() override { return statusCode(); }
    int abortOperation() override { return requestAbort(); }
};

} // namespace sim
