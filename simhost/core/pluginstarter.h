// Starting and stopping a plug-in the way a real host does.
#pragma once

#include <ovcore.h>
#include <ovplugin.h>

namespace sim {

class PluginModule;
class SimHost;

struct StartResult
{
    int initResult = -1;  // of initialize(), -1 when not called
    int startResult = -1; // of onStart(), -1 when not called
    bool ok() const { return initResult == 0 && startResult == 0; }
};

// Calls initialize(host) and then, if that returned 0, onStart() on a host thread that
// is not the GUI thread, while the GUI thread keeps processing events (so the plug-in
// can run code there, blocking or not). Returns once onStart has returned. Must be
// called on the GUI thread; without an application object both calls simply run on a
// separate thread.
StartResult startPlugin(ov::IOvPlugin* plugin, ov::IOrvel* host);

// The shutdown of a host: onClose() on the GUI thread (the caller's), then the host
// forgets the plug-in's callbacks and saves all settings, then the library is unloaded.
// Returns the result of onClose.
int closePlugin(PluginModule& module, SimHost& host);

} // namespace sim
