// Digit groups of a number written as text: "1234567.8" with a blank becomes
// "1 234 567.8". Only the digits left of the point are grouped.
#pragma once

#include <QChar>
#include <QString>

namespace PluginDevControl {

QString separeGroups(QString number, QChar separator);

} // namespace PluginDevControl
