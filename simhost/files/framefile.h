// The host's frame files: writing frames and reading them back.
//
// A frame file holds one frame (types 2 and 3) or any number of frames (type 4) in one
// of four forms: text matrix, text sparse, binary matrix, binary sparse. Beside it, the
// description file "<data file>.dsc" tells what each frame is (pixel type, size,
// acquisition time, name) and where it lies in the data file. The formats are
// documented for users in docs/file-formats.md.
//
// The binary forms may be compressed (each frame a zlib block, zlibblock.h; the file
// type's parameter "Compression" asks for it); the description says so.
//
// Plain C++17 without Qt types (zlibblock.h hides QtCore's zlib), so that the readers
// can be fuzzed on their own. Nothing
// throws for a damaged file: every function gives 0 or a count on success and -1 with
// a message naming the file (and the line of a description) on failure, and a
// failed read leaves no frame behind.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace sim {

// File type codes of the host.
enum FrameFileType : int {
    FileTypeTextFrame = 2,   // one frame, text matrix
    FileTypeBinaryFrame = 3, // one frame, binary matrix
    FileTypeMultiFrame = 4,  // any number of frames; the form follows the flags
    FileTypePicture = 10,    // a picture of the display, drawn by the user interface
};

// Bits of the file flags of a save or of a measurement.
enum FrameFileFlag : unsigned {
    FileFlagBinary = 1u << 1,           // multi-frame files: binary instead of text
    FileFlagSparse = 1u << 2,           // multi-frame files: non-zero pixels only
    FileFlagNoDescription = 1u << 5,    // no "*.dsc" file beside the data
    FileFlagSubFramesOneFile = 1u << 7, // sub-frames in one file (not used yet)
};

// Largest frame a file may describe: 16 Mi pixels (4096 x 4096). A damaged
// description cannot make the reader allocate more.
constexpr uint64_t kMaxFramePixels = uint64_t(1) << 24;
constexpr unsigned kMaxFrameSide = 1u << 16;

struct FrameEntry;

// How the frames of a binary form are stored.
enum FrameCompression : int {
    CompressNone = 0,
    CompressZlib = 1, // each frame one zlib block (zlibblock.h)
};

struct FileForm
{
    bool binary = false;
    bool sparse = false;
    bool description = true;
    int compression = CompressNone; // binary forms only
};

// What a write takes from elsewhere than the flags: the file type's parameters.
// Compression acts on binary forms only; text stays text.
struct FrameFileOptions
{
    int compression = CompressNone;
    int level = 6; // zlib level, 1 to 9
};

// The form a type writes with these flags (and options); false for a type the host
// cannot write.
bool fileFormOf(int typeCode, unsigned flags, FileForm* out, const FrameFileOptions& options = {});
const char* formName(const FileForm& form);   // "text matrix", "binary sparse", ...
const char* compressionName(int compression); // "none", "zlib"
// The plain bytes of a frame of an entry in a form (before compression).
uint64_t plainFrameBytes(const FrameEntry& entry, const FileForm& form);

// Bytes of one pixel of a frame type (2, 5, 7, 9); 0 for others.
size_t pixelBytes(int dataType);

// A frame to write; pixels in the frame's own type, row after row.
struct FrameView
{
    int dataType = 0;
    unsigned width = 0;
    unsigned height = 0;
    double acqTime = 0.0;
    std::string name;
    const void* pixels = nullptr;
};

// A frame read back.
struct FrameData
{
    int dataType = 0;
    unsigned width = 0;
    unsigned height = 0;
    double acqTime = 0.0;
    std::string name;
    std::vector<unsigned char> pixels;
};

// One frame as a description lists it.
struct FrameEntry
{
    std::string name;
    int dataType = 0;
    unsigned width = 0;
    unsigned height = 0;
    double acqTime = 0.0;
    uint64_t offset = 0;  // first byte of the frame in the data file
    uint64_t bytes = 0;   // bytes of the frame in the data file (compressed, if it is)
    uint64_t entries = 0; // numbers (matrix) or index/value pairs (sparse)
    int line = 0;         // line of its section in the description, for messages
};

struct Description
{
    int fileType = 0;
    FileForm form;
    std::string dataFile; // as written; the reader uses the description's own name
    std::vector<FrameEntry> frames;
};

// Description text. parseDescription checks the syntax and every value; it does not
// look at the data file. origin names the text in messages.
std::string descriptionHeader(int fileType, const FileForm& form, const std::string& dataFile);
std::string descriptionSection(int index, const FrameEntry& entry);
int parseDescription(
    const std::string& text, const std::string& origin, Description* out, std::string* error);

// A frame in the form, as it lies in the data file (compressed with level when the form
// is); entries receives the count of numbers or pairs. False for a bad frame (type,
// size, null pixels).
bool encodeFrame(const FrameView& frame, const FileForm& form, std::string* out, uint64_t* entries,
    std::string* error, int level = 6);
// The frame of an entry from its bytes (exactly entry.bytes of them).
int decodeFrame(const FrameEntry& entry, const FileForm& form, const char* data, size_t size,
    FrameData* out, std::string* error);

// A text file without description: matrices separated by empty lines, every row of a
// matrix as long as its first. The pixel type is the smallest that holds the values:
// int16, uint32, uint64, else double. Gives the number of matrices (index -1) or fills
// out with matrix `index` (time 0, no name) and gives 0.
int parseTextMatrices(const char* data, size_t size, int index, FrameData* out, std::string* error);

// Names.
std::string descriptionPathOf(const std::string& dataPath); // dataPath + ".dsc"
// The data file a name stands for: itself, or without ".dsc" when it names a description.
std::string dataPathOf(const std::string& path);
// The type of a name by its extension (of the data file when the name is a
// description): "txt" 2, "bin" 3, "mfd" 4, "png" 10; -1 for others.
int fileTypeFromPath(const std::string& path);

// Writes a file frame by frame. create() replaces the data file and its description;
// append() adds a frame to both. A single-frame type takes one frame.
class FrameFileWriter
{
public:
    int create(const std::string& path, int fileType, unsigned flags, std::string* error,
        const FrameFileOptions& options = {});
    int append(const FrameView& frame, std::string* error);
    int frameCount() const { return m_count; }
    const std::string& path() const { return m_path; }
    bool isOpen() const { return m_open; }

private:
    std::string m_path;
    std::string m_dscPath;
    int m_type = 0;
    FileForm m_form;
    int m_level = 6;
    bool m_open = false;
    int m_count = 0;
    uint64_t m_offset = 0;
};

// Whether the host can write these frames to a file of the type and flags; false with
// *error set (naming path) when not. Nothing on disk is touched.
bool canWriteFrames(const std::string& path, int fileType, unsigned flags,
    const std::vector<FrameView>& frames, std::string* error);
// Writes frames to a new file of the type (a single-frame type takes exactly one).
int writeFrameFile(const std::string& path, int fileType, unsigned flags,
    const std::vector<FrameView>& frames, std::string* error, const FrameFileOptions& options = {});
// Frames in a file (named by its data file or by its description), or -1.
int countFramesInFile(const std::string& path, std::string* error);
// Frame `index` of a file, or -1 (and out untouched). A frame of a file without
// description is named after the file ("a.txt", "a.mfd [2]").
int readFrameFromFile(const std::string& path, int index, FrameData* out, std::string* error);

} // namespace sim
