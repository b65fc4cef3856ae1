#include "deviceset.h"

#include "textline.h"

#include <QFile>
#include <QFileInfo>

namespace sim {

const std::vector<KindInfo>& deviceKinds()
{
    static const std::vector<KindInfo> kinds = {
        {ov::DevKindMpx2, "timepix", "mpx2", "Timepix quad", "kalbar", "W"},
        {ov::DevKindTpx3, "timepix3", "tpx3", "Timepix3", "sparrel", "F"},
        {ov::DevKindMpx3, "medipix3", "mpx3", "Medipix3", "hanvik", "M"},
        {ov::DevKindTpx2, "timepix2", "tpx2", "Timepix2", "zoltin", "T"},
        {ov::DevKindFile, "file", "filedev", "File device", "filedev", "Files"},
        {ov::DevKindMotor, "motor", "motors", "Motor", "motors", "Axis"},
        {ov::DevKindXray, "xray", "x-ray", "X-ray source", "xray", "Tube"},
        {ov::DevKindHvSource, "hv", "hvsource", "High-voltage source", "hv", "Supply"},
    };
    return kinds;
}

const KindInfo* kindInfo(int kind)
{
    for (const KindInfo& info : deviceKinds()) {
        if (info.kind == kind)
            return &info;
    }
    return nullptr;
}

bool parseKind(const QString& text, int* kind)
{
    bool isNumber = false;
    const int number = text.toInt(&isNumber);
    for (const KindInfo& info : deviceKinds()) {
        const bool match = isNumber
            ? info.kind == number
            : (text.compare(QLatin1String(info.keyword), Qt::CaseInsensitive) == 0
                || text.compare(QLatin1String(info.alias), Qt::CaseInsensitive) == 0);
        if (match) {
            *kind = info.kind;
            return true;
        }
    }
    return false;
}

namespace {

void applyDefaultGeometry(DeviceDesc& desc)
{
    desc.chips = desc.kind == ov::DevKindMpx2 ? 4 : (desc.isDetector() ? 1 : 0);
    desc.width = desc.height = desc.chips == 4 ? 512 : 256;
    if (!desc.isDetector() && desc.kind != ov::DevKindFile)
        desc.width = desc.height = 0;
    desc.outputs = desc.kind == ov::DevKindHvSource ? 2 : 0;
}

DeviceDesc named(int kind, const char* name, uint32_t serial)
{
    DeviceDesc desc;
    desc.kind = kind;
    applyDefaultGeometry(desc);
    desc.name = QLatin1String(name);
    desc.serial = serial;
    return desc;
}

bool parsePositive(const QString& text, int max, int* out)
{
    bool ok = false;
    const int v = text.toInt(&ok);
    if (!ok || v < 1 || v > max)
        return false;
    *out = v;
    return true;
}

} // namespace

std::vector<DeviceDesc> defaultDeviceSet()
{
    DeviceDesc quad = named(ov::DevKindMpx2, "kalbar W0512", 512);
    quad.factoryConfig = true;
    DeviceDesc medipix2 = named(ov::DevKindMpx2, "tornel B0208", 208);
    medipix2.chips = 1;
    medipix2.width = medipix2.height = 256;
    medipix2.medipix2 = true;
    return {
        quad,
        medipix2,
        named(ov::DevKindTpx3, "sparrel F0317", 317),
        named(ov::DevKindMpx3, "hanvik M0102", 102),
        named(ov::DevKindTpx2, "zoltin T0221", 221),
        named(ov::DevKindFile, "filedev Samples", 1),
        named(ov::DevKindMotor, "motors X-stage", 1101),
        named(ov::DevKindMotor, "motors Y-stage", 1102),
        named(ov::DevKindXray, "xray Tube", 1201),
        named(ov::DevKindHvSource, "hv Supply", 1401),
    };
}

DeviceDesc makeDeviceDesc(int kind, uint32_t serial)
{
    DeviceDesc desc;
    desc.kind = kind;
    desc.serial = serial;
    applyDefaultGeometry(desc);
    const KindInfo* info = kindInfo(kind);
    if (info) {
        desc.name = QStringLiteral("%1 %2%3")
                        .arg(QLatin1String(info->interfaceWord), QLatin1String(info->idPrefix))
                        .arg(serial, 4, 10, QLatin1Char('0'));
    }
    return desc;
}

bool parseDeviceWords(const QStringList& words, DeviceDesc* out, QString* error)
{
    auto fail = [error](const QString& why) {
        if (error)
            *error = why;
        return false;
    };
    if (words.size() < 3)
        return fail(QStringLiteral("expected KIND NAME SERIAL [OPTIONS]"));
    DeviceDesc desc;
    if (!parseKind(words.at(0), &desc.kind))
        return fail(QStringLiteral("unknown device kind '%1'").arg(words.at(0)));
    applyDefaultGeometry(desc);

    // The name is either one quoted word holding a blank, or two words.
    int next = 1;
    if (words.at(1).contains(QLatin1Char(' '))) {
        desc.name = words.at(1).simplified();
        next = 2;
    } else {
        if (words.size() < 4)
            return fail(QStringLiteral("expected KIND NAME SERIAL, NAME being two words"));
        desc.name = words.at(1) + QLatin1Char(' ') + words.at(2);
        next = 3;
    }
    if (desc.name.count(QLatin1Char(' ')) != 1)
        return fail(QStringLiteral("device name '%1' must be two words").arg(desc.name));

    bool ok = false;
    const qulonglong serial = words.at(next).toULongLong(&ok);
    if (!ok || serial > 0xffffffffull)
        return fail(QStringLiteral("bad serial number '%1'").arg(words.at(next)));
    desc.serial = static_cast<uint32_t>(serial);

    bool sizeGiven = false;
    for (int i = next + 1; i < words.size(); ++i) {
        const QString& option = words.at(i);
        const QString key = option.section(QLatin1Char('='), 0, 0).toLower();
        const QString value = option.section(QLatin1Char('='), 1);
        if (key == QLatin1String("edu") && !option.contains(QLatin1Char('='))) {
            desc.education = true;
        } else if (key == QLatin1String("mpx2") && !option.contains(QLatin1Char('='))) {
            if (desc.kind != ov::DevKindMpx2)
                return fail(QStringLiteral("option mpx2 is for kind timepix only"));
            desc.medipix2 = true;
        } else if (key == QLatin1String("factory") && !option.contains(QLatin1Char('='))) {
            if (desc.kind != ov::DevKindMpx2)
                return fail(QStringLiteral("option factory is for kind timepix only"));
            desc.factoryConfig = true;
        } else if (key == QLatin1String("events")) {
            if (value == QLatin1String("thread"))
                desc.eventThread = true;
            else if (value == QLatin1String("direct"))
                desc.eventThread = false;
            else
                return fail(
                    QStringLiteral("bad event delivery '%1' (direct or thread)").arg(value));
        } else if (key == QLatin1String("chips")) {
            if (!parsePositive(value, 64, &desc.chips))
                return fail(QStringLiteral("bad chip count '%1'").arg(value));
        } else if (key == QLatin1String("outputs")) {
            if (!parsePositive(value, 16, &desc.outputs))
                return fail(QStringLiteral("bad output count '%1'").arg(value));
        } else if (key == QLatin1String("size")) {
            const QStringList parts = value.toLower().split(QLatin1Char('x'));
            if (parts.size() != 2 || !parsePositive(parts.at(0), 16384, &desc.width)
                || !parsePositive(parts.at(1), 16384, &desc.height))
                return fail(QStringLiteral("bad size '%1' (expected WxH)").arg(value));
            sizeGiven = true;
        } else {
            return fail(QStringLiteral("unknown option '%1'").arg(option));
        }
    }
    if (!sizeGiven && desc.isDetector()) {
        // Chips of 256 x 256: four make a square quad, others a row.
        desc.width = desc.chips == 4 ? 512 : 256 * desc.chips;
        desc.height = desc.chips == 4 ? 512 : 256;
    }
    *out = desc;
    return true;
}

bool parseDeviceSet(
    const QString& text, const QString& label, std::vector<DeviceDesc>* out, QString* error)
{
    std::vector<DeviceDesc> devices;
    const QStringList lines = text.split(QLatin1Char('\n'));
    for (int i = 0; i < lines.size(); ++i) {
        QStringList words;
        QString why;
        DeviceDesc desc;
        if (!splitWords(lines.at(i), &words, &why)
            || (!words.isEmpty() && !parseDeviceWords(words, &desc, &why))) {
            if (error)
                *error = QStringLiteral("%1:%2: %3").arg(label).arg(i + 1).arg(why);
            return false;
        }
        if (!words.isEmpty())
            devices.push_back(desc);
    }
    *out = devices;
    return true;
}

bool loadDeviceSet(const QString& path, std::vector<DeviceDesc>* out, QString* error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        if (error)
            *error = QStringLiteral("cannot read device set %1: %2").arg(path, file.errorString());
        return false;
    }
    return parseDeviceSet(
        QString::fromUtf8(file.readAll()), QFileInfo(path).fileName(), out, error);
}

} // namespace sim
