#include "simdevices.h"

#include "timepix3device.h"
#include "timepixdevice.h"

namespace sim {

PlainDevice::PlainDevice(const DeviceDesc& desc) : DeviceBase<ov::IDev>(desc) { }

std::shared_ptr<SimDevice> createDevice(const DeviceDesc& desc)
{
    switch (desc.kind) {
    case ov::DevKindMpx2:
        return std::make_shared<TimepixDevice>(desc);
    case ov::DevKindTpx3:
        return std::make_shared<Timepix3Device>(desc);
    case ov::DevKindMpx3:
    case ov::DevKindTpx2:
    case ov::DevKindFile:
    case ov::DevKindMotor:
    case ov::DevKindXray:
    case ov::DevKindHvSource:
        return std::make_shared<PlainDevice>(desc);
    default:
        return nullptr;
    }
}

} // namespace sim
