// Pixel files of the Timepix3 as the host's data: written with their description file
// ("run.t3p" and "run.t3p.dsc"), and opened again as one finished run of one chunk, so
// that a file shows as the frame of its hits (integral or faded) and saves again like
// the last data object of a measurement.
#pragma once

#include <ovdetector.h>

#include <string>

namespace sim {

// Writes the hits to the pixel file at path (its format by the ending of the name) and
// its description; 0, or -1 with the reason in error.
int saveTpx3HitFile(const std::string& path, const ov::Tpx3Hit* hits, size_t count, unsigned width,
    unsigned height, std::string* error);

// The hits of a pixel file as a data object of kind DataTpx3Pixels with one reference;
// null with the reason in error when the file is not a pixel file or cannot be read
// whole. path is the pixel file or its description; a description present must agree
// with the file.
ov::IData* loadTpx3HitFile(const std::string& path, std::string* error);

} // namespace sim
