#include "devicenames.h"

#include <cstring>

namespace PluginDevControl {

namespace {
ov::DevInfo readInfo(ov::IDev* dev)
{
    ov::DevInfo info;
    std::memset(&info, 0, sizeof info);
    if (dev)
        dev->deviceInfo(&info);
    return info;
}
} // namespace

QString deviceFullName(ov::IDev* dev)
{
    if (!dev)
        return QString();
    ov::String name;
    dev->deviceName(name);
    return QString::fromUtf8(name.get());
}

QString deviceShortName(ov::IDev* dev)
{
    const ov::DevInfo info = readInfo(dev);
    return QString::fromUtf8(
        info.ifaceName, static_cast<int>(strnlen(info.ifaceName, sizeof info.ifaceName)));
}

unsigned deviceSerial(ov::IDev* dev)
{
    return readInfo(dev).serial;
}

} // namespace PluginDevControl
