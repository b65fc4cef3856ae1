// Thread-safe lists of plain callbacks registered by plug-ins.
//
// Callers are always invoked on a snapshot taken under the lock and after the lock is
// released, so a callback may call back into the host (register, log, ...) freely.
#pragma once

#include <ovcore.h>

#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace sim {

template <class Fn>
class CallbackList
{
public:
    struct Entry
    {
        Fn fn;
        void* user;
    };

    int add(Fn fn, void* user)
    {
        if (!fn)
            return -1;
        std::lock_guard<std::mutex> lock(m_mutex);
        m_entries.push_back({fn, user});
        return 0;
    }
    // Removes the first entry with this function and user pointer; -1 when there is none.
    int remove(Fn fn, void* user)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        for (auto it = m_entries.begin(); it != m_entries.end(); ++it) {
            if (it->fn == fn && it->user == user) {
                m_entries.erase(it);
                return 0;
            }
        }
        return -1;
    }
    std::vector<Entry> snapshot() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_entries;
    }
    void clear()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_entries.clear();
    }
    size_t size() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_entries.size();
    }
    // Calls every entry as fn(args..., userData), userData being the registered pointer.
    template <class... Args>
    void call(Args... args) const
    {
        for (const Entry& e : snapshot())
            e.fn(args..., reinterpret_cast<long>(e.user));
    }

private:
    mutable std::mutex m_mutex;
    std::vector<Entry> m_entries;
};

// Named events: each name has its own list of ov::EventCallback subscribers.
class EventTable
{
public:
    int add(const char* name, ov::EventCallback fn, void* user)
    {
        if (!name || !*name || !fn)
            return -1;
        std::lock_guard<std::mutex> lock(m_mutex);
        m_events[name].push_back({fn, user});
        return 0;
    }
    // Calls the subscribers of name with (data, userData); returns how many there were.
    int fire(const std::string& name, long data) const
    {
        std::vector<CallbackList<ov::EventCallback>::Entry> entries;
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            const auto it = m_events.find(name);
            if (it == m_events.end())
                return 0;
            entries = it->second;
        }
        for (const auto& e : entries)
            e.fn(data, reinterpret_cast<long>(e.user));
        return static_cast<int>(entries.size());
    }
    size_t count(const std::string& name) const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        const auto it = m_events.find(name);
        return it == m_events.end() ? 0 : it->second.size();
    }
    void clear()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_events.clear();
    }

private:
    mutable std::mutex m_mutex;
    std::map<std::string, std::vector<CallbackList<ov::EventCallback>::Entry>> m_events;
};

} // namespace sim
