// Raw byte files and byte-wise comparison.
#include "cfile.h"
#include "fileops.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <system_error>
#include <vector>

int readBinary(const std::filesystem::path& path, unsigned char* data, size_t size)
{
    File file(path, "rb");
    if (!file.isOpen())
        return FO_ERR_OPEN;
    if (size == 0)
        return FO_OK;
    if (!data)
        return FO_ERR_ARG;
    if (std::fread(data, 1, size, file.stream()) != size)
        return FO_ERR_READ;
    return FO_OK;
}

int writeBinary(const std::filesystem::path& path, unsigned char* data, size_t size, bool append)
{
    // Checked before opening so that a bad call does not truncate the file.
    if (!data && size > 0)
        return FO_ERR_ARG;
    File file(path, append ? "a+b" : "wb");
    if (!file.isOpen())
        return FO_ERR_OPEN;
    if (size > 0 && std::fwrite(data, 1, size, file.stream()) != size)
        return FO_ERR_WRITE;
    // Buffered bytes reach the disk only here; a full disk shows up now.
    if (file.close() != 0)
        return FO_ERR_WRITE;
    return FO_OK;
}

bool isFilesEqual(const std::filesystem::path& a, const std::filesystem::path& b, size_t bufferSize)
{
    // Blocks are at least 1 KiB; the upper bound only limits memory use.
    constexpr size_t minBlock = 1024;
    constexpr size_t maxBlock = size_t(16) << 20;
    const size_t block = std::clamp(bufferSize, minBlock, maxBlock);

    File fileA(a, "rb");
    File fileB(b, "rb");
    if (!fileA.isOpen() || !fileB.isOpen())
        return false;
    std::error_code ecA;
    std::error_code ecB;
    const auto sizeA = std::filesystem::file_size(a, ecA);
    const auto sizeB = std::filesystem::file_size(b, ecB);
    if (ecA || ecB || sizeA != sizeB)
        return false;

    std::vector<unsigned char> bufA;
    std::vector<unsigned char> bufB;
    try {
        bufA.resize(block);
        bufB.resize(block);
    } catch (const std::bad_alloc&) {
        return false;
    }
    for (;;) {
        const size_t readA = std::fread(bufA.data(), 1, block, fileA.stream());
        const size_t readB = std::fread(bufB.data(), 1, block, fileB.stream());
        if (readA != readB || std::memcmp(bufA.data(), bufB.data(), readA) != 0)
            return false;
        if (readA < block)
            return !std::ferror(fileA.stream()) && !std::ferror(fileB.stream());
    }
}
