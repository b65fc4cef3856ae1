// The parameters of the simulated Timepix and Medipix2: the list, the identity values,
// the descriptions as the plug-in's settings dialog reads them, writes as the dialog
// makes them, refused writes with their log lines, and the readout options with their
// effect on the dead time between frames (and that of data compression).
#include "acqbytes.h"

#include <deviceset.h>
#include <paramparser.h>
#include <timepixdevice.h>

#include <QElapsedTimer>
#include <QtTest>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

using namespace acqbytes;

namespace {

std::shared_ptr<sim::TimepixDevice> makeDevice(int chips, bool medipix2 = false)
{
    sim::DeviceDesc desc = sim::makeDeviceDesc(ov::DevKindMpx2, medipix2 ? 208 : 512);
    desc.chips = chips;
    desc.width = chips == 4 ? 512 : 256 * chips;
    desc.height = chips == 4 ? 512 : 256;
    desc.medipix2 = medipix2;
    return std::make_shared<sim::TimepixDevice>(desc);
}

struct LogLines
{
    std::vector<std::pair<unsigned, QString>> lines;
    static void collect(unsigned level, const char* text, long user)
    {
        reinterpret_cast<LogLines*>(user)->lines.emplace_back(level, QString::fromUtf8(text));
    }
    QStringList take(unsigned level)
    {
        QStringList out;
        for (const auto& line : lines)
            if (line.first == level)
                out << line.second;
        lines.clear();
        return out;
    }
};

std::vector<std::string> namesOf(ov::IParamMgr* mgr)
{
    std::vector<std::string> names;
    for (ov::IParam* p : mgr->params())
        names.push_back(p->name());
    return names;
}

// What the settings dialog keeps of a device's parameters: those named "trg..." or
// "trigger..." in any case.
std::vector<ov::IParam*> triggerParams(ov::IParamMgr* mgr)
{
    std::vector<ov::IParam*> out;
    for (ov::IParam* p : mgr->params()) {
        QString lower = QString::fromUtf8(p->name()).toLower();
        if (lower.startsWith(QStringLiteral("trg")) || lower.startsWith(QStringLiteral("trigger")))
            out.push_back(p);
    }
    return out;
}

double readoutMs(sim::TimepixDevice& dev)
{
    return dev.params().find("ReadoutTime")->doubleValue();
}

// Measures count frames of time and gives the wall-clock seconds.
double measure(sim::TimepixDevice& dev, uint32_t count, double time, uint32_t mode = 0)
{
    Acq a;
    a.count = count;
    a.time = time;
    a.mode = mode;
    QElapsedTimer timer;
    timer.start();
    if (dev.doAdvancedAcquisition(acqRecord(a).data(), nullptr, nullptr) != 0)
        return -1.0;
    return timer.nsecsElapsed() / 1e9;
}

} // namespace

class TestTimepixParams : public QObject
{
    Q_OBJECT

private slots:
    void theDevicesListTheirParameters()
    {
        auto tpx = makeDevice(4);
        ov::IParamMgr* mgr = tpx->paramMgr();
        QVERIFY(mgr);
        QCOMPARE(mgr, static_cast<ov::IParamMgr*>(&tpx->params()));
        const std::vector<std::string> timepix
            = {"HwLibVer", "Firmware", "FirmwareCpu", "DeviceName", "TrgTimeout", "TrgDelay",
                "TrgInputEdge", "TrgOutputEnabled", "TriggerLevel", "TrgSource", "TrgCount",
                "TrgOutCount", "ReadoutMode", "ReadoutClock", "ReadoutTime"};
        QCOMPARE(namesOf(mgr), timepix);
        for (const std::string& name : timepix)
            QCOMPARE(mgr->param(name.c_str())->name(), name.c_str());
        QVERIFY(!mgr->param("Bogus"));

        // A Medipix2 has no trigger input: its identity and readout, no trigger.
        auto mpx2 = makeDevice(1, true);
        QCOMPARE(namesOf(mpx2->paramMgr()),
            (std::vector<std::string> {"HwLibVer", "Firmware", "FirmwareCpu", "DeviceName",
                "ReadoutMode", "ReadoutClock", "ReadoutTime"}));
        QVERIFY(triggerParams(mpx2->paramMgr()).empty());
        QCOMPARE(int(triggerParams(mgr).size()), 8);
    }

    void identityParametersAreReadOnlyTexts()
    {
        auto tpx = makeDevice(4);
        auto mpx2 = makeDevice(1, true);
        for (const auto& dev : {tpx, mpx2}) {
            for (const char* name : {"HwLibVer", "Firmware", "FirmwareCpu", "DeviceName"}) {
                ov::IParam* p = dev->paramMgr()->param(name);
                QVERIFY2(p, name);
                QCOMPARE(p->type(), int(ov::ParamString));
                QVERIFY(p->flags() & ov::ParamReadOnly);
                QVERIFY2(!p->getString().empty(), name);
            }
            // The device dialog shows them by their text.
            QCOMPARE(QString::fromStdString(dev->paramMgr()->param("DeviceName")->getString()),
                dev->name());
            QVERIFY(QString::fromStdString(dev->paramMgr()->param("Firmware")->getString())
                        .endsWith(QStringLiteral("board %1").arg(dev->serial())));
        }
        QVERIFY(tpx->paramMgr()->param("Firmware")->getString().rfind("TPX-RO ", 0) == 0);
        QVERIFY(mpx2->paramMgr()->param("Firmware")->getString().rfind("MPX2-RO ", 0) == 0);

        LogLines log;
        tpx->registerLogCallback(&LogLines::collect, &log);
        ov::IParam* firmware = tpx->paramMgr()->param("Firmware");
        const std::string before = firmware->getString();
        QCOMPARE(firmware->setStringValue("9.9.9"), int(sim::ParamErrReadOnly));
        QCOMPARE(firmware->getString(), before);
        QCOMPARE(log.take(ov::LogWarning),
            QStringList {
                QStringLiteral("Parameter Firmware: 9.9.9 refused: the parameter is read-only")});
        tpx->unregisterLogCallback(&LogLines::collect, &log);
    }

    void triggerDescriptionsGiveTheIntendedControls()
    {
        auto tpx = makeDevice(1);
        ov::IParamMgr* mgr = tpx->paramMgr();
        struct Expect
        {
            const char* name;
            int type;    // the parameter's value type
            int control; // what getParamType makes of its description
            std::vector<std::string> values;
            bool readOnly;
        };
        const Expect expected[] = {
            {"TrgTimeout", ov::ParamU16, PT_RANGE, {"0..1000"}, false},
            {"TrgDelay", ov::ParamU8, PT_RANGE, {"0..255"}, false},
            {"TrgInputEdge", ov::ParamU8, PT_LIST, {"rising", "falling"}, false},
            {"TrgOutputEnabled", ov::ParamBool, PT_BOOL, {"true", "false"}, false},
            {"TriggerLevel", ov::ParamU8, PT_LOGIC, {"log 0", "log 1"}, false},
            {"TrgSource", ov::ParamString, PT_STRING, {"string"}, true},
            {"TrgCount", ov::ParamU32, PT_NONE, {}, true},
            {"TrgOutCount", ov::ParamU32, PT_NONE, {}, true},
        };
        for (const Expect& e : expected) {
            ov::IParam* p = mgr->param(e.name);
            QVERIFY2(p, e.name);
            QCOMPARE(p->type(), e.type);
            QCOMPARE(getParamType(p->description()), e.control);
            QCOMPARE(parseParamValues(p->description()), e.values);
            QCOMPARE(bool(p->flags() & ov::ParamReadOnly), e.readOnly);
            // A list of names in the description is the list of the parameter's names.
            if (e.control == PT_LIST || e.control == PT_LOGIC)
                QCOMPARE(p->aliasList(), e.values);
        }
        // Ranges in the descriptions are the parameters' own.
        ov::IParam* timeout = mgr->param("TrgTimeout");
        QCOMPARE(timeout->setU16Value(1000), 0);
        QCOMPARE(timeout->setU16Value(1001), int(sim::ParamErrRange));
        QCOMPARE(timeout->u16Value(), uint16_t(1000));
        ov::IParam* delay = mgr->param("TrgDelay");
        QCOMPARE(delay->setI32Value(255), 0);
        QCOMPARE(delay->setI32Value(256), int(sim::ParamErrRange));

        // Writes as the dialog makes them: a spin box's value and a combo box's index
        // through setByteValue, a check box through setBoolValue, reads the same way.
        QCOMPARE(timeout->setByteValue(200), 0);
        QCOMPARE(timeout->u16Value(), uint16_t(200));
        QCOMPARE(mgr->param("TrgInputEdge")->setByteValue(1), 0);
        QCOMPARE(mgr->param("TrgInputEdge")->getAliasValue(), std::string("falling"));
        QCOMPARE(mgr->param("TriggerLevel")->byteValue(), uint8_t(1));
        QCOMPARE(mgr->param("TriggerLevel")->setByteValue(0), 0);
        QCOMPARE(mgr->param("TriggerLevel")->getAliasValue(), std::string("log 0"));
        QVERIFY(!mgr->param("TrgOutputEnabled")->boolValue());
        QCOMPARE(mgr->param("TrgOutputEnabled")->setBoolValue(true), 0);
        QVERIFY(mgr->param("TrgOutputEnabled")->boolValue());
        QCOMPARE(mgr->param("TrgSource")->getString(), std::string("none"));
        QCOMPARE(mgr->param("TrgCount")->u32Value(), 0u);
        // Defaults: a minute's wait, no delay.
        auto fresh = makeDevice(1);
        QCOMPARE(fresh->paramMgr()->param("TrgTimeout")->u16Value(), uint16_t(60));
        QCOMPARE(fresh->paramMgr()->param("TrgDelay")->byteValue(), uint8_t(0));
    }

    void refusedWritesReturnCodesAndWarn()
    {
        auto tpx = makeDevice(1);
        LogLines log;
        tpx->registerLogCallback(&LogLines::collect, &log);
        ov::IParamMgr* mgr = tpx->paramMgr();
        QCOMPARE(mgr->param("TrgTimeout")->setU16Value(2000), int(sim::ParamErrRange));
        QCOMPARE(mgr->param("TrgTimeout")->setDoubleValue(2.5), int(sim::ParamErrRange));
        QCOMPARE(mgr->param("TrgInputEdge")->setAliasValue("both"), int(sim::ParamErrNoAlias));
        QCOMPARE(mgr->param("TrgInputEdge")->setByteValue(2), int(sim::ParamErrNoAlias));
        QCOMPARE(mgr->param("TrgCount")->setU32Value(0), int(sim::ParamErrReadOnly));
        QCOMPARE(mgr->param("ReadoutClock")->setByteValue(30), int(sim::ParamErrNoAlias));
        QCOMPARE(mgr->param("ReadoutTime")->setDoubleValue(0.0), int(sim::ParamErrReadOnly));
        QCOMPARE(mgr->param("TrgDelay")->setStringValue("soon"), int(sim::ParamErrNotNumber));
        QCOMPARE(log.take(ov::LogWarning),
            QStringList({QStringLiteral("Parameter TrgTimeout: 2000 refused: outside 0..1000"),
                QStringLiteral("Parameter TrgTimeout: 2.5 refused: outside 0..1000"),
                QStringLiteral("Parameter TrgInputEdge: both refused: not one of rising|falling"),
                QStringLiteral("Parameter TrgInputEdge: 2 refused: not one of rising|falling"),
                QStringLiteral("Parameter TrgCount: 0 refused: the parameter is read-only"),
                QStringLiteral("Parameter ReadoutClock: 30 refused: not one of "
                               "25 MHz|50 MHz|100 MHz|200 MHz"),
                QStringLiteral("Parameter ReadoutTime: 0 refused: the parameter is read-only"),
                QStringLiteral("Parameter TrgDelay: soon refused: not a value of 0..255")}));
        // Nothing changed.
        QCOMPARE(mgr->param("TrgTimeout")->u16Value(), uint16_t(60));
        QCOMPARE(mgr->param("TrgInputEdge")->getAliasValue(), std::string("rising"));
        QCOMPARE(mgr->param("ReadoutClock")->getAliasValue(), std::string("100 MHz"));
        // A good write says nothing.
        QCOMPARE(mgr->param("ReadoutClock")->setAliasValue("50 MHz"), 0);
        QCOMPARE(mgr->param("ReadoutClock")->byteValue(), uint8_t(50));
        QVERIFY(log.take(ov::LogWarning).isEmpty());
        tpx->unregisterLogCallback(&LogLines::collect, &log);
    }

    void readoutSettingsSetTheDeadTime()
    {
        // 256 x 256 counters of 14 bits: 917504 bits a chip.
        auto one = makeDevice(1);
        ov::IParamMgr* mgr = one->paramMgr();
        QCOMPARE(mgr->param("ReadoutMode")->getAliasValue(), std::string("parallel"));
        QCOMPARE(mgr->param("ReadoutClock")->getAliasValue(), std::string("100 MHz"));
        QVERIFY(measure(*one, 1, 0.0) >= 0.0);
        // Parallel: 32 bits a clock.
        QVERIFY(std::fabs(readoutMs(*one) - 917504.0 / 32 / 100e6 * 1e3) < 1e-9);
        QCOMPARE(mgr->param("ReadoutClock")->setAliasValue("200 MHz"), 0);
        QVERIFY(measure(*one, 1, 0.0) >= 0.0);
        QVERIFY(std::fabs(readoutMs(*one) - 917504.0 / 32 / 200e6 * 1e3) < 1e-9);
        // Serial at 25 MHz: one bit a clock, 36.7 ms a frame; the frames come no faster.
        QCOMPARE(mgr->param("ReadoutMode")->setAliasValue("serial"), 0);
        QCOMPARE(mgr->param("ReadoutClock")->setAliasValue("25 MHz"), 0);
        const double seconds = measure(*one, 4, 0.0);
        QVERIFY2(seconds >= 4 * 0.0367 - 0.002, qPrintable(QString::number(seconds)));
        QVERIFY(std::fabs(readoutMs(*one) - 917504.0 / 25e6 * 1e3) < 1e-9);
        QVERIFY(std::fabs(one->lastReadoutSeconds() - 917504.0 / 25e6) < 1e-12);
        // The serial link reads the chips one after another, the parallel bus together.
        auto quad = makeDevice(4);
        QCOMPARE(quad->paramMgr()->param("ReadoutMode")->setAliasValue("serial"), 0);
        QVERIFY(measure(*quad, 1, 0.0) >= 0.0);
        QVERIFY(std::fabs(readoutMs(*quad) - 4 * 917504.0 / 100e6 * 1e3) < 1e-9);
        QCOMPARE(quad->paramMgr()->param("ReadoutMode")->setAliasValue("parallel"), 0);
        QVERIFY(measure(*quad, 1, 0.0) >= 0.0);
        QVERIFY(std::fabs(readoutMs(*quad) - 917504.0 / 32 / 100e6 * 1e3) < 1e-9);
        // A Medipix2 has the same readout options.
        auto mpx2 = makeDevice(1, true);
        QCOMPARE(mpx2->paramMgr()->param("ReadoutMode")->setAliasValue("serial"), 0);
        QVERIFY(measure(*mpx2, 1, 0.0) >= 0.0);
        QVERIFY(std::fabs(readoutMs(*mpx2) - 917504.0 / 100e6 * 1e3) < 1e-9);
    }

    void dataCompressionShortensTheReadoutOfSparseFrames()
    {
        auto dev = makeDevice(1);
        QVERIFY(dev->capabilityFlags() & ov::CapCompression);
        QVERIFY(!(dev->capabilityFlags() & ov::CapTdiReadout));
        QVERIFY(!(makeDevice(1, true)->capabilityFlags() & ov::CapCompression));
        QCOMPARE(dev->paramMgr()->param("ReadoutMode")->setAliasValue("serial"), 0);
        const double raw = 917504.0 / 100e6 * 1e3;
        // Compression does not change the counts.
        dev->setSeed(3);
        QVERIFY(measure(*dev, 1, 0.01) >= 0.0);
        ov::RefData<ov::IMpxFrame> plain(dev->lastAcqFrameRefInc(), false);
        QVERIFY(std::fabs(readoutMs(*dev) - raw) < 1e-9);
        dev->setSeed(3);
        QVERIFY(measure(*dev, 1, 0.01, ov::CapCompression) >= 0.0);
        ov::RefData<ov::IMpxFrame> packed(dev->lastAcqFrameRefInc(), false);
        QCOMPARE(packed->regionTotal(nullptr), plain->regionTotal(nullptr));
        // 32 header bits and 30 bits (address and counter) per pixel that counted: a busy
        // frame takes longer than the raw counters.
        const auto* frame = static_cast<sim::SimFrame*>(plain.get());
        double hits = 0.0;
        for (size_t i = 0; i < frame->pixelCount(); ++i)
            hits += frame->pixel(i) != 0.0;
        QVERIFY(hits > 0.5 * double(frame->pixelCount()));
        QVERIFY(std::fabs(readoutMs(*dev) - (32.0 + 30.0 * hits) / 100e6 * 1e3) < 1e-9);
        QVERIFY2(readoutMs(*dev) > raw, qPrintable(QString::number(readoutMs(*dev))));
        // Half the matrix masked: about half the time; all masked: the header alone.
        QCOMPARE(dev->pixCfg()->setMaskBitRange(0, 0, 256, 128, true), 0);
        const double busy = readoutMs(*dev);
        QVERIFY(measure(*dev, 1, 0.01, ov::CapCompression) >= 0.0);
        QVERIFY2(readoutMs(*dev) > 0.4 * busy && readoutMs(*dev) < 0.6 * busy,
            qPrintable(QString::number(readoutMs(*dev) / busy)));
        QCOMPARE(dev->pixCfg()->setAllMask(true), 0);
        QVERIFY(measure(*dev, 1, 0.01, ov::CapCompression) >= 0.0);
        QVERIFY(std::fabs(readoutMs(*dev) - 32.0 / 100e6 * 1e3) < 1e-9);
        // What the device cannot do is still refused.
        Acq a;
        a.mode = ov::CapTdiReadout;
        QCOMPARE(dev->doAdvancedAcquisition(acqRecord(a).data(), nullptr, nullptr),
            int(sim::AcqErrUnsupported));
    }
};

QTEST_GUILESS_MAIN(TestTimepixParams)
#include "tst_timepixparams.moc"
