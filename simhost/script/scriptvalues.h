// The values that script commands take, read from their words. Each reader gives false
// and a message naming the bad word when the word is not a value of its kind.
#pragma once

#include <QString>

namespace sim {

// A whole number from min to max.
bool readInt(const QString& word, int min, int max, int* value, QString* why);
// A finite number, at least min.
bool readNumber(const QString& word, double min, double* value, QString* why);
// Flags: a number (decimal, or hexadecimal with 0x) that fits 32 bits.
bool readFlags(const QString& word, unsigned* value, QString* why);
// on, off, yes, no, true, false, 1 or 0 (any case).
bool readSwitch(const QString& word, bool* value, QString* why);
// A colour map by name (gray, jet, jetwhite, hot, cool, hsl, coolwarm, invertgray) or
// its number 0-7.
bool readColorMap(const QString& word, int* index, QString* why);
// An acquisition type by name (frames, integral, testpulses, integraltestpulses) or its
// number (0, 1, 2, 4).
bool readAcqType(const QString& word, int* type, QString* why);
// A host data file type by extension (txt, bin, mfd) or code (2, 3, 4); "auto" gives 0,
// meaning "from the file name".
bool readFileType(const QString& word, int* code, QString* why);
// Flags of a data file: binary, sparse, nodsc, or a number.
bool readFileFlag(const QString& word, unsigned* flags, QString* why);

} // namespace sim
