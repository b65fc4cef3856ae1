// The host's frames and data objects alive at one moment, for the check that a test gives
// back every frame and data object it took:
//
//     void init() { m_live0 = livecounts::framesAndData(); }
//     void cleanup() { QCOMPARE(livecounts::framesAndData(), m_live0); }
#pragma once

#include <livecounter.h>

#include <QtTest>

namespace livecounts {

struct FramesAndData
{
    long frames = 0;
    long data = 0;

    bool operator==(const FramesAndData& other) const
    {
        return frames == other.frames && data == other.data;
    }
};

inline FramesAndData framesAndData()
{
    return {sim::liveCount(sim::Counted::Frame), sim::liveCount(sim::Counted::Data)};
}

// How QCOMPARE shows the counts when they differ.
inline char* toString(const FramesAndData& live)
{
    return QTest::toString(
        QStringLiteral("%1 frames, %2 data objects").arg(live.frames).arg(live.data));
}

} // namespace livecounts
