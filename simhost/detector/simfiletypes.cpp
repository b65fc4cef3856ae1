#include "simfiletypes.h"

#include "framefile.h"
#include "multiframeseries.h"
#include "simframe.h"
#include "tpx3hitfile.h"

#include <fileops.h>

#include <QFileInfo>

#include <mutex>

namespace sim {

namespace {

std::mutex g_logMutex;
const void* g_logOwner = nullptr;
LogFn g_log;

QString qs(const std::string& text)
{
    return QString::fromUtf8(text.c_str());
}

FrameView viewOf(const SimFrame& frame)
{
    FrameView v;
    v.dataType = frame.dataType();
    v.width = frame.width();
    v.height = frame.height();
    v.acqTime = frame.acqTime();
    v.name = frame.name();
    v.pixels = frame.rawData();
    return v;
}

} // namespace

SimFileType::SimFileType(
    int code, const char* description, const char* extension, bool multi, Content content)
    : m_code(code),
      m_description(description),
      m_extension(extension),
      m_multi(multi),
      m_content(content)
{
    if (content != CompressedFrames)
        return;
    m_params = std::make_unique<SimParamMgr>();
    m_params->setRefused([this](const SimParam& p, int result, const std::string& value) {
        logFileLine(ov::LogWarning,
            QStringLiteral("File type %1, parameter %2: %3 refused: %4")
                .arg(QLatin1String(m_description), QString::fromUtf8(p.name()), qs(value),
                    qs(p.refusalText(result))));
    });
    m_compression = &m_params->add("Compression",
        "Compression of binary frame data: none, or each frame zlib-compressed; text forms "
        "are not compressed [none|zlib]",
        ov::ParamU8);
    m_compression->setAliases({{"none", CompressNone}, {"zlib", CompressZlib}});
    m_level = &m_params->add(
        "CompressionLevel", "zlib level: 1 fastest to 9 smallest [1..9]", ov::ParamU8);
    m_level->setRange(1, 9);
    resetParams();
}

void SimFileType::resetParams()
{
    if (!m_params)
        return;
    m_compression->assign(CompressNone);
    m_level->assign(6);
}

FrameFileOptions SimFileType::writeOptions() const
{
    FrameFileOptions options;
    if (m_params) {
        options.compression = int(m_compression->asInt());
        options.level = int(m_level->asInt());
    }
    return options;
}

bool SimFileType::canSaveFrames(int flag) const
{
    if (m_content == Hits)
        return flag == ov::DataTpx3Pixels || flag == ov::DataTpx3Clusters;
    return flag == ov::DataFrames || flag == ov::DataTpx3Pixels;
}

const std::vector<SimFileType*>& hostFileTypes()
{
    using T = SimFileType;
    static T multi(FileTypeMultiFrame, "Multi-frame file", "mfd", true, T::CompressedFrames);
    static T text(FileTypeTextFrame, "Text matrix frame", "txt", false);
    static T binary(FileTypeBinaryFrame, "Binary frame", "bin", false, T::CompressedFrames);
    // A pixel file holds a whole run, so it counts as a multi-frame type for the naming
    // of a measurement's output.
    static T list(FileTypeTpx3Hits + Tpx3HitList, "Timepix3 pixel list", "t3p", true, T::Hits);
    static T text3(
        FileTypeTpx3Hits + Tpx3HitText, "Timepix3 pixel list (text)", "t3pa", true, T::Hits);
    static T raw(FileTypeTpx3Hits + Tpx3HitRaw, "Timepix3 raw data", "t3r", true, T::Hits);
    static T sorted(
        FileTypeTpx3Hits + Tpx3HitSorted, "Timepix3 processed data", "prd", true, T::Hits);
    static T picture(FileTypePicture, "Picture", "png", false);
    static const std::vector<SimFileType*> types {
        &multi, &text, &binary, &list, &text3, &raw, &sorted, &picture};
    return types;
}

SimFileType* hostFileTypeById(int code)
{
    for (SimFileType* type : hostFileTypes())
        if (type->typeCode() == code)
            return type;
    return nullptr;
}

int hostFileTypeIdForPath(const std::string& path)
{
    // A pixel file, or its description.
    Tpx3HitFormat format;
    if (tpx3HitFormatFromName(dataPathOf(path), &format))
        return FileTypeTpx3Hits + format;
    return fileTypeFromPath(path);
}

SimFileType* hostFileTypeForPath(const std::string& path)
{
    return hostFileTypeById(hostFileTypeIdForPath(path));
}

FrameFileOptions fileOptionsOf(int code)
{
    const SimFileType* type = hostFileTypeById(code);
    return type ? type->writeOptions() : FrameFileOptions {};
}

int HostOutputFileTypes::multiFrameByName(const std::string& path) const
{
    const SimFileType* type = hostFileTypeForPath(path);
    return type ? int(type->isMultiFrame()) : -1;
}

int HostOutputFileTypes::multiFrameById(int code) const
{
    const SimFileType* type = hostFileTypeById(code);
    return type ? int(type->isMultiFrame()) : -1;
}

int HostOutputFileTypes::typeIdFromName(const std::string& path) const
{
    return hostFileTypeIdForPath(path);
}

void setFileLog(const void* owner, LogFn fn)
{
    std::lock_guard<std::mutex> lock(g_logMutex);
    g_logOwner = owner;
    g_log = std::move(fn);
}

void clearFileLog(const void* owner)
{
    std::lock_guard<std::mutex> lock(g_logMutex);
    if (g_logOwner != owner)
        return;
    g_logOwner = nullptr;
    g_log = nullptr;
}

void logFileLine(unsigned level, const QString& text)
{
    LogFn fn;
    {
        std::lock_guard<std::mutex> lock(g_logMutex);
        fn = g_log;
    }
    if (fn)
        fn(level, text);
}

void logFileError(const QString& text)
{
    logFileLine(ov::LogError, text);
}

int saveFramesToFile(
    const std::vector<const SimFrame*>& frames, const std::string& path, int code, unsigned flags)
{
    if (path.empty()) {
        logFileError(QStringLiteral("Saving frames: no file name"));
        return -1;
    }
    if (frames.empty()) {
        logFileError(QStringLiteral("Saving %1: no frames to save").arg(qs(path)));
        return -1;
    }
    for (const SimFrame* frame : frames)
        if (!frame) {
            logFileError(QStringLiteral("Saving %1: no frame").arg(qs(path)));
            return -1;
        }
    if (code == FileTypePicture) {
        logFileError(QStringLiteral("Saving %1: pictures are drawn by the user interface, "
                                    "the host writes only data files")
                         .arg(qs(path)));
        return -1;
    }
    if (!fileFormOf(code, flags, nullptr)) {
        logFileError(
            QStringLiteral("Saving %1: the host has no file type %2").arg(qs(path)).arg(code));
        return -1;
    }
    std::string error;
    const FrameFileOptions options = fileOptionsOf(code);
    if (code == FileTypeMultiFrame) {
        std::vector<FrameView> views;
        for (const SimFrame* frame : frames) {
            views.push_back(viewOf(*frame));
            if (flags & FileFlagSubFramesOneFile)
                for (int i = 0; i < frame->subFrameCount(); ++i)
                    views.push_back(viewOf(*frame->subFrame(i)));
        }
        // One frame at a time may be one step of a loop over a measurement.
        const int rc = frames.size() == 1
            ? saveToMultiFrameSeries(*frames.front(), views, path, flags, options, &error)
            : writeFrameFile(path, code, flags, views, &error, options);
        if (frames.size() != 1)
            endMultiFrameSeries(path);
        if (rc != 0) {
            logFileError(QStringLiteral("Saving frames: %1").arg(qs(error)));
            return -1;
        }
        return 0;
    }
    // A single-frame type: one file per frame, numbered when there are several.
    for (size_t i = 0; i < frames.size(); ++i) {
        const std::string name = frameFileName(path, int(i), int(frames.size()));
        if (writeFrameFile(name, code, flags, {viewOf(*frames[i])}, &error, options) != 0) {
            logFileError(QStringLiteral("Saving frames: %1").arg(qs(error)));
            return -1;
        }
    }
    return 0;
}

std::string frameFileName(const std::string& path, int index, int count)
{
    if (count == 1)
        return path;
    return getFileNameIdx(std::filesystem::path(path), index, outputIndexDigits(count), "_", "");
}

SimFrame* frameFromFileData(FrameData&& data)
{
    SimFrame* frame = SimFrame::create(data.width, data.height, data.dataType);
    if (!frame)
        return nullptr;
    if (frame->setData(data.pixels.data(), data.pixels.size()) != 0) {
        frame->decRef();
        return nullptr;
    }
    frame->setAcqTime(data.acqTime);
    frame->setFrameName(data.name.c_str());
    return frame;
}

} // namespace sim
