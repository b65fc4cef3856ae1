#include "multiframeseries.h"

#include "simfiletypes.h"
#include "simframe.h"

#include <filesystem>
#include <map>
#include <mutex>

namespace sim {

namespace {

namespace fs = std::filesystem;

// Size of a file, or -1 when there is none.
intmax_t sizeOf(const std::string& path)
{
    std::error_code ec;
    const uintmax_t size = fs::file_size(fs::path(path), ec);
    return ec ? -1 : static_cast<intmax_t>(size);
}

std::string keyOf(const std::string& path)
{
    std::error_code ec;
    const fs::path absolute = fs::absolute(fs::path(path), ec);
    return ec ? path : absolute.lexically_normal().string();
}

struct Series
{
    FrameFileWriter writer;
    unsigned flags = 0;
    FrameFileOptions options;
    uint64_t origin = 0;
    uint64_t serial = 0;
    // What the two files measured after our last write; a difference means someone
    // else wrote or removed them.
    intmax_t dataSize = -1;
    intmax_t descriptionSize = -1;
};

// Few files are written frame by frame at the same time; older series are dropped.
constexpr size_t kMaxOpenSeries = 16;

std::mutex seriesMutex;
std::map<std::string, Series> openSeries;

std::mutex originMutex;
std::map<std::string, uint64_t> fileOrigins;

bool continues(const Series& s, const SimFrame& frame, const std::string& path, unsigned flags,
    const FrameFileOptions& options)
{
    return s.writer.isOpen() && frame.origin() != 0 && s.origin == frame.origin()
        && frame.serial() > s.serial && s.flags == flags
        && s.options.compression == options.compression && s.options.level == options.level
        && sizeOf(path) == s.dataSize && sizeOf(descriptionPathOf(path)) == s.descriptionSize;
}

} // namespace

int saveToMultiFrameSeries(const SimFrame& frame, const std::vector<FrameView>& views,
    const std::string& path, unsigned flags, const FrameFileOptions& options, std::string* error)
{
    if (!canWriteFrames(path, FileTypeMultiFrame, flags, views, error))
        return -1;
    const std::string key = keyOf(path);
    std::lock_guard<std::mutex> lock(seriesMutex);
    auto found = openSeries.find(key);
    if (found == openSeries.end() || !continues(found->second, frame, path, flags, options)) {
        if (found == openSeries.end() && openSeries.size() >= kMaxOpenSeries)
            openSeries.erase(openSeries.begin());
        Series fresh;
        fresh.flags = flags;
        fresh.options = options;
        fresh.origin = frame.origin();
        if (fresh.writer.create(path, FileTypeMultiFrame, flags, error, options) != 0) {
            openSeries.erase(key);
            return -1;
        }
        found = openSeries.insert_or_assign(key, std::move(fresh)).first;
    }
    Series& s = found->second;
    for (const FrameView& view : views) {
        if (s.writer.append(view, error) != 0) {
            openSeries.erase(found);
            return -1;
        }
    }
    s.serial = frame.serial();
    s.dataSize = sizeOf(path);
    s.descriptionSize = sizeOf(descriptionPathOf(path));
    return 0;
}

void endMultiFrameSeries(const std::string& path)
{
    std::lock_guard<std::mutex> lock(seriesMutex);
    openSeries.erase(keyOf(path));
}

uint64_t originOfFile(const std::string& path)
{
    const std::string key = keyOf(path);
    std::lock_guard<std::mutex> lock(originMutex);
    auto found = fileOrigins.find(key);
    if (found == fileOrigins.end())
        found = fileOrigins.emplace(key, SimFrame::newOrigin()).first;
    return found->second;
}

} // namespace sim
