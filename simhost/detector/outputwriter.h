// Writes the output files of a measurement: every frame of every round under the name
// the output-naming rules give it (common/outputfilename.h, the same functions the
// plug-in uses to show the first name beforehand).
//
// - The file type is the measurement record's, or the one of the output name's
//   extension when that is 1; the file flags are the record's; the type's parameters
//   (compression) are taken when the measurement starts and hold for all its files.
// - A multi-frame file takes all frames of a round. With the repeat flag "same file"
//   all rounds go to one file, which the first round starts and the others extend.
// - Single-frame files are written one per frame (the name carries the frame index
//   when a round has several frames); a name met again is overwritten.
// - A continued series starts at the first repeat index whose name is free.
// - Missing folders (one per repeat in directory mode) are created.
//
// A file that cannot be written is logged (the first failure in full, the count at
// the end) and the measurement goes on.
#pragma once

#include "acqrecordreader.h"
#include "framefile.h"
#include "hostlog.h"

#include <outputfilename.h>

#include <string>

namespace sim {

class SimFrame;

class OutputWriter
{
public:
    // repeat is null for a measurement without a series. Nothing is written when the
    // output name is empty or its type cannot be written (logged).
    OutputWriter(const AcqRecord& acq, const RepeatRecord* repeat, LogFn log);

    bool active() const { return m_active; }
    const OutputNamePlan& plan() const { return m_plan; }
    // Writes frame acqIndex (from 0) of round `round` (from 0).
    void write(int round, int acqIndex, const SimFrame& frame);
    // Logs what was written and how many files failed.
    void finish();
    // True when output was asked for and some or all of it was not written (logged).
    bool hasFailed() const { return m_refused || m_failures > 0; }

private:
    void failed(const std::string& error);

    LogFn m_log;
    bool m_active = false;
    int m_type = 0;
    unsigned m_flags = 0;
    FrameFileOptions m_options;
    OutputNamePlan m_plan;
    FrameFileWriter m_current; // the multi-frame file being filled
    int m_frames = 0;
    int m_failures = 0;
    bool m_refused = false; // an output name of a type that cannot be written
    std::string m_first;
};

} // namespace sim
