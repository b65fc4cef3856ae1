#include "simdevices.h"

#include "timepixdevice.h"

namespace sim {

PlainDevice::PlainDevice(const DeviceDesc& desc) : DeviceBase<ov::IDev>(desc) { }

std::shared_ptr<SimDevice> createDevice(const DeviceDesc& desc)
{
    switch (desc.kind) {
    case KindTimepix:
        return std::make_shared<TimepixDevice>(desc);
    case KindMedipix3:
    case KindTimepix3:
    case KindTimepix2:
    case KindFile:
    case KindMotor:
    case KindXray:
    case KindHvSource:
        return std::make_shared<PlainDevice>(desc);
    default:
        return nullptr;
    }
}

} // namespace sim
