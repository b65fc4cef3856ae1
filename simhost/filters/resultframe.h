// The frames filters give back: new host frames that carry over what describes the
// input (acquisition time, name, info source), never its pixels' storage.
#pragma once

namespace sim {

class SimFrame;

// A zero-filled frame of the size and type with the input's acquisition time, name
// and info source, one reference; null for a size or type the host cannot make.
SimFrame* newResultFrame(const SimFrame& input, unsigned width, unsigned height, int dataType);
// A copy of the input's pixels in a new result frame (no sub-frames, no mask).
SimFrame* plainCopy(const SimFrame& input);

} // namespace sim
