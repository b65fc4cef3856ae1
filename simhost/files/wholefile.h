// Whole files for the host's readers and writers: what lies at a path, reading a file
// in one piece, and writing or appending bytes.
//
// Plain C++17 without Qt. Every function gives true on success and false with a
// message that names the path on failure; nothing throws.
#pragma once

#include <cstdint>
#include <string>

namespace sim {

// How the readers and writers of the host's files fail: the message goes to *error (when
// the caller asked for one) and the caller gets false, or the result code it passed.
bool fail(std::string* error, const std::string& text);
int fail(std::string* error, int code, const std::string& text);

enum PathKind : int {
    PathMissing = 0,
    PathFile = 1,
    PathDirectory = 2,
    PathOther = 3, // a device, a socket, ...
};
PathKind pathKind(const std::string& path);

// True for a regular file; otherwise a message (missing, a directory, not a file).
bool checkReadable(const std::string& path, std::string* error);
bool fileSize(const std::string& path, uint64_t* size, std::string* error);
// The whole file, refused when it is larger than limit bytes.
bool readWhole(const std::string& path, uint64_t limit, std::string* out, std::string* error);
// The whole file of a format that is never larger than limit bytes. A larger file cannot be
// one of the format and is refused unread: false, *tooLarge set and "<path>: <size> bytes,
// too large for <what>". Any other failure is one of readWhole, with *tooLarge cleared.
bool readBounded(const std::string& path, uint64_t limit, const std::string& what, std::string* out,
    bool* tooLarge, std::string* error);
// Bytes [offset, offset + bytes) of a file; a file that ends before is an error.
bool readSlice(
    const std::string& path, uint64_t offset, uint64_t bytes, std::string* out, std::string* error);
// Replaces the file with bytes, or appends them.
bool writeBytes(const std::string& path, const std::string& bytes, bool append, std::string* error);

} // namespace sim
