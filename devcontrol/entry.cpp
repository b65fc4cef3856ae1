// The loadable module's only export. Everything else of the plug-in lives in the
// devcontrol_core library and stays hidden (see exports.map).
#include "devcontrol.h"

extern "C" __attribute__((visibility("default"))) void* ovGetPlugin()
{
    return static_cast<ov::IOvPlugin*>(&PluginDevControl::pluginInstance());
}
