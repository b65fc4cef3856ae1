// A stored frame a filter compares with (a dark or a flat frame), read from a frame
// file with the host's own readers and kept as doubles.
#pragma once

#include <QString>

#include <memory>
#include <string>
#include <vector>

namespace sim {

struct ReferenceFrame
{
    std::string path;
    unsigned width = 0;
    unsigned height = 0;
    std::vector<double> pixels; // row after row
    // Mean of the finite, non-zero pixels, and how many there are.
    double meanNonZero = 0.0;
    size_t nonZeroCount = 0;
};

// The first frame of a frame file (any of the host's frame files, named by its data
// file or its description); null with *error "Cannot read frame file <path>: <why>".
std::shared_ptr<const ReferenceFrame> readReferenceFrame(const std::string& path, QString* error);

} // namespace sim
