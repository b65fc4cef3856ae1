#ifndef DOUBLETOSTRINGNICE_H
#define DOUBLETOSTRINGNICE_H

#include <QString>

// A number as short text for axes and colour bar: five significant digits in the
// default float format of a text stream ("255", "0.1", "1.2346e+05"); empty if
// the stream fails.
QString doubleToStringNice(double value);

#endif // DOUBLETOSTRINGNICE_H
