// The way host parts that are not the host itself write to the host log.
#pragma once

#include <QString>

#include <functional>

namespace sim {

// level is an ov::LogLevel value.
using LogFn = std::function<void(unsigned level, const QString& text)>;

} // namespace sim
