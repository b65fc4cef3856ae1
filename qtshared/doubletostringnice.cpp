#include "doubletostringnice.h"

#include <sstream>

QString doubleToStringNice(double value)
{
    std::ostringstream stream;
    stream.precision(5);
    stream << value;
    if (!stream)
        return QString();
    return QString::fromStdString(stream.str());
}
