// The host's file types (ov::IFileType) and the glue between frames and frame files:
// saving SimFrame and SimData objects, making frames from files, and the answers
// about file types that the output-naming rules need.
//
// | code | description        | extension | frames |
// |------|--------------------|-----------|--------|
// | 4    | Multi-frame file   | mfd       | any number; text or binary, matrix or sparse |
// | 2    | Text matrix frame  | txt       | one, text matrix |
// | 3    | Binary frame       | bin       | one, binary matrix |
// | 6    | Timepix3 pixel list        | t3p  | hits of a data-driven run, binary |
// | 7    | Timepix3 pixel list (text) | t3pa | the same as text |
// | 8    | Timepix3 raw data          | t3r  | the readout's words |
// | 9    | Timepix3 processed data    | prd  | hits sorted by time |
// | 10   | Picture            | png       | drawn by the user interface, not by the host |
//
// The pixel files (6 to 9, formats in tpx3hitfile.h) hold the hits of Timepix3 data
// objects, not frames; only a Timepix3 is offered them. Their type goes by the ending
// of the name in exact case ("run.t3pa"), as the user interface tells them apart.
//
// The formats are in framefile.h and docs/file-formats.md.
//
// Parameters (params()): the binary frame (3) and the multi-frame file (4) have
// "Compression" (none|zlib; zlib compresses each frame of a binary form) and
// "CompressionLevel" (1..9). The types are the host's, one object each for the whole
// process, so their parameters are shared by every writer of the type: measurements,
// saves of frames and data objects, and scripts. A writer takes them when it starts a
// file, and a file keeps them until it is finished. Text forms are never compressed.
// The other types have no parameters (null).
#pragma once

#include "framefile.h"
#include "hostlog.h"
#include "simparams.h"

#include <outputfilename.h>
#include <ovcore.h>

#include <memory>
#include <string>
#include <vector>

namespace sim {

class SimFrame;
struct FrameData;

// The first code of the pixel files: code = FileTypeTpx3Hits + the format (Tpx3HitFormat).
constexpr int FileTypeTpx3Hits = 6;

class SimFileType final : public ov::IFileType
{
public:
    enum Content {
        Frames,           // frames, text or binary
        CompressedFrames, // binary frames, with the compression parameters
        Hits,             // the hits of Timepix3 data objects
    };
    SimFileType(int code, const char* description, const char* extension, bool multi,
        Content content = Frames);

    // A frame type takes frames (flag 1) and frame sets (data kind 3); pixel lists (kind
    // 2) are not frames. A pixel file takes only Timepix3 hits and clusters (kinds 3, 6).
    bool canSaveFrames(int flag) const override;
    bool holdsHits() const { return m_content == Hits; }
    bool isMultiFrame() const override { return m_multi; }
    int typeCode() const override { return m_code; }
    const char* description() const override { return m_description; }
    const char* extension() const override { return m_extension; }
    ov::IParamMgr* params() override { return m_params.get(); }
    SimParamMgr* paramMgr() const { return m_params.get(); }
    // What the parameters ask of a write now.
    FrameFileOptions writeOptions() const;
    // Back to the defaults: no compression, level 6.
    void resetParams();

private:
    const int m_code;
    const char* const m_description;
    const char* const m_extension;
    const bool m_multi;
    const Content m_content;
    std::unique_ptr<SimParamMgr> m_params;
    SimParam* m_compression = nullptr;
    SimParam* m_level = nullptr;
};

// Every file type of the host, in the order the save dialog offers them. The objects
// live as long as the process.
const std::vector<SimFileType*>& hostFileTypes();
SimFileType* hostFileTypeById(int code);
// The type of a file name by its extension (a description "x.txt.dsc" counts as its
// data file "x.txt"), or by the ending of a pixel file; null when no type has it.
SimFileType* hostFileTypeForPath(const std::string& path);
// Its code, or -1.
int hostFileTypeIdForPath(const std::string& path);
// The write options of the type of a code (the defaults for a code without type).
FrameFileOptions fileOptionsOf(int code);

// The host's answers to the output-naming rules.
class HostOutputFileTypes final : public OutputFileTypes
{
public:
    int multiFrameByName(const std::string& path) const override;
    int multiFrameById(int code) const override;
    int typeIdFromName(const std::string& path) const override;
};

// Where file errors of saves through frames and data objects are logged (they have no
// log of their own). The host sets it at start; owner identifies the setter, so that
// only it can take it away again.
void setFileLog(const void* owner, LogFn fn);
void clearFileLog(const void* owner);
void logFileError(const QString& text);
void logFileLine(unsigned level, const QString& text);

// Writes frames to a file of a type: a multi-frame type takes them all, a single-frame
// type one (several frames go to "<stem>_<index><ext>" files). With the flag
// "sub-frames in one file" a multi-frame file takes each frame's sub-frames after it.
// Errors are logged; 0 or -1.
int saveFramesToFile(
    const std::vector<const SimFrame*>& frames, const std::string& path, int code, unsigned flags);

// The file that frame index of count frames goes to when a single-frame type saves
// them to path: path itself for one frame, otherwise "<stem>_<index><ext>".
std::string frameFileName(const std::string& path, int index, int count);

// A new frame (one reference) from a frame read from a file; null if the host cannot
// make a frame of that type and size.
SimFrame* frameFromFileData(FrameData&& data);

} // namespace sim
