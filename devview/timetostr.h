// Elapsed time as the status bar shows it: "h:mm:ss.t".
#pragma once

#include <QString>

namespace PluginDevControl {

QString timeToStr(double seconds);

} // namespace PluginDevControl
