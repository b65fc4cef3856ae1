// The series loop of doAdvancedAcquisition, apart from what a device does to make its
// frames.
//
// Order of events (event data in brackets):
//   "AcqMeasStarted" (0)
//   for every round r of the series:
//     "AcqSerieStarted" (r)
//     per frame i = 1..count: "AcqFinished" (i) and, once the frame is stored,
//       "AcqNewData" (index of the new data object in the store)
//     "AcqSerieFinished" (r)
//   "AcqMeasFinished" (result: 0 or the error code)
// The repeat count is read from the live repeat record before every round (and again
// after the delay), so the plug-in can end a series early by writing a smaller count.
#pragma once

#include "acqrecordreader.h"

namespace sim {

class SeriesTarget
{
public:
    virtual ~SeriesTarget() = default;
    virtual void post(const char* event, long data) = 0;
    virtual bool aborted() const = 0;
    // Acquires the frames of one round, posting "AcqFinished" and "AcqNewData";
    // returns AcqOk or an error (AcqErrAborted).
    virtual int runRound(int round) = 0;
};

// Sleeps for seconds unless target is aborted first; false when aborted.
bool waitAbortable(const SeriesTarget& target, double seconds);

// Runs a measurement: one round without a repeat record, else the repeat loop.
int runSeries(SeriesTarget& target, const void* liveRepeatRecord, const RepeatRecord& repeat);

} // namespace sim
