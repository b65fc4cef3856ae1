#include "livecounter.h"

#include <QStringList>

#include <atomic>

namespace sim {

namespace {

constexpr int kKinds = static_cast<int>(Counted::CountOfKinds);

std::atomic<long> g_counts[kKinds];

const char* kindName(int kind)
{
    static const char* const names[kKinds] = {"Device", "Settings", "MenuItem", "Frame", "Data"};
    return names[kind];
}

} // namespace

void adjustLiveCount(Counted kind, int delta)
{
    g_counts[static_cast<int>(kind)].fetch_add(delta, std::memory_order_relaxed);
}

long liveCount(Counted kind)
{
    return g_counts[static_cast<int>(kind)].load(std::memory_order_relaxed);
}

long liveTotal()
{
    long total = 0;
    for (int i = 0; i < kKinds; ++i)
        total += g_counts[i].load(std::memory_order_relaxed);
    return total;
}

QString liveReport()
{
    QStringList parts;
    for (int i = 0; i < kKinds; ++i) {
        const long n = g_counts[i].load(std::memory_order_relaxed);
        if (n != 0)
            parts << QStringLiteral("%1: %2").arg(QLatin1String(kindName(i))).arg(n);
    }
    return parts.join(QStringLiteral(", "));
}

} // namespace sim
