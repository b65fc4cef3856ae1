// Owner of one C stream, closed when the owner goes out of scope.
#pragma once

#include <cstdio>
#include <filesystem>

class File
{
public:
    // Opens `path` with fopen and the given mode ("r", "w", "a+", "rb", "wb",
    // "a+b"). A directory is never opened, so that reading one reports an open
    // failure instead of failing later. On failure the stream stays null.
    File(const std::filesystem::path& path, const char* mode);
    ~File();

    File(const File&) = delete;
    File& operator=(const File&) = delete;

    bool isOpen() const { return m_stream != nullptr; }
    FILE* stream() const { return m_stream; }
    const std::filesystem::path& path() const { return m_path; }

    // Closes the stream early and sets it to null. Gives 0, or EOF if
    // buffered data could not be written out.
    int close();

private:
    std::filesystem::path m_path;
    FILE* m_stream = nullptr;
};
