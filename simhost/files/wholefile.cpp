#include "wholefile.h"

#include "cfile.h"
#include "fileops.h"

#include <filesystem>
#include <limits>
#include <system_error>

namespace fs = std::filesystem;

namespace sim {

bool fail(std::string* error, const std::string& text)
{
    if (error)
        *error = text;
    return false;
}

int fail(std::string* error, int code, const std::string& text)
{
    fail(error, text);
    return code;
}

PathKind pathKind(const std::string& path)
{
    std::error_code ec;
    const fs::file_status s = fs::status(fs::path(path), ec);
    switch (s.type()) {
    case fs::file_type::regular:
        return PathFile;
    case fs::file_type::directory:
        return PathDirectory;
    case fs::file_type::not_found:
    case fs::file_type::none:
        return PathMissing;
    default:
        return PathOther;
    }
}

bool checkReadable(const std::string& path, std::string* error)
{
    switch (pathKind(path)) {
    case PathMissing:
        return fail(error, path + ": no such file");
    case PathDirectory:
        return fail(error, path + ": is a directory, not a file");
    case PathOther:
        return fail(error, path + ": not a regular file");
    default:
        return true;
    }
}

bool fileSize(const std::string& path, uint64_t* size, std::string* error)
{
    if (!checkReadable(path, error))
        return false;
    std::error_code ec;
    const uintmax_t n = fs::file_size(fs::path(path), ec);
    if (ec)
        return fail(error, path + ": cannot read its size: " + ec.message());
    *size = n;
    return true;
}

bool readWhole(const std::string& path, uint64_t limit, std::string* out, std::string* error)
{
    uint64_t size = 0;
    if (!fileSize(path, &size, error))
        return false;
    if (size > limit)
        return fail(error, path + ": too large (" + std::to_string(size) + " bytes)");
    out->assign(size_t(size), '\0');
    const int rc
        = readBinary(fs::path(path), reinterpret_cast<unsigned char*>(out->data()), size_t(size));
    if (rc != 0)
        return fail(error, path + ": cannot be read");
    return true;
}

bool readBounded(const std::string& path, uint64_t limit, const std::string& what, std::string* out,
    bool* tooLarge, std::string* error)
{
    *tooLarge = false;
    uint64_t size = 0;
    if (!fileSize(path, &size, error))
        return false;
    if (size > limit) {
        *tooLarge = true;
        return fail(error, path + ": " + std::to_string(size) + " bytes, too large for " + what);
    }
    return readWhole(path, limit, out, error);
}

bool readSlice(
    const std::string& path, uint64_t offset, uint64_t bytes, std::string* out, std::string* error)
{
    File file(fs::path(path), "rb");
    if (!file.isOpen())
        return fail(error, path + ": cannot be opened");
    if (offset > uint64_t(std::numeric_limits<off_t>::max())
        || fseeko(file.stream(), off_t(offset), SEEK_SET) != 0)
        return fail(error, path + ": cannot seek to byte " + std::to_string(offset));
    out->assign(size_t(bytes), '\0');
    if (bytes > 0 && std::fread(out->data(), 1, size_t(bytes), file.stream()) != bytes)
        return fail(error, path + ": ends before byte " + std::to_string(offset + bytes));
    return true;
}

bool writeBytes(const std::string& path, const std::string& bytes, bool append, std::string* error)
{
    if (pathKind(path) == PathDirectory)
        return fail(error, path + ": is a directory, not a file");
    unsigned char empty = 0;
    unsigned char* data = bytes.empty()
        ? &empty
        : reinterpret_cast<unsigned char*>(const_cast<char*>(bytes.data()));
    const int rc = writeBinary(fs::path(path), data, bytes.size(), append);
    if (rc == FO_ERR_OPEN)
        return fail(error, path + ": cannot be opened for writing");
    if (rc != 0)
        return fail(error, path + ": write failed (disk full?)");
    return true;
}

} // namespace sim
