// Copying and deleting files and whole directory trees.
#include "fileops.h"

#include <system_error>

namespace fs = std::filesystem;

namespace {

// True if `inner` is `outer` itself or lies somewhere below it. Copying a tree
// into itself would keep finding the copies it has just made.
bool isWithin(const fs::path& inner, const fs::path& outer)
{
    std::error_code ec;
    const fs::path in = fs::weakly_canonical(inner, ec);
    if (ec)
        return false;
    const fs::path out = fs::weakly_canonical(outer, ec);
    if (ec)
        return false;
    auto o = out.begin();
    auto i = in.begin();
    for (; o != out.end(); ++o, ++i) {
        if (*o == fs::path())
            break; // a trailing separator of `outer`
        if (i == in.end() || *i != *o)
            return false;
    }
    return true;
}

int copyTree(const fs::path& from, const fs::path& to)
{
    if (isWithin(to, from))
        return FO_ERR_COPY;
    std::error_code ec;
    fs::create_directories(to, ec);
    if (ec)
        return FO_ERR_COPY;
    fs::recursive_directory_iterator it(from, ec);
    const fs::recursive_directory_iterator end;
    for (; !ec && it != end; it.increment(ec)) {
        const fs::path target = to / fs::relative(it->path(), from, ec);
        if (ec)
            return FO_ERR_COPY;
        if (it->is_directory(ec))
            fs::create_directories(target, ec);
        else if (!ec)
            fs::copy_file(it->path(), target, fs::copy_options::overwrite_existing, ec);
        if (ec)
            return FO_ERR_COPY;
    }
    return ec ? FO_ERR_COPY : FO_OK;
}

} // namespace

int copyFileDir(const fs::path& from, const fs::path& to)
{
    std::error_code ec;
    if (!fs::exists(from, ec))
        return FO_ERR_ARG;
    if (fs::is_directory(from, ec))
        return copyTree(from, to);
    fs::copy_file(from, to, fs::copy_options::overwrite_existing, ec);
    return ec ? FO_ERR_COPY : FO_OK;
}

int deleteFileDir(const fs::path& path)
{
    std::error_code ec;
    fs::remove_all(path, ec);
    return ec ? FO_ERR_OPEN : FO_OK;
}
