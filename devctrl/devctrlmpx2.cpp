#include "devctrlmpx2.h"

#include <QTabBar>

namespace PluginDevControl {

DevCtrlMpx2::DevCtrlMpx2(ov::IOrvel* orvel, ov::IDevMpx2* dev, QMpxFrame* frame, QTabBar* tabs)
    : DevCtrlMpx(orvel, dev, frame, tabs), mpx2(dev)
{
    fixedTabs = true;
    if (mpx2)
        mpx2->registerEvent("TpxClockChanged", onTpxClockChangedWrapper, this);
    addFixedTabs();
}

DevCtrlMpx2::~DevCtrlMpx2() = default;

void DevCtrlMpx2::addFixedTabs()
{
    if (!frameTabs)
        return;
    const bool blocked = frameTabs->blockSignals(true);
    frameTabs->addTab(QStringLiteral("Frame"));
    frameTabs->addTab(QStringLiteral("Mask"));
    frameTabs->addTab(QStringLiteral("Test"));
    frameTabs->addTab(QStringLiteral("THL"));
    const bool timepix = mpx2 && mpx2->isTimepix();
    frameTabs->addTab(timepix ? QStringLiteral("Mode") : QStringLiteral("THH"));
    frameTabs->blockSignals(blocked);
}

void DevCtrlMpx2::onTpxClockChangedWrapper(long, long user)
{
    emit reinterpret_cast<DevCtrlMpx2*>(user)->sigTpxClockChanged();
}

int DevCtrlMpx2::startAcq()
{
    return DevCtrlMpx::startAcq();
}

int DevCtrlMpx2::stopAcq()
{
    return DevCtrlMpx::stopAcq();
}

void DevCtrlMpx2::onAcqRepeatFinish(long data)
{
    DevCtrlMpx::onAcqRepeatFinish(data);
}

// Test-pulse flag, integral byte, spacing and test-pulse block by acquisition type:
//   0: 0, 0, spacing,   none      1: 0, 1, spacing, none
//   2: 1, 0, tpSpacing, block     3: 0, 0, spacing, none
//   4: 1, 1, spacing,   block
void DevCtrlMpx2::run()
{
    runAdvancedAcquisition();
}

} // namespace PluginDevControl
