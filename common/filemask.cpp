// Wildcard masks and directory listing by mask.
#include "fileops.h"

#include <cctype>
#include <system_error>

namespace fs = std::filesystem;

namespace {

char lowered(char c)
{
    return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
}

// Appends the matching non-directory entries of `dir`, descending into
// sub-directories if `recursive`. Symbolic links to directories are not
// followed, so a link that points back up the tree cannot loop forever. A
// sub-directory that cannot be read is left out.
void collectMatches(const fs::path& dir, const char* mask, bool recursive, bool fullPaths,
    std::vector<fs::path>& out)
{
    std::error_code ec;
    fs::directory_iterator it(dir, ec);
    const fs::directory_iterator end;
    for (; !ec && it != end; it.increment(ec)) {
        const fs::directory_entry& entry = *it;
        const fs::path name = entry.path().filename();
        if (name == "." || name == "..")
            continue;
        std::error_code typeError;
        if (entry.is_directory(typeError)) {
            if (recursive && !entry.is_symlink(typeError))
                collectMatches(entry.path(), mask, recursive, fullPaths, out);
            continue;
        }
        if (matchMask(name, mask))
            out.push_back(fullPaths ? entry.path() : name);
    }
}

} // namespace

bool matchMaskString(const std::string& name, const std::string& mask)
{
    // Single-backtrack scan: on a mismatch after a "*", let the star swallow
    // one more character of the name and try again from there.
    constexpr size_t noStar = std::string::npos;
    size_t i = 0;
    size_t j = 0;
    size_t star = noStar;
    size_t mark = 0;
    while (i < name.size()) {
        if (j < mask.size()) {
            const char c = mask[j];
            const char s = name[i];
            if (c == '?') {
                // Before any "*", "?" does not stand for the dot of a hidden
                // file or of an extension.
                if (star == noStar && s == '.')
                    return false;
                ++i;
                ++j;
                continue;
            }
            if (lowered(s) == lowered(c)) {
                ++i;
                ++j;
                continue;
            }
            if (c == '*') {
                star = j;
                mark = i;
                ++j;
                continue;
            }
        }
        if (star == noStar)
            return false;
        ++mark;
        i = mark;
        j = star + 1;
    }
    while (j < mask.size() && mask[j] == '*')
        ++j;
    return j == mask.size();
}

bool matchMask(const fs::path& path, const char* mask)
{
    if (!mask)
        return false;
    return matchMaskString(path.string(), mask);
}

int listFilesInDir(const fs::path& dir, const char* mask, bool recursive, bool fullPaths,
    std::vector<fs::path>& out)
{
    if (!mask)
        return FO_ERR_ARG;
    std::error_code ec;
    if (!fs::is_directory(dir, ec))
        return FO_ERR_OPEN;
    // The top directory must be readable; deeper ones are best effort.
    fs::directory_iterator probe(dir, ec);
    if (ec)
        return FO_ERR_OPEN;
    collectMatches(dir, mask, recursive, fullPaths, out);
    return FO_OK;
}

int listFilesInDir(const fs::path& dir, const char* mask, bool recursive, bool fullPaths,
    std::vector<std::string>& out)
{
    std::vector<fs::path> paths;
    const int result = listFilesInDir(dir, mask, recursive, fullPaths, paths);
    for (const fs::path& p : paths)
        out.push_back(p.string());
    return result;
}
