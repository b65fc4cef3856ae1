#ifndef COOLWARMTABLE_H
#define COOLWARMTABLE_H

// The 256 colours of the cool-warm diverging map, as 0xAARRGGBB.
constexpr unsigned int coolWarmTableSize = 256;
extern const unsigned int coolWarmTable[coolWarmTableSize];

#endif // COOLWARMTABLE_H
