// Saving frames one call at a time into one multi-frame file.
//
// The user interface saves the frames of a measurement with one call per frame, all to
// the same name. The host keeps such a file open between the calls: a frame is appended
// when it comes right after the last frame written to that name (same flags, same
// origin, a later serial) and nothing else has changed the file or its description
// since. Any other frame starts the file anew, so saving a measurement a second time,
// or another measurement, to the same name replaces the file.
#pragma once

#include "framefile.h"

#include <cstdint>
#include <string>
#include <vector>

namespace sim {

class SimFrame;

// Writes views (the frame, and its sub-frames when the flags ask for them) to path,
// appending or starting anew as described above (a change of the options starts anew
// as well). 0, or -1 with *error set.
int saveToMultiFrameSeries(const SimFrame& frame, const std::vector<FrameView>& views,
    const std::string& path, unsigned flags, const FrameFileOptions& options, std::string* error);

// The file at path was written whole by other means: the next frame starts it anew.
void endMultiFrameSeries(const std::string& path);

// The origin of the frames read back from one file: the same for every read of that
// file in this process, so that its frames, saved again one by one, go into one file.
uint64_t originOfFile(const std::string& path);

} // namespace sim
