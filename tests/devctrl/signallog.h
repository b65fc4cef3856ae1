// Records the emissions of one signal from any thread, under a lock of its own, so
// that the GUI thread can read them while the acquisition thread still emits.
#pragma once

#include <QObject>
#include <QVariant>

#include <mutex>
#include <vector>

class SignalLog : public QObject
{
public:
    template <typename Sender, typename Signal>
    SignalLog(const Sender* sender, Signal signal)
    {
        connect(
            sender, signal, this,
            [this](auto... args) {
                std::lock_guard<std::mutex> lock(m_mutex);
                m_calls.push_back(QVariantList {QVariant::fromValue(args)...});
            },
            Qt::DirectConnection);
    }

    int count() const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return static_cast<int>(m_calls.size());
    }
    QVariant at(int call, int arg) const
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_calls.at(static_cast<size_t>(call)).at(arg);
    }

private:
    mutable std::mutex m_mutex;
    std::vector<QVariantList> m_calls;
};
