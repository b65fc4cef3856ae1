#include "guithread.h"

#include <QCoreApplication>
#include <QThread>

namespace sim {

bool hasApplication()
{
    return QCoreApplication::instance() != nullptr;
}

bool isGuiThread()
{
    const QCoreApplication* app = QCoreApplication::instance();
    return app && app->thread() == QThread::currentThread();
}

} // namespace sim

#include <QObject>

namespace sim {

std::unique_ptr<QObject> makeGuiContext()
{
    auto context = std::make_unique<QObject>();
    if (const QCoreApplication* app = QCoreApplication::instance())
        context->moveToThread(app->thread());
    return context;
}

} // namespace sim
