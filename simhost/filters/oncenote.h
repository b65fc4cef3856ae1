// A reason told once: a filter asked for every frame says why it cannot work only when
// the reason is new, not ten times a second.
#pragma once

#include <QString>

#include <mutex>

namespace sim {

class OnceNote
{
public:
    // True when why differs from the reason told last (and it becomes the last one).
    bool take(const QString& why)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (why == m_last)
            return false;
        m_last = why;
        return true;
    }
    // The filter works again, or its settings changed: the next reason is told anew.
    void clear()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_last.clear();
    }

private:
    std::mutex m_mutex;
    QString m_last;
};

} // namespace sim
