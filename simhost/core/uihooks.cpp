#include "uihooks.h"

#include "guithread.h"
#include "simmenu.h"

#include <QMetaObject>
#include <QObject>

#include <future>
#include <memory>

namespace sim {

UiHooks::UiHooks(SimMenu& menu) : m_menu(menu), m_context(makeGuiContext()) { }

UiHooks::~UiHooks() = default;

const ov::IMenuItem* UiHooks::menuRoot()
{
    return m_menu.root();
}

int UiHooks::runOnUiThread(ov::UiThreadFunc fn, void* arg, int flag)
{
    if (!fn)
        return -1;
    if (!hasApplication())
        return -2;
    const unsigned long value = reinterpret_cast<unsigned long>(arg);
    if (isGuiThread()) {
        fn(value);
        return 0;
    }
    if (flag != 1) {
        const bool queued = QMetaObject::invokeMethod(
            m_context.get(), [fn, value]() { fn(value); }, Qt::QueuedConnection);
        return queued ? 0 : -1;
    }
    // Waits through a promise rather than a blocking queued call: the hand-over then
    // goes through the C++ library's own synchronisation, which ThreadSanitizer sees
    // (Qt's own, uninstrumented, it does not).
    auto done = std::make_shared<std::promise<void>>();
    std::future<void> finished = done->get_future();
    const bool queued = QMetaObject::invokeMethod(
        m_context.get(),
        [fn, value, done]() {
            fn(value);
            done->set_value();
        },
        Qt::QueuedConnection);
    if (!queued)
        return -1;
    finished.wait();
    return 0;
}

int UiHooks::registerMenuChanged(ov::EventCallback cb, void* user)
{
    return m_menu.registerChanged(cb, user);
}

} // namespace sim
