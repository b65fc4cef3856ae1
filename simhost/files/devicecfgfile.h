// Device configuration files ("*.cfg") of the Medipix2 / Timepix family: an ini file
// that names the device and its geometry, the pixel configuration ("*.bpc") and DAC
// (".dacs") files beside it, and the device settings (bias, clock, DAC delay). See
// docs/file-formats.md.
//
// This part reads and writes the ini file only; the device loads the files it names.
#pragma once

#include <QString>

#include <cstdint>

namespace sim {

struct DeviceConfig
{
    QString name;
    uint32_t serial = 0;
    bool medipix2 = false;
    int chips = 1;
    int width = 256;
    int height = 256;
    QString pixCfgFile; // as written: a name beside the configuration, or absolute
    QString dacsFile;
    double bias = 0.0;
    bool hasClock = false; // Timepix only
    double clockMHz = 48.0;
    int dacDelayMs = 0;
};

// "<configuration path without its last extension><suffix>": run.cfg gives run.bpc.
QString configCompanionPath(const QString& cfgPath, const QString& suffix);
// A file named in a configuration: relative names lie beside the configuration.
QString resolveConfigFile(const QString& cfgPath, const QString& name);

bool writeDeviceConfig(const QString& path, const DeviceConfig& cfg, QString* error);
// Every key checked for its kind and range; false with a message naming the file.
bool readDeviceConfig(const QString& path, DeviceConfig* out, QString* error);

} // namespace sim
