#include "acquisition.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace sim {

bool waitAbortable(const SeriesTarget& target, double seconds)
{
    using Clock = std::chrono::steady_clock;
    if (target.aborted())
        return false;
    if (!(seconds > 0.0))
        return true;
    const Clock::time_point end = Clock::now()
        + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
    const Clock::duration maxSlice = std::chrono::milliseconds(5);
    for (;;) {
        const Clock::time_point now = Clock::now();
        if (now >= end)
            return true;
        std::this_thread::sleep_for(std::min<Clock::duration>(end - now, maxSlice));
        if (target.aborted())
            return false;
    }
}

int runSeries(SeriesTarget& target, const void* liveRepeatRecord, const RepeatRecord& repeat)
{
    int result = AcqOk;
    target.post("AcqMeasStarted", 0);
    for (uint32_t round = 0;; ++round) {
        if (liveRepeatRecord) {
            if (round >= liveRepeatCount(liveRepeatRecord))
                break;
            if (round > 0) {
                if (!waitAbortable(target, repeat.delay)) {
                    result = AcqErrAborted;
                    break;
                }
                if (round >= liveRepeatCount(liveRepeatRecord))
                    break;
            }
        } else if (round > 0) {
            break;
        }
        if (target.aborted()) {
            result = AcqErrAborted;
            break;
        }
        const long r = static_cast<long>(round);
        target.post("AcqSerieStarted", r);
        result = target.runRound(static_cast<int>(round));
        target.post("AcqSerieFinished", r);
        if (result != AcqOk)
            break;
    }
    target.post("AcqMeasFinished", result);
    return result;
}

} // namespace sim
