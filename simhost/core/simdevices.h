// The simulated devices of every kind, and the factory that makes them.
#pragma once

#include "devicebase.h"

#include <memory>

namespace sim {

// A device that offers the plain ov::IDev interface. Every kind starts as one of these;
// a family that gains its own interface gets its own class built on DeviceBase.
class PlainDevice final : public DeviceBase<ov::IDev>
{
public:
    explicit PlainDevice(const DeviceDesc& desc);
};

// The device for a desc; null for a kind the host does not simulate.
std::shared_ptr<SimDevice> createDevice(const DeviceDesc& desc);

} // namespace sim
