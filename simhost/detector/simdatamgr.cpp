#include "simdatamgr.h"

#include "framefile.h"
#include "multiframeseries.h"
#include "simdata.h"
#include "simfiletypes.h"
#include "simframe.h"

namespace sim {

namespace {

std::string pathOf(ov::IFilePath* path)
{
    return path && path->get() ? std::string(path->get()) : std::string();
}

bool isHitFile(const std::string& name)
{
    const SimFileType* type = hostFileTypeForPath(name);
    return type && type->holdsHits();
}

} // namespace

SimDataMgr::~SimDataMgr()
{
    clearFileLog(this);
}

void SimDataMgr::setLog(LogFn log)
{
    m_log = log;
    setFileLog(this, std::move(log));
}

void SimDataMgr::logError(const std::string& text) const
{
    if (m_log)
        m_log(ov::LogError, QString::fromUtf8(text.c_str()));
}

ov::IMpxFrame* SimDataMgr::createMpxFrame(unsigned width, unsigned height, int frameDataType)
{
    return SimFrame::create(width, height, frameDataType);
}

ov::IData* SimDataMgr::loadHits(const std::string& name) const
{
    if (!m_hitReader) {
        logError("Loading " + name + ": this host reads no pixel files");
        return nullptr;
    }
    std::string error;
    ov::IData* data = m_hitReader(name, &error);
    if (!data)
        logError("Loading data: " + error);
    return data;
}

ov::IData* SimDataMgr::loadData(ov::IFilePath* path, int index)
{
    const std::string name = pathOf(path);
    if (name.empty()) {
        logError("Loading data: no file name");
        return nullptr;
    }
    if (isHitFile(name)) {
        if (index == 0)
            return loadHits(name);
        logError("Loading " + name + ": a pixel file holds one data set, not "
            + std::to_string(index + 1));
        return nullptr;
    }
    if (fileTypeFromPath(name) == FileTypePicture) {
        logError("Loading " + name + ": a picture holds no frame data");
        return nullptr;
    }
    FrameData data;
    std::string error;
    if (readFrameFromFile(name, index, &data, &error) != 0) {
        logError("Loading data: " + error);
        return nullptr;
    }
    SimFrame* frame = frameFromFileData(std::move(data));
    if (!frame) {
        logError("Loading " + name + ": the host cannot make a frame of that type and size");
        return nullptr;
    }
    frame->setOrigin(originOfFile(name));
    SimData* result = SimData::createFileEntry(frame);
    frame->decRef();
    return result;
}

int SimDataMgr::frameCountInFile(ov::IFilePath* path)
{
    const std::string name = pathOf(path);
    if (name.empty()) {
        logError("Counting frames: no file name");
        return -1;
    }
    if (fileTypeFromPath(name) == FileTypePicture) {
        logError("Counting frames of " + name + ": a picture holds no frame data");
        return -1;
    }
    if (isHitFile(name)) {
        // One data set, whose frame is made from its hits; a file that does not read
        // whole counts none.
        ov::IData* data = loadHits(name);
        if (!data)
            return -1;
        data->decRef();
        return 1;
    }
    std::string error;
    const int n = countFramesInFile(name, &error);
    if (n < 0)
        logError("Counting frames: " + error);
    return n;
}

int SimDataMgr::dataCountInFile(ov::IFilePath* path)
{
    return frameCountInFile(path);
}

int SimDataMgr::fileTypeIdFromFileName(ov::IFilePath* path)
{
    return hostFileTypeIdForPath(pathOf(path));
}

ov::IFileType* SimDataMgr::fileTypeFromFileName(ov::IFilePath* path)
{
    return hostFileTypeForPath(pathOf(path));
}

ov::IFileType* SimDataMgr::fileTypeById(int code)
{
    return hostFileTypeById(code);
}

int SimDataMgr::supportedFileTypes(ov::IDevMpx* dev, ov::PtrList<ov::IFileType*>& out)
{
    const bool timepix3 = dev && dev->deviceType() == ov::DevKindTpx3;
    for (SimFileType* type : hostFileTypes())
        if (timepix3 || !type->holdsHits())
            out.add(type);
    return 0;
}

} // namespace sim
