#include "eventdelivery.h"

namespace sim {

EventDelivery::EventDelivery(Deliver deliver, Mode mode)
    : m_deliver(std::move(deliver)), m_mode(mode)
{ }

EventDelivery::~EventDelivery()
{
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_stop = true;
    }
    m_wake.notify_all();
    if (m_thread.joinable())
        m_thread.join();
}

void EventDelivery::setMode(Mode mode)
{
    flush();
    std::lock_guard<std::mutex> lock(m_mutex);
    m_mode = mode;
}

EventDelivery::Mode EventDelivery::mode() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_mode;
}

void EventDelivery::post(const char* name, long data)
{
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        if (m_mode == HostThread) {
            if (!m_thread.joinable())
                m_thread = std::thread([this] { run(); });
            m_queue.emplace_back(name, data);
            lock.unlock();
            m_wake.notify_one();
            return;
        }
    }
    m_deliver(name, data);
}

void EventDelivery::flush()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    if (m_thread.joinable() && std::this_thread::get_id() == m_thread.get_id())
        return;
    m_idle.wait(lock, [this] { return m_queue.empty() && !m_busy; });
}

std::thread::id EventDelivery::threadId() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_thread.get_id();
}

void EventDelivery::run()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    for (;;) {
        m_wake.wait(lock, [this] { return m_stop || !m_queue.empty(); });
        if (m_queue.empty()) {
            if (m_stop)
                return;
            continue;
        }
        auto event = std::move(m_queue.front());
        m_queue.pop_front();
        m_busy = true;
        lock.unlock();
        m_deliver(event.first, event.second);
        lock.lock();
        m_busy = false;
        if (m_queue.empty())
            m_idle.notify_all();
    }
}

} // namespace sim
