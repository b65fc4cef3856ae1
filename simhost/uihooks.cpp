#include "uihooks.h"

#include "guithread.h"
#include "simmenu.h"

#include <QMetaObject>
#include <QObject>

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
    const Qt::ConnectionType type = flag == 1 ? Qt::BlockingQueuedConnection : Qt::QueuedConnection;
    const bool queued = QMetaObject::invokeMethod(
        m_context.get(), [fn, value]() { fn(value); }, type);
    return queued ? 0 : -1;
}

int UiHooks::registerMenuChanged(ov::EventCallback cb, void* user)
{
    return m_menu.registerChanged(cb, user);
}

} // namespace sim
