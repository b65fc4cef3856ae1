#include "framememory.h"

#include <QDir>
#include <QSettings>

namespace PluginDevControl {

namespace {

constexpr unsigned kDefaultMaxFrameMemoryMb = 2048;

} // namespace

uint64_t estimateFrameMemoryMb(int deviceType, int acqType, int acqCount, uint32_t pixelCount)
{
    int64_t bytesPerPixel = 2;
    if (deviceType == 3)
        bytesPerPixel = 8;
    else if (deviceType == 2)
        bytesPerPixel = 4;
    // An integrating measurement keeps one frame, whatever the count.
    if (acqType != 1 && acqType != 4)
        bytesPerPixel *= acqCount;
    const int64_t bytes = static_cast<int64_t>(pixelCount) * bytesPerPixel;
    return bytes > 0 ? static_cast<uint64_t>(bytes) >> 20 : 0;
}

unsigned maxFrameMemoryMb(const QString& applicationDirectory)
{
    QSettings ini(QDir(applicationDirectory).filePath("orvel.ini"), QSettings::IniFormat);
    ini.beginGroup("Settings");
    return ini.value("MaxFrameMemory", kDefaultMaxFrameMemoryMb).toUInt();
}

} // namespace PluginDevControl
