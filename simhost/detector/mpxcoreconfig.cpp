// Device configuration files of the simulated Medipix2 / Timepix: saving, loading and
// the factory configuration.
#include "mpxcore.h"

#include "dacsfile.h"
#include "devicecfgfile.h"
#include "pixcfgfile.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <cmath>

namespace sim {

namespace {

const QString kBpcSuffix = QStringLiteral(".bpc");
const QString kDacsSuffix = QStringLiteral(".dacs");

} // namespace

int MpxCore::loadConfigFile(ov::IFilePath* path)
{
    if (!path || !path->get() || !*path->get()) {
        log(ov::LogError, QStringLiteral("Configuration not loaded: no file name"));
        return -1;
    }
    return loadConfig(QString::fromUtf8(path->get()), true);
}

int MpxCore::saveConfigFile(ov::IFilePath* path)
{
    if (!path || !path->get() || !*path->get()) {
        log(ov::LogError, QStringLiteral("Configuration not saved: no file name"));
        return -1;
    }
    return saveConfig(QString::fromUtf8(path->get()), m_pixCfg->snapshot(), m_dacs->snapshot());
}

int MpxCore::loadConfig(const QString& path, bool announce)
{
    auto fail = [this](int code, const QString& why) {
        log(ov::LogError, QStringLiteral("Configuration not loaded: ") + why);
        return code;
    };
    const QFileInfo info(path);
    if (!info.isFile())
        return fail(-2,
            path
                + (info.isDir() ? QStringLiteral(": is a directory, not a file")
                                : QStringLiteral(": no such file")));
    DeviceConfig cfg;
    QString error;
    if (!readDeviceConfig(path, &cfg, &error))
        return fail(-3, error);
    if (cfg.medipix2 != m_medipix2 || cfg.chips != m_chips || cfg.width != m_width
        || cfg.height != m_height)
        return fail(-3,
            QStringLiteral("%1: made for %2 %3 chip(s), %4 x %5 pixels; this device has %6 %7 "
                           "chip(s), %8 x %9 pixels")
                .arg(path, cfg.medipix2 ? QStringLiteral("Medipix2") : QStringLiteral("Timepix"))
                .arg(cfg.chips)
                .arg(cfg.width)
                .arg(cfg.height)
                .arg(m_medipix2 ? QStringLiteral("Medipix2") : QStringLiteral("Timepix"))
                .arg(m_chips)
                .arg(m_width)
                .arg(m_height));
    if (cfg.hasClock && m_medipix2)
        return fail(-3, path + QStringLiteral(": a Medipix2 has no clock setting"));

    // Everything is read and checked before anything changes.
    const PixCfgShape shape {unsigned(m_width), unsigned(m_height),
        m_medipix2 ? SimPixCfg::KindMedipix2 : SimPixCfg::KindTimepix};
    SimPixCfg::Pixels px;
    std::string why;
    const std::string bpc = resolveConfigFile(path, cfg.pixCfgFile).toStdString();
    int rc = loadPixCfgFile(bpc, PixCfgBinary, shape, &px, &why);
    if (rc != PixCfgFileOk)
        return fail(rc == PixCfgFileIoError ? -2 : -3, QString::fromStdString(why));
    std::vector<int> dacs;
    const std::string dacsPath = resolveConfigFile(path, cfg.dacsFile).toStdString();
    rc = loadDacsFile(dacsPath, m_dacs->table(), m_chips, &dacs, &why);
    if (rc != DacsFileOk)
        return fail(rc == DacsFileIoError ? -2 : -3, QString::fromStdString(why));

    m_pixCfg->replacePlanes(px);
    m_dacs->replaceValues(dacs);
    setBias(cfg.bias);
    if (cfg.hasClock)
        setClock(cfg.clockMHz);
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_dacDelay = cfg.dacDelayMs;
    }
    log(ov::LogInfo, QStringLiteral("Configuration loaded from %1").arg(path));
    if (announce)
        raise("DeviceCfgChanged", 0);
    return 0;
}

int MpxCore::saveConfig(
    const QString& path, const SimPixCfg::Pixels& px, const std::vector<int>& dacs)
{
    auto fail = [this](const QString& why) {
        log(ov::LogError, QStringLiteral("Configuration not saved: ") + why);
        return -2;
    };
    const QFileInfo info(path);
    if (info.isDir())
        return fail(path + QStringLiteral(": is a directory, not a file"));
    if (!QDir().mkpath(info.path()))
        return fail(path + QStringLiteral(": cannot create its folder"));
    const QString bpc = configCompanionPath(path, kBpcSuffix);
    const QString dacsPath = configCompanionPath(path, kDacsSuffix);
    if (bpc == path || dacsPath == path)
        return fail(path
            + QStringLiteral(": a configuration cannot have the name of its "
                             "pixel configuration or DAC file"));
    const PixCfgShape shape {unsigned(m_width), unsigned(m_height),
        m_medipix2 ? SimPixCfg::KindMedipix2 : SimPixCfg::KindTimepix};
    std::string why;
    if (savePixCfgFile(bpc.toStdString(), PixCfgBinary, shape, px, &why) != PixCfgFileOk
        || saveDacsFile(dacsPath.toStdString(), m_dacs->table(), m_chips, dacs, &why) != DacsFileOk)
        return fail(QString::fromStdString(why));

    DeviceConfig cfg;
    cfg.name = name();
    cfg.serial = serial();
    cfg.medipix2 = m_medipix2;
    cfg.chips = m_chips;
    cfg.width = m_width;
    cfg.height = m_height;
    cfg.pixCfgFile = QFileInfo(bpc).fileName();
    cfg.dacsFile = QFileInfo(dacsPath).fileName();
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        cfg.bias = m_bias;
        cfg.hasClock = !m_medipix2;
        cfg.clockMHz = m_clock;
        cfg.dacDelayMs = m_dacDelay;
    }
    QString error;
    if (!writeDeviceConfig(path, cfg, &error))
        return fail(error);
    log(ov::LogInfo, QStringLiteral("Configuration saved to %1").arg(path));
    return 0;
}

int MpxCore::writeFactoryConfig(const QString& path)
{
    // Equalisation: each pixel's adjustment cancels its own threshold offset as far as
    // the 4 bits reach; the hot pixels are masked.
    SimPixCfg::Pixels px = SimPixCfg(unsigned(m_width), unsigned(m_height),
        m_medipix2 ? SimPixCfg::KindMedipix2 : SimPixCfg::KindTimepix)
                               .snapshot();
    const std::vector<float>& offsets = m_physics.thresholdOffsets();
    for (size_t i = 0; i < px.thl.size() && i < offsets.size(); ++i) {
        const double adj = std::round(7.5 - offsets[i] / PhysicsModel::kAdjustStepKeV);
        px.thl[i] = uint8_t(std::clamp(adj, 0.0, double(SimPixCfg::kThlMax)));
    }
    for (uint32_t hot : m_physics.hotPixels())
        if (hot < px.mask.size())
            px.mask[hot] = 1;
    const SimDacs defaults(m_dacs->table(), m_chips);
    return saveConfig(path, px, defaults.snapshot());
}

void MpxCore::attached()
{
    const QString path = factoryConfigPath();
    if (desc().factoryConfig && !path.isEmpty() && !QFileInfo::exists(path))
        writeFactoryConfig(path);
}

int MpxCore::applyFactoryConfig(const QString& path)
{
    // The caller announces the new configuration file with "DeviceCfgChanged".
    return loadConfig(path, false);
}

} // namespace sim
