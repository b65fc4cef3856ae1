// Which simulated devices the host connects: the kinds, the embedded default set and
// the device-set file format (see docs/simhost.md).
#pragma once

#include <ovcore.h>

#include <QString>
#include <QStringList>

#include <cstdint>
#include <vector>

namespace sim {

// The record kind of DevInfo for an education device.
constexpr uint32_t kEducationRecordKind = 22;

struct DeviceDesc
{
    int kind = 0; // an ov::DevKind
    QString name; // "<interface word> <identifier>"
    uint32_t serial = 0;
    bool education = false;
    int chips = 1;   // detectors
    int width = 256; // detectors and the file device, in pixels
    int height = 256;
    int outputs = 1;          // high-voltage source
    bool medipix2 = false;    // kind 1: a Medipix2 instead of a Timepix (option mpx2)
    bool eventThread = false; // events from a host event thread (option events=thread)
    // The device comes with a factory configuration, which the host writes into the home
    // folder when it is missing (the detectors of the embedded set that have one).
    bool factoryConfig = false;

    QString interfaceWord() const { return name.section(QLatin1Char(' '), 0, 0); }
    bool isDetector() const { return kind >= ov::DevKindMpx2 && kind <= ov::DevKindTpx2; }
};

struct KindInfo
{
    int kind;
    const char* keyword;       // as written in device-set files and scripts
    const char* alias;         // a second accepted keyword
    const char* label;         // menu text
    const char* interfaceWord; // of generated names
    const char* idPrefix;      // of generated names
};

// All kinds the host simulates, in menu order.
const std::vector<KindInfo>& deviceKinds();
const KindInfo* kindInfo(int kind);
// A number ("1") or a keyword ("timepix", "tpx3", "motor", ...); false when unknown.
bool parseKind(const QString& text, int* kind);

// The embedded set: a Timepix quad (with a factory configuration), a single-chip
// Medipix2, a Timepix3, a Medipix3, a Timepix2, the file device, two motors, an X-ray
// source and a two-output high-voltage source.
std::vector<DeviceDesc> defaultDeviceSet();
// A device of a kind with the given serial and a generated name ("kalbar W0042"),
// with that kind's default geometry (a Timepix is a 512 x 512 quad).
DeviceDesc makeDeviceDesc(int kind, uint32_t serial);

// One device from its words: KIND NAME SERIAL [OPTION...]. NAME is one quoted word or
// two words. Options: edu, chips=N, size=WxH, outputs=N, mpx2 (kind 1: a Medipix2),
// factory (kind 1: comes with a factory configuration), events=direct|thread (how the
// device delivers its events).
bool parseDeviceWords(const QStringList& words, DeviceDesc* out, QString* error);
// A whole device-set text; errors read "<label>:<line>: <why>".
bool parseDeviceSet(
    const QString& text, const QString& label, std::vector<DeviceDesc>* out, QString* error);
bool loadDeviceSet(const QString& path, std::vector<DeviceDesc>* out, QString* error);

} // namespace sim
