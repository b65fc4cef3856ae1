// The GUI thread's event loop for benchmarks that run the plug-in: runs it, as the
// application does, until a condition holds or for a time.
#pragma once

#include <QElapsedTimer>
#include <QEventLoop>
#include <QObject>
#include <QTimer>

#include <functional>

// Runs the event loop until done() holds (checked every millisecond) or timeoutMs have
// passed; whether done() holds.
inline bool runUntil(const std::function<bool()>& done, int timeoutMs)
{
    if (done())
        return true;
    QEventLoop loop;
    QTimer poll;
    poll.setInterval(1);
    QObject::connect(&poll, &QTimer::timeout, [&] {
        if (done())
            loop.quit();
    });
    QTimer::singleShot(timeoutMs, &loop, &QEventLoop::quit);
    poll.start();
    loop.exec();
    return done();
}

// Runs the event loop for ms milliseconds.
inline void runFor(int ms)
{
    QElapsedTimer clock;
    clock.start();
    runUntil([&] { return clock.elapsed() >= ms; }, ms + 1000);
}
