#include "separegroups.h"

namespace PluginDevControl {

QString separeGroups(QString number, QChar separator)
{
    qsizetype pos = number.indexOf('.');
    if (pos < 0)
        pos = number.size();
    for (pos -= 3; pos > 0; pos -= 3)
        number.insert(pos, separator);
    return number;
}

} // namespace PluginDevControl
