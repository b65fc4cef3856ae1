// Free file helpers: text and binary matrices, directory listing by mask,
// copy, delete and comparison. Plain C++17 with no Qt and no host types.
//
// Every function that returns int gives 0 on success and a negative code on
// failure (see FileOpsResult). None of them throws for an expected failure.
#pragma once

#include "filetypes.h"

#include <cstddef>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

// Text matrices: decimal numbers separated by one blank, a line feed after
// every `width` numbers. Reading ignores the line structure.
int readAsciiMatrix(const std::filesystem::path& path, _DataType type, size_t count, void* data);
int writeAsciiMatrix(const std::filesystem::path& path, _DataType type, void* data, size_t count,
    size_t width, bool append);
int writeAsciiMatrixHex(const std::filesystem::path& path, _DataType type, void* data, size_t count,
    size_t width, bool append);
int getAsciiMatrixDimensions(const std::filesystem::path& path, size_t* width, size_t* height);
int getNumberOfLinesInFile(const std::filesystem::path& path, bool skipEmptyLines);

// Raw bytes.
int readBinary(const std::filesystem::path& path, unsigned char* data, size_t size);
int writeBinary(const std::filesystem::path& path, unsigned char* data, size_t size, bool append);
bool isFilesEqual(
    const std::filesystem::path& a, const std::filesystem::path& b, size_t bufferSize);

// Case-insensitive wildcard masks with "*" and "?".
bool matchMask(const std::filesystem::path& path, const char* mask);
bool matchMaskString(const std::string& name, const std::string& mask);
int listFilesInDir(const std::filesystem::path& dir, const char* mask, bool recursive,
    bool fullPaths, std::vector<std::filesystem::path>& out);
int listFilesInDir(const std::filesystem::path& dir, const char* mask, bool recursive,
    bool fullPaths, std::vector<std::string>& out);

// Whole files and trees.
int copyFileDir(const std::filesystem::path& from, const std::filesystem::path& to);
int deleteFileDir(const std::filesystem::path& path);

// Reads one line including its line feed into a malloc'ed buffer that grows as
// needed (*line and *capacity may start as null and 0). Gives the number of
// bytes read, or -1 at end of file with nothing read, on a read error, on a null
// argument or when memory runs out.
long getline(FILE* stream, char** line, size_t* capacity);
