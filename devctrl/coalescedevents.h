// Carries frequent events from a host thread to the GUI thread without flooding it.
//
// The host side marks what happened (one bit per kind of event) and posts a delivery
// only when the previous one has been taken; the GUI side takes every mark at once and
// reads the latest values itself (they live in atomics beside this object). So however
// fast the host fires, at most one delivery is queued at any time, and the last event
// always leads to a delivery that sees its values.
#pragma once

#include <atomic>

namespace PluginDevControl {

class CoalescedEvents
{
public:
    // Host side, after the values of the events have been stored: marks events and
    // answers true when the caller must post a delivery.
    bool mark(unsigned events)
    {
        m_events.fetch_or(events);
        return !m_posted.exchange(true);
    }

    // GUI side, first thing in a delivery: the events marked since the last take. A
    // mark that comes after this posts again, so nothing is lost.
    unsigned take()
    {
        m_posted.store(false);
        return m_events.exchange(0u);
    }

    // True while a delivery is queued and not yet taken.
    bool posted() const { return m_posted.load(); }

private:
    std::atomic<unsigned> m_events {0u};
    std::atomic<bool> m_posted {false};
};

} // namespace PluginDevControl
