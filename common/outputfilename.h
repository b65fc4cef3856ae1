// Names of the output files of a measurement: one file, a numbered file per frame, a
// numbered file per repeat of a series, or both numbers in one name.
//
// The plug-in shows the first name of a series before it starts and the host writes
// the files under these names, so both sides call the same functions. Everything here
// is string work on paths with the meaning of std::filesystem::path (parent_path, stem,
// extension, filename and the "/" join); nothing is checked against the disk except
// in the search for a free repeat index of a continued series.
//
// Plain C++17, no Qt, no host types; none of the functions reports errors.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>

// Bits of the repeat record's file flags.
enum RepeatFileFlag : unsigned {
    RepeatFileContinue = 1u << 0, // a new series starts at the first free repeat index
    RepeatFileSubDir = 1u << 1,   // each repeat goes into a directory of its own
    RepeatFileSameFile = 1u << 2, // all repeats write to one name (no repeat index)
};

// File type codes that the naming rules know by number: 1 takes the type from the
// name's extension; 2, 3 and 10 are single-frame types (text frame, binary frame,
// picture); codes above 1000 are asked for by their type object.
enum OutputFileTypeCode : int {
    OutputTypeFromName = 1,
    OutputTypeTextFrame = 2,
    OutputTypeBinaryFrame = 3,
    OutputTypeMultiFrame = 4,
    OutputTypePicture = 10,
};

// stem + prefix + index + suffix + extension, joined to the path's parent directory.
// The index is written in decimal in a field of `width` characters filled with '0' on
// the left (a wider number is not cut, width 0 adds nothing; a negative index keeps
// the fill ahead of its sign: "0-7"). A null prefix or suffix counts as empty.
// Copies at most outSize - 1 bytes into out and terminates it at out[outSize - 1];
// returns out. A null out or an outSize of 0 does nothing.
char* getFileNameIdx(const std::filesystem::path& path, int index, int width, const char* prefix,
    const char* suffix, char* out, unsigned outSize);
// The same through a buffer of 4096 bytes: longer results are cut at 4095 bytes.
std::string getFileNameIdx(const std::filesystem::path& path, int index, int width,
    const char* prefix, const char* suffix);

// stem + suffix + extension in the path's parent directory; null suffix: empty.
std::string getFileNameWithSuffix(const std::filesystem::path& path, const char* suffix);

// The name of frame acqIndex of repeat repeatIndex:
// - repeatDigits > 0 adds the repeat index: "a_r003.dsc", or with subDir a directory
//   named after the parent directory's stem and the index: "/x/out/003/a.dsc" (the
//   parent's extension, if it has one, lands in front of the file name, as in
//   "/x/out/003/.v1a.dsc" for "/x/out.v1/a.dsc");
// - acqDigits != 0 with acqCount >= 2 adds the frame index: "a_r003_0001.dsc".
std::string getRepeatAcqIndexFileName(const std::filesystem::path& path, int repeatIndex,
    int repeatDigits, bool subDir, int acqIndex, int acqDigits, int acqCount);

// Digits of the decimal integer part of n: int(floor(log10(n))) + 1, with n rounded to
// single precision first. Counts below 1 give 1.
int outputIndexDigits(int n);

// The measurement settings that decide the output names.
struct OutputNamingParams
{
    std::string outputFile; // UTF-8 path; empty: no file output
    int fileType = OutputTypeFromName;
    int acqType = 0;              // 0 frames, 1 integral, 2 test pulses, 4 integral test pulses
    int acqCount = 1;             // frames of one measurement (one round of a series)
    bool repeatEnabled = false;   // a series of rounds
    int repeatCount = 0;          // rounds of the series; 0 endless
    unsigned repeatFileFlags = 0; // RepeatFileFlag bits
    int repeatFileDigits = 0;     // digits of the repeat index; 0 chooses them
};

// What the rules need to know of the file types; the host's data manager answers.
class OutputFileTypes
{
public:
    virtual ~OutputFileTypes() = default;
    // Whether the type that the file name selects takes all frames of a measurement:
    // 1 yes, 0 no, -1 there is no such type.
    virtual int multiFrameByName(const std::string& path) const = 0;
    // The same for a type code.
    virtual int multiFrameById(int code) const = 0;
    // The type code that the file name selects (negative: none).
    virtual int typeIdFromName(const std::string& path) const = 0;
};

// Repeat digits and first repeat index of a series. On entry digits holds the
// repeat-file digits of the settings and firstIndex the index to start searching
// from. With repeats the digits follow the repeat count when they are 0; "same file"
// gives digits 0 (the search still uses the real ones). A continued series moves
// firstIndex on to the first index whose name (or, in directory mode, directory) does
// not exist yet, without an upper bound; otherwise firstIndex becomes 0. types may be
// null: then no type is known.
void getFirstRepeatParams(
    const OutputNamingParams& params, const OutputFileTypes* types, int& digits, int& firstIndex);

// Everything needed to name each file of a series.
struct OutputNamePlan
{
    std::string outputFile;
    int repeatDigits = 0; // 0: no repeat index in the names
    int firstIndex = 0;   // repeat index of the first round
    bool subDir = false;
    int acqDigits = 0; // 0: no frame index in the names
    int acqCount = 1;
};

// The plan of a series: frame digits as getFirstOutputFileName decides them, repeat
// digits and first index from getFirstRepeatParams (searching from 0).
OutputNamePlan getOutputNamePlan(const OutputNamingParams& params, const OutputFileTypes* types);

// The file of frame acqIndex (from 0) in round `round` (from 0) of a plan.
std::string outputFileName(const OutputNamePlan& plan, int round, int acqIndex);

// The name of the first file a measurement writes (round 0, frame 0).
std::string getFirstOutputFileName(const OutputNamingParams& params, const OutputFileTypes* types);
