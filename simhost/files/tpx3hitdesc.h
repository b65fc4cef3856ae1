// The description file beside a pixel file ("run.t3p.dsc"), in the ini layout of the frame
// descriptions: what the pixel file holds. The dialogs that list frame descriptions so
// list pixel files too, and a reader checks the file against its description.
//
//   [File]
//   Format=1
//   Data=run.t3p
//   Form=t3p
//   Hits=123456
//   Width=256
//   Height=256
#pragma once

#include <cstdint>
#include <string>

namespace sim {

struct Tpx3HitSummary
{
    int format = 0; // Tpx3HitFormat
    uint64_t hits = 0;
    unsigned width = 0;
    unsigned height = 0;
};

// Writes "<dataPath>.dsc" for the pixel file at dataPath; 0, or -1 with the reason.
int writeTpx3HitDescription(
    const std::string& dataPath, const Tpx3HitSummary& summary, std::string* error);
// Reads the description at dscPath and compares it with what its pixel file was found
// to hold; 0, or -1 naming the description and what disagrees.
int checkTpx3HitDescription(
    const std::string& dscPath, const Tpx3HitSummary& found, std::string* error);

} // namespace sim
