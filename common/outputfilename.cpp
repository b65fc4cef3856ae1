#include "outputfilename.h"

#include <cmath>
#include <cstring>
#include <iomanip>
#include <locale>
#include <sstream>
#include <system_error>

namespace fs = std::filesystem;

namespace {

constexpr unsigned kNameBufferSize = 4096;

std::string indexText(int index, int width)
{
    // A stream, so that a negative index gets its fill ahead of the sign, and the
    // classic locale, so that no digit grouping creeps in.
    std::ostringstream out;
    out.imbue(std::locale::classic());
    out << std::setw(width) << std::setfill('0') << index;
    return out.str();
}

} // namespace

char* getFileNameIdx(const fs::path& path, int index, int width, const char* prefix,
    const char* suffix, char* out, unsigned outSize)
{
    if (!out || outSize == 0)
        return out;
    std::string name = path.stem().string();
    name += prefix ? prefix : "";
    name += indexText(index, width);
    name += suffix ? suffix : "";
    name += path.extension().string();
    const std::string result = (path.parent_path() / fs::path(name)).string();
    std::strncpy(out, result.c_str(), outSize - 1);
    out[outSize - 1] = '\0';
    return out;
}

std::string getFileNameIdx(
    const fs::path& path, int index, int width, const char* prefix, const char* suffix)
{
    char buffer[kNameBufferSize];
    return getFileNameIdx(path, index, width, prefix, suffix, buffer, kNameBufferSize);
}

std::string getFileNameWithSuffix(const fs::path& path, const char* suffix)
{
    std::string name = path.stem().string();
    name += suffix ? suffix : "";
    name += path.extension().string();
    return (path.parent_path() / fs::path(name)).string();
}

std::string getRepeatAcqIndexFileName(const fs::path& path, int repeatIndex, int repeatDigits,
    bool subDir, int acqIndex, int acqDigits, int acqCount)
{
    std::string name = path.string();
    if (repeatDigits > 0) {
        if (!subDir) {
            name = getFileNameIdx(path, repeatIndex, repeatDigits, "_r", nullptr);
        } else {
            // The directory is named like a file: its stem, "/", the index, "/" and
            // its extension, so that the file name follows directly.
            const fs::path dir = path.parent_path();
            const std::string file = path.filename().string();
            const std::string d
                = getFileNameIdx(dir, repeatIndex, repeatDigits, dir.empty() ? nullptr : "/", "/");
            name = d + file;
        }
    }
    if (acqDigits != 0 && acqCount >= 2)
        return getFileNameIdx(fs::path(name), acqIndex, acqDigits, "_", nullptr);
    return name;
}

int outputIndexDigits(int n)
{
    if (n < 1)
        return 1;
    const double value = static_cast<double>(static_cast<float>(n));
    return static_cast<int>(std::floor(std::log10(value))) + 1;
}

namespace {

// Whether one file takes all frames, judged only by the type object.
bool multiFrameByTypeObject(const OutputNamingParams& p, const OutputFileTypes* types)
{
    if (p.outputFile.empty() || !types)
        return false;
    const int answer = p.fileType == OutputTypeFromName ? types->multiFrameByName(p.outputFile)
                                                        : types->multiFrameById(p.fileType);
    return answer == 1;
}

// Frame digits of the names as the first output name decides them.
int firstNameAcqDigits(const OutputNamingParams& p, const OutputFileTypes* types)
{
    int t = p.fileType;
    if (t == OutputTypeFromName)
        t = types ? types->typeIdFromName(p.outputFile) : -1;
    bool multi = true;
    const int byObject = (t > 1000 && types) ? types->multiFrameById(t) : -1;
    if (byObject >= 0)
        multi = byObject == 1;
    else
        multi = !(t == OutputTypeTextFrame || t == OutputTypeBinaryFrame || t == OutputTypePicture);

    int acqDigits = 0;
    if (!multi) {
        if (p.acqCount != 1)
            acqDigits = p.acqCount == 0 ? 1 : outputIndexDigits(p.acqCount);
        else if (p.repeatEnabled && p.repeatCount != 1)
            acqDigits = 1;
    }
    // An integral measurement yields one frame.
    if (p.acqType == 1 || p.acqType == 4)
        acqDigits = 0;
    return acqDigits;
}

} // namespace

void getFirstRepeatParams(
    const OutputNamingParams& p, const OutputFileTypes* types, int& digits, int& firstIndex)
{
    const bool multi = multiFrameByTypeObject(p, types);

    int acqDigits = 0;
    if (!multi) {
        if (p.acqCount == 0)
            acqDigits = 1;
        else if (p.acqCount == 1)
            acqDigits = p.repeatCount != 1 ? 1 : 0;
        else
            acqDigits = outputIndexDigits(p.acqCount);
    }

    const unsigned flags = p.repeatFileFlags;
    const bool subDir = (flags & RepeatFileSubDir) != 0;
    const bool continueSeries = (flags & RepeatFileContinue) != 0;

    int limit = 1;
    int useDigits = digits;
    bool endless = false;
    if (!p.repeatEnabled || (p.acqCount == 1 && p.repeatCount == 1)) {
        limit = 1;
        useDigits = digits;
    } else {
        limit = p.repeatCount;
        if (p.repeatCount > 0) {
            useDigits = digits;
            if (useDigits == 0 && p.repeatCount != 1)
                useDigits = digits = outputIndexDigits(p.repeatCount);
        } else if (p.repeatCount == 0) {
            useDigits = digits = 1;
            endless = true;
        } else {
            useDigits = 0;
        }
    }

    // "Same file": no repeat index in the names, but the search below still looks for
    // the numbered names.
    if ((flags & RepeatFileSameFile) && !endless)
        digits = 0;

    if (limit < 2 || !continueSeries) {
        firstIndex = 0;
        return;
    }
    int index = firstIndex;
    if (limit <= index)
        return;
    for (;;) {
        fs::path candidate = getRepeatAcqIndexFileName(
            fs::path(p.outputFile), index, useDigits, subDir, 0, acqDigits, p.acqCount);
        // In directory mode it is the directory that must be free.
        if (subDir)
            candidate = candidate.parent_path();
        std::error_code ec;
        const fs::file_type type = fs::status(candidate, ec).type();
        if (type == fs::file_type::not_found || type == fs::file_type::none)
            return;
        ++firstIndex;
        const int old = index++;
        if (old >= limit)
            return;
        ++limit;
    }
}

OutputNamePlan getOutputNamePlan(const OutputNamingParams& params, const OutputFileTypes* types)
{
    OutputNamePlan plan;
    plan.outputFile = params.outputFile;
    plan.acqDigits = firstNameAcqDigits(params, types);
    plan.acqCount = params.acqCount;
    plan.subDir = (params.repeatFileFlags & RepeatFileSubDir) != 0;
    int digits = params.repeatFileDigits;
    int first = 0;
    getFirstRepeatParams(params, types, digits, first);
    plan.repeatDigits = digits;
    plan.firstIndex = first;
    return plan;
}

std::string outputFileName(const OutputNamePlan& plan, int round, int acqIndex)
{
    return getRepeatAcqIndexFileName(fs::path(plan.outputFile), plan.firstIndex + round,
        plan.repeatDigits, plan.subDir, acqIndex, plan.acqDigits, plan.acqCount);
}

std::string getFirstOutputFileName(const OutputNamingParams& params, const OutputFileTypes* types)
{
    return outputFileName(getOutputNamePlan(params, types), 0, 0);
}
