#include "devicecfgfile.h"

#include "inifile.h"
#include "wholefile.h"

#include <QDir>
#include <QFileInfo>

#include <cmath>

namespace sim {

namespace {

const QString kDevice = QStringLiteral("Device");
const QString kFiles = QStringLiteral("Files");
const QString kSettings = QStringLiteral("Settings");
const QString kTimepix = QStringLiteral("Timepix");
const QString kMedipix2 = QStringLiteral("Medipix2");

// Reads the keys of a parsed file; the first problem is kept.
class Reader
{
public:
    Reader(const ini::Values& values, const QString& path) : m_values(values), m_path(path) { }

    bool has(const QString& section, const char* key) const
    {
        return m_values.value(section).contains(QLatin1String(key));
    }
    QString text(const QString& section, const char* key)
    {
        if (!has(section, key))
            fail(QStringLiteral("[%1] %2 is missing").arg(section, QLatin1String(key)));
        return m_values.value(section).value(QLatin1String(key));
    }
    long long integer(const QString& section, const char* key, long long min, long long max)
    {
        const QString t = text(section, key);
        bool ok = false;
        const long long v = t.toLongLong(&ok);
        if (m_error.isEmpty() && (!ok || v < min || v > max || t.startsWith(QLatin1Char('+'))))
            fail(QStringLiteral("[%1] %2=%3 is not a whole number from %4 to %5")
                     .arg(section, QLatin1String(key), t)
                     .arg(min)
                     .arg(max));
        return v;
    }
    double number(const QString& section, const char* key, double min, double max)
    {
        const QString t = text(section, key);
        bool ok = false;
        const double v = t.toDouble(&ok);
        if (m_error.isEmpty() && (!ok || !std::isfinite(v) || v < min || v > max))
            fail(QStringLiteral("[%1] %2=%3 is not a number from %4 to %5")
                     .arg(section, QLatin1String(key), t)
                     .arg(min)
                     .arg(max));
        return v;
    }
    void fail(const QString& why)
    {
        if (m_error.isEmpty())
            m_error = QStringLiteral("%1: %2").arg(m_path, why);
    }
    const QString& error() const { return m_error; }

private:
    const ini::Values& m_values;
    const QString m_path;
    QString m_error;
};

} // namespace

QString configCompanionPath(const QString& cfgPath, const QString& suffix)
{
    const QFileInfo info(cfgPath);
    const QString name = info.fileName();
    const int dot = name.lastIndexOf(QLatin1Char('.'));
    const QString stem = dot > 0 ? name.left(dot) : name;
    return QDir(info.path()).filePath(stem + suffix);
}

QString resolveConfigFile(const QString& cfgPath, const QString& name)
{
    if (QDir::isAbsolutePath(name))
        return name;
    return QDir(QFileInfo(cfgPath).path()).filePath(name);
}

bool writeDeviceConfig(const QString& path, const DeviceConfig& cfg, QString* error)
{
    ini::Values v;
    v[kDevice][QStringLiteral("Format")] = QStringLiteral("1");
    v[kDevice][QStringLiteral("Name")] = cfg.name;
    v[kDevice][QStringLiteral("Serial")] = QString::number(cfg.serial);
    v[kDevice][QStringLiteral("Chip")] = cfg.medipix2 ? kMedipix2 : kTimepix;
    v[kDevice][QStringLiteral("Chips")] = QString::number(cfg.chips);
    v[kDevice][QStringLiteral("Width")] = QString::number(cfg.width);
    v[kDevice][QStringLiteral("Height")] = QString::number(cfg.height);
    v[kFiles][QStringLiteral("PixelConfiguration")] = cfg.pixCfgFile;
    v[kFiles][QStringLiteral("Dacs")] = cfg.dacsFile;
    v[kSettings][QStringLiteral("Bias")] = QString::number(cfg.bias, 'g', 17);
    if (cfg.hasClock)
        v[kSettings][QStringLiteral("Clock")] = QString::number(cfg.clockMHz, 'g', 17);
    v[kSettings][QStringLiteral("DacDelay")] = QString::number(cfg.dacDelayMs);
    QString why;
    if (!ini::writeFile(path, v, &why)) {
        if (error)
            *error = QStringLiteral("%1: %2").arg(path, why);
        return false;
    }
    return true;
}

bool readDeviceConfig(const QString& path, DeviceConfig* out, QString* error)
{
    auto failWith = [error](const QString& why) {
        if (error)
            *error = why;
        return false;
    };
    std::string unreadable;
    if (!checkReadable(path.toStdString(), &unreadable))
        return failWith(QString::fromStdString(unreadable));
    ini::Values values;
    const ini::ReadResult read = ini::readFile(path, values);
    if (read.status != ini::Status::Ok)
        return failWith(QStringLiteral("%1: %2").arg(path, read.message));

    Reader r(values, path);
    DeviceConfig cfg;
    if (r.integer(kDevice, "Format", 1, 1) != 1)
        r.fail(QStringLiteral("unknown layout (Format must be 1)"));
    cfg.name = r.text(kDevice, "Name");
    cfg.serial = uint32_t(r.integer(kDevice, "Serial", 0, 0xffffffffll));
    const QString chip = r.text(kDevice, "Chip");
    if (chip != kTimepix && chip != kMedipix2)
        r.fail(QStringLiteral("[Device] Chip=%1 is neither Timepix nor Medipix2").arg(chip));
    cfg.medipix2 = chip == kMedipix2;
    cfg.chips = int(r.integer(kDevice, "Chips", 1, 64));
    cfg.width = int(r.integer(kDevice, "Width", 1, 16384));
    cfg.height = int(r.integer(kDevice, "Height", 1, 16384));
    cfg.pixCfgFile = r.text(kFiles, "PixelConfiguration");
    cfg.dacsFile = r.text(kFiles, "Dacs");
    if (r.error().isEmpty() && (cfg.pixCfgFile.isEmpty() || cfg.dacsFile.isEmpty()))
        r.fail(QStringLiteral("[Files] names an empty file"));
    cfg.bias = r.number(kSettings, "Bias", 0.0, 200.0);
    cfg.hasClock = r.has(kSettings, "Clock");
    if (cfg.hasClock)
        cfg.clockMHz = r.number(kSettings, "Clock", 1.0, 100.0);
    cfg.dacDelayMs = int(r.integer(kSettings, "DacDelay", 0, 10000));
    if (!r.error().isEmpty())
        return failWith(r.error());
    *out = cfg;
    return true;
}

} // namespace sim
