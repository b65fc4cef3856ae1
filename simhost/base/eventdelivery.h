// How a device hands its measurement events to the subscribers: directly on the thread
// that raises them (the acquisition thread), or through a queue served by a host event
// thread that the device owns. Both keep the order in which events were posted;
// flush() returns when everything posted before it has been delivered.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace sim {

class EventDelivery
{
public:
    enum Mode {
        Direct,
        HostThread
    };
    // deliver(name, data) calls the subscribers of an event.
    using Deliver = std::function<void(const std::string& name, long data)>;

    explicit EventDelivery(Deliver deliver, Mode mode = Direct);
    // Delivers what is still queued, then ends the event thread.
    ~EventDelivery();
    EventDelivery(const EventDelivery&) = delete;
    EventDelivery& operator=(const EventDelivery&) = delete;

    // Takes effect for events posted afterwards; switching first flushes the queue.
    void setMode(Mode mode);
    Mode mode() const;

    void post(const char* name, long data);
    // Waits until every event posted so far has been delivered. Must not be called from
    // inside a subscriber of the event thread.
    void flush();
    // The id of the host event thread, or a default id while there is none.
    std::thread::id threadId() const;

private:
    void run();

    const Deliver m_deliver;
    mutable std::mutex m_mutex;
    std::condition_variable m_wake;
    std::condition_variable m_idle;
    std::deque<std::pair<std::string, long>> m_queue;
    Mode m_mode;
    bool m_busy = false; // the event thread is inside a delivery
    bool m_stop = false;
    std::thread m_thread;
};

} // namespace sim
