// Helpers for the fuzz targets: the input as a file, and checks that abort so
// that libFuzzer records the input.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <unistd.h>

// Stops the run when an expected property does not hold.
#define FUZZ_CHECK(condition)                                                                      \
    do {                                                                                           \
        if (!(condition)) {                                                                        \
            std::fprintf(stderr, "check failed: %s (%s:%d)\n", #condition, __FILE__, __LINE__);    \
            std::abort();                                                                          \
        }                                                                                          \
    } while (0)

// Writes the fuzz input to a file of this process, replacing the last input.
inline std::filesystem::path inputAsFile(const char* target, const uint8_t* data, size_t size)
{
    static const std::filesystem::path path = std::filesystem::temp_directory_path()
        / (std::string("ov_") + target + "_" + std::to_string(getpid()) + ".txt");
    FILE* f = std::fopen(path.c_str(), "wb");
    FUZZ_CHECK(f != nullptr);
    if (size > 0)
        FUZZ_CHECK(std::fwrite(data, 1, size, f) == size);
    FUZZ_CHECK(std::fclose(f) == 0);
    return path;
}
