#include "scriptvalues.h"

#include "framefile.h"

#include <cmath>
#include <limits>

namespace sim {

namespace {

struct Named
{
    const char* name;
    int value;
};

// The value of a name in a table, or of a number that one of the names stands for.
template <size_t N>
bool readNamed(const QString& word, const Named (&table)[N], int* value)
{
    for (const Named& entry : table) {
        if (word.compare(QLatin1String(entry.name), Qt::CaseInsensitive) == 0) {
            *value = entry.value;
            return true;
        }
    }
    bool ok = false;
    const int number = word.toInt(&ok);
    if (!ok)
        return false;
    for (const Named& entry : table) {
        if (entry.value == number) {
            *value = number;
            return true;
        }
    }
    return false;
}

const Named kColorMaps[] = {{"gray", 0}, {"jet", 1}, {"jetwhite", 2}, {"hot", 3}, {"cool", 4},
    {"hsl", 5}, {"coolwarm", 6}, {"invertgray", 7}};
const Named kAcqTypes[] = {{"frames", 0}, {"integral", 1}, {"testpulses", 2}, {"pixels", 3},
    {"integraltestpulses", 4}, {"pixelstestpulses", 5}};
const Named kFileTypes[] = {{"auto", 0}, {"txt", FileTypeTextFrame}, {"bin", FileTypeBinaryFrame},
    {"mfd", FileTypeMultiFrame}};
const Named kFileFlags[] = {{"binary", int(FileFlagBinary)}, {"sparse", int(FileFlagSparse)},
    {"nodsc", int(FileFlagNoDescription)}};

} // namespace

bool readInt(const QString& word, int min, int max, int* value, QString* why)
{
    bool ok = false;
    const int number = word.toInt(&ok);
    if (!ok || number < min || number > max) {
        *why = max == std::numeric_limits<int>::max()
            ? QStringLiteral("bad number '%1' (a whole number from %2)").arg(word).arg(min)
            : QStringLiteral("bad number '%1' (a whole number from %2 to %3)")
                  .arg(word)
                  .arg(min)
                  .arg(max);
        return false;
    }
    *value = number;
    return true;
}

bool readNumber(const QString& word, double min, double* value, QString* why)
{
    bool ok = false;
    const double number = word.toDouble(&ok);
    if (!ok || !std::isfinite(number) || number < min) {
        *why = QStringLiteral("bad number '%1' (at least %2)").arg(word).arg(min);
        return false;
    }
    *value = number;
    return true;
}

bool readFlags(const QString& word, unsigned* value, QString* why)
{
    bool ok = false;
    const qulonglong number = word.toULongLong(&ok, 0);
    if (!ok || number > 0xFFFFFFFFull) {
        *why = QStringLiteral("bad flags '%1' (a number, 0x for hexadecimal)").arg(word);
        return false;
    }
    *value = static_cast<unsigned>(number);
    return true;
}

bool readSwitch(const QString& word, bool* value, QString* why)
{
    const QString w = word.toLower();
    if (w == QLatin1String("on") || w == QLatin1String("yes") || w == QLatin1String("true")
        || w == QLatin1String("1")) {
        *value = true;
        return true;
    }
    if (w == QLatin1String("off") || w == QLatin1String("no") || w == QLatin1String("false")
        || w == QLatin1String("0")) {
        *value = false;
        return true;
    }
    *why = QStringLiteral("bad switch '%1' (on or off)").arg(word);
    return false;
}

bool readColorMap(const QString& word, int* index, QString* why)
{
    if (readNamed(word, kColorMaps, index))
        return true;
    *why = QStringLiteral("unknown colour map '%1' (gray, jet, jetwhite, hot, cool, hsl, "
                          "coolwarm, invertgray or 0-7)")
               .arg(word);
    return false;
}

bool readAcqType(const QString& word, int* type, QString* why)
{
    if (readNamed(word, kAcqTypes, type))
        return true;
    *why = QStringLiteral("unknown acquisition type '%1' (frames, integral, testpulses, pixels, "
                          "integraltestpulses, pixelstestpulses or 0 to 5)")
               .arg(word);
    return false;
}

bool readFileType(const QString& word, int* code, QString* why)
{
    if (readNamed(word, kFileTypes, code))
        return true;
    *why = QStringLiteral("unknown file type '%1' (auto, txt, bin, mfd or 2, 3, 4)").arg(word);
    return false;
}

bool readFileFlag(const QString& word, unsigned* flags, QString* why)
{
    int named = 0;
    for (const Named& entry : kFileFlags) {
        if (word.compare(QLatin1String(entry.name), Qt::CaseInsensitive) == 0) {
            named = entry.value;
            break;
        }
    }
    if (named) {
        *flags = unsigned(named);
        return true;
    }
    if (readFlags(word, flags, why))
        return true;
    *why = QStringLiteral("bad file flag '%1' (binary, sparse, nodsc or a number)").arg(word);
    return false;
}

} // namespace sim
