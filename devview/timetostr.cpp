#include "timetostr.h"

#include <cmath>

namespace PluginDevControl {

QString timeToStr(double seconds)
{
    const double hours = std::trunc(seconds / 3600.0);
    const double minutes = std::trunc((seconds - hours * 3600.0) / 60.0);
    const double whole = std::trunc(seconds - hours * 3600.0 - minutes * 60.0);
    const double tenth = std::trunc((seconds - std::trunc(seconds)) * 10.0);
    return QString("%1:%2:%3.%4")
        .arg(static_cast<long long>(hours))
        .arg(static_cast<long long>(minutes), 2, 10, QChar('0'))
        .arg(static_cast<long long>(whole), 2, 10, QChar('0'))
        .arg(static_cast<long long>(tenth));
}

} // namespace PluginDevControl
