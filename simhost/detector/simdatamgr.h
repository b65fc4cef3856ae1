// The host's data manager (ov::IDataMgr): it makes new frames, lists the host's file
// types and loads frames from files (see simfiletypes.h and docs/file-formats.md).
//
// Pixel files (the hits of a Timepix3 run) are read by the Timepix3 family, which the
// host hands in with setHitFileReader: a file is one data object of its hits.
//
// Loading never passes a damaged file off as data: a file that cannot be read, or
// whose numbers, sizes or description do not agree, gives null (or -1) and one error
// line in the host log naming the file and what is wrong.
#pragma once

#include "hostlog.h"

#include <ovcore.h>

#include <functional>
#include <string>

namespace sim {

class SimDataMgr final : public ov::IDataMgr
{
public:
    SimDataMgr() = default;
    ~SimDataMgr();
    SimDataMgr(const SimDataMgr&) = delete;
    SimDataMgr& operator=(const SimDataMgr&) = delete;

    // Where load errors go; also takes the log of saves through frames and data
    // objects (see setFileLog).
    void setLog(LogFn log);

    // Reads a pixel file into a data object with one reference; null with the reason.
    using HitFileReader = std::function<ov::IData*(const std::string& path, std::string* error)>;
    void setHitFileReader(HitFileReader reader) { m_hitReader = std::move(reader); }

    // A zero-filled SimFrame with one reference for the caller; null for a bad type or
    // size.
    ov::IMpxFrame* createMpxFrame(unsigned width, unsigned height, int frameDataType) override;
    // Frame `index` of a file as a data object of one frame, with one reference for the
    // caller; null (and a log line) when the file or the frame cannot be read.
    ov::IData* loadData(ov::IFilePath* path, int index) override;
    // Frames in a file; -1 (and a log line) when it cannot be read.
    int frameCountInFile(ov::IFilePath* path) override;
    // Data objects in a file: one per frame.
    int dataCountInFile(ov::IFilePath* path) override;
    // The type code of a file name by its extension; -1 when no type has it.
    int fileTypeIdFromFileName(ov::IFilePath* path) override;
    ov::IFileType* fileTypeFromFileName(ov::IFilePath* path) override;
    ov::IFileType* fileTypeById(int code) override;
    // The file types of the host for a detector: the pixel files only for a Timepix3.
    int supportedFileTypes(ov::IDevMpx* dev, ov::PtrList<ov::IFileType*>& out) override;

private:
    void logError(const std::string& text) const;
    // The pixel file at name as data, or null and a log line.
    ov::IData* loadHits(const std::string& name) const;

    LogFn m_log;
    HitFileReader m_hitReader;
};

} // namespace sim
