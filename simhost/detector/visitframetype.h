// Dispatch on the pixel type of a frame type code.
#pragma once

#include <ovdetector.h>

#include <cstdint>

namespace sim {

// Calls fn(T{}) with T the pixel type of a frame type (int16_t, uint32_t, uint64_t,
// double); the type must be valid.
template <class Fn>
auto visitFrameType(int dataType, Fn&& fn)
{
    switch (dataType) {
    case ov::FrameInt16:
        return fn(int16_t {});
    case ov::FrameUInt32:
        return fn(uint32_t {});
    case ov::FrameUInt64:
        return fn(uint64_t {});
    default:
        return fn(double {});
    }
}

} // namespace sim
