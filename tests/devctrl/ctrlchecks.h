// Checks that hold for every controller family with fixed configuration tabs and a
// threshold on the device: the tab texts, the tabs shown and hidden without a signal of
// the tab bar, and the chip and kind arguments of the threshold calls.
#pragma once

#include "devctrlmpx.h"

#include <QTabBar>
#include <QtTest>

namespace ctrlchecks {

inline QStringList tabTexts(const QTabBar& tabs)
{
    QStringList texts;
    for (int i = 0; i < tabs.count(); ++i)
        texts << tabs.tabText(i);
    return texts;
}

// ctrl was made on tabs, with spy on its currentChanged from before. The tab bar holds
// expected from the start; shown, it holds them again on view with the real frame, and
// hidden it is empty, with the real frame, from a configuration view.
template <class Ctrl>
void checkFixedTabs(Ctrl& ctrl, QTabBar& tabs, const QStringList& expected, QSignalSpy& spy)
{
    QCOMPARE(tabTexts(tabs), expected);
    QCOMPARE(spy.count(), 0); // added with the signals blocked

    ctrl.showPixCfgFrames(true);
    QVERIFY(ctrl.pixCfgFramesOnView());
    QCOMPARE(tabTexts(tabs), expected);
    QVERIFY(tabs.isVisible());
    QCOMPARE(ctrl.view(), PluginDevControl::DevCtrlMpx::PixCfgNone);

    ctrl.setView(PluginDevControl::DevCtrlMpx::PixCfgTest);
    ctrl.showPixCfgFrames(false);
    QVERIFY(!ctrl.pixCfgFramesOnView());
    QCOMPARE(tabs.count(), 0);
    QVERIFY(!tabs.isVisible());
    QCOMPARE(ctrl.view(), PluginDevControl::DevCtrlMpx::PixCfgNone);
    QCOMPARE(spy.count(), 0);
}

// The rows of checkThresholdArguments.
inline void addThresholdArgumentRows()
{
    QTest::addColumn<unsigned>("chips");
    QTest::addColumn<bool>("calibrated");
    QTest::addColumn<uint32_t>("chip");
    QTest::addColumn<int>("kind");
    QTest::newRow("1 chip, not calibrated") << 1u << false << 0u << 0;
    QTest::newRow("1 chip, calibrated") << 1u << true << 0u << 2;
    QTest::newRow("2 chips, not calibrated") << 2u << false << 0xFFFFFFFFu << 1;
    QTest::newRow("2 chips, calibrated") << 2u << true << 0xFFFFFFFFu << 2;
    QTest::newRow("4 chips, not calibrated") << 4u << false << 0xFFFFFFFFu << 1;
    QTest::newRow("no chip counts as calibrated") << 0u << false << 0u << 2;
}

// A controller of type Ctrl on the recording device dev, given the chips of the row,
// writes and reads the threshold with the row's arguments; the device answers 12.5.
template <class Ctrl, class Dev>
void checkThresholdArguments(Dev& dev)
{
    QFETCH(unsigned, chips);
    QFETCH(bool, calibrated);
    QFETCH(uint32_t, chip);
    QFETCH(int, kind);
    dev.chips = chips;
    dev.calibrated.assign(chips, calibrated);
    Ctrl ctrl(nullptr, &dev, nullptr, nullptr);
    QCOMPARE(ctrl.setThreshold(7.25), 0);
    const auto writes = dev.writtenThresholds();
    QCOMPARE(writes.size(), size_t(1));
    QCOMPARE(writes[0].chip, chip);
    QCOMPARE(writes[0].kind, kind);
    QCOMPARE(writes[0].value, 7.25);
    QCOMPARE(ctrl.threshold(), 12.5);
    QCOMPARE(dev.thresholdReads.size(), size_t(1));
    QCOMPARE(dev.thresholdReads[0].chip, chip);
    QCOMPARE(dev.thresholdReads[0].kind, kind);
}

} // namespace ctrlchecks
