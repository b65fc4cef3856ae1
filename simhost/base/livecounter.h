// Counts of live host objects, for leak checks in tests and at exit.
//
// Every counted object holds a LiveToken member: the count goes up when the object is
// built and down when it is destroyed. The counts are atomic, so objects may come and
// go on any thread.
#pragma once

#include <QString>

namespace sim {

enum class Counted : int {
    Device = 0,
    Settings,
    MenuItem,
    Frame,
    Data,
    CountOfKinds
};

// Number of objects of this kind alive right now.
long liveCount(Counted kind);
// Sum over all kinds.
long liveTotal();
// "Device: 2, MenuItem: 10" for the kinds that have live objects; empty when none.
QString liveReport();

template <Counted Kind>
class LiveToken
{
public:
    LiveToken() { adjust(+1); }
    LiveToken(const LiveToken&) { adjust(+1); }
    LiveToken& operator=(const LiveToken&) { return *this; }
    ~LiveToken() { adjust(-1); }

private:
    static void adjust(int delta);
};

void adjustLiveCount(Counted kind, int delta);

template <Counted Kind>
void LiveToken<Kind>::adjust(int delta)
{
    adjustLiveCount(Kind, delta);
}

} // namespace sim
