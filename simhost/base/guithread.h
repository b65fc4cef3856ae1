// Where the GUI thread is.
#pragma once

namespace sim {

// True on the thread of the application object (the GUI thread). Without an
// application object there is no GUI thread and the answer is false.
bool isGuiThread();
// True when an application object exists.
bool hasApplication();

} // namespace sim

#include <memory>

class QObject;

namespace sim {

// A plain object that lives on the GUI thread (when there is one), used as the target
// of calls queued to that thread: destroying it drops the calls still pending.
std::unique_ptr<QObject> makeGuiContext();

} // namespace sim
