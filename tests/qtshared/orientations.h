#ifndef ORIENTATIONS_H
#define ORIENTATIONS_H

#include <QtGlobal>

// The eight orientations of the picture: rotation and mirror flag as held by
// QMpxImage, and the signed angle they stand for.
struct Orientation
{
    int rotation;
    bool mirrored;
    int angle;
};

inline const Orientation orientations[] = {
    {0, false, 0},
    {90, false, 90},
    {180, false, 180},
    {270, false, 270},
    {90, true, -90},
    {180, true, -180},
    {270, true, -270},
    {0, true, -360},
};

// Data index read for picture pixel (x, y); w and h are the picture's size.
inline qsizetype expectedIndex(int angle, int w, int h, int x, int y)
{
    switch (angle) {
    case 0:
        return w * y + x;
    case 90:
        return (w - 1 - x) * h + y;
    case 180:
        return (h - y) * w - x - 1;
    case 270:
        return h * (x + 1) - y - 1;
    case -90:
        return (w - x) * h - y - 1;
    case -180:
        return (h - 1 - y) * w + x;
    case -270:
        return x * h + y;
    case -360:
        return w * (y + 1) - 1 - x;
    }
    return -1;
}

#endif // ORIENTATIONS_H
