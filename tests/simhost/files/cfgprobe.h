// Records what a simulated detector reports while its configuration files are saved
// and loaded: the settings events it fires and the lines it writes to its log.
#pragma once

#include <ovcore.h>

#include <QtTest>

#include <map>
#include <mutex>
#include <string>
#include <vector>

class CfgProbe
{
public:
    static constexpr const char* kEvents[]
        = {"PixCfgChanged", "DacsChanged", "BiasChanged", "DeviceCfgChanged", "TpxClockChanged"};

    void attach(ov::IDev* dev)
    {
        for (const char* name : kEvents) {
            Slot& slot = m_slots[name];
            slot.probe = this;
            dev->registerEvent(name, &CfgProbe::onEvent, &slot);
        }
        dev->registerLogCallback(&CfgProbe::onLog, this);
    }

    int events(const char* name)
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_slots[name].count;
    }
    int allEvents()
    {
        int n = 0;
        for (const char* name : kEvents)
            n += events(name);
        return n;
    }
    // Lines of level error written so far, and the last of them.
    int errors()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_errors;
    }
    std::string lastError()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_lastError;
    }

private:
    struct Slot
    {
        CfgProbe* probe = nullptr;
        int count = 0;
    };

    static void onEvent(long, long user)
    {
        auto* slot = reinterpret_cast<Slot*>(user);
        std::lock_guard<std::mutex> lock(slot->probe->m_mutex);
        ++slot->count;
    }
    static void onLog(unsigned level, const char* text, long user)
    {
        auto* probe = reinterpret_cast<CfgProbe*>(user);
        std::lock_guard<std::mutex> lock(probe->m_mutex);
        if (level == ov::LogError) {
            ++probe->m_errors;
            probe->m_lastError = text ? text : "";
        }
    }

    std::mutex m_mutex;
    std::map<std::string, Slot> m_slots; // nodes stay put: callbacks hold their address
    int m_errors = 0;
    std::string m_lastError;
};

// The two detectors every configuration file is tried on: columns "medipix2" and
// "chips", rows for the Timepix quad and the single-chip Medipix2.
inline void addBothDetectorRows()
{
    QTest::addColumn<bool>("medipix2");
    QTest::addColumn<int>("chips");
    QTest::newRow("Timepix quad") << false << 4;
    QTest::newRow("Medipix2") << true << 1;
}
