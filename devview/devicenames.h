// Names of a device as the host reports them.
#pragma once

#include "ovsdk.h"

#include <QString>

namespace PluginDevControl {

// The full name ("kalbar W0512").
QString deviceFullName(ov::IDev* dev);
// The short name: the interface word from the device information record ("kalbar").
QString deviceShortName(ov::IDev* dev);
// The serial number from the device information record; 0 when unknown.
unsigned deviceSerial(ov::IDev* dev);

} // namespace PluginDevControl
