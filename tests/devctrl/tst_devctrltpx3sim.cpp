// A data-driven measurement through the Timepix3 controller on the simulated Timepix3:
// every hit the chip made reaches the data objects (none lost at this rate), and the
// picture on screen at the end is the histogram of all of them.
#include "devctrltpx3.h"

#include "livecounts.h"
#include "pnlimageprops.h"
#include "simhost.h"
#include "timepix3device.h"

#include <qmpxframe.h>

#include <QTabBar>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>
#include <mutex>
#include <vector>

using namespace PluginDevControl;

namespace {

// Keeps every chunk the device announces, taken on the measuring thread.
struct Chunks
{
    sim::Timepix3Device* dev = nullptr;
    std::mutex mutex;
    std::vector<ov::RefData<ov::IData>> data;

    static void onNewData(long index, long user)
    {
        auto* self = reinterpret_cast<Chunks*>(user);
        ov::RefData<ov::IData> d(self->dev->acqDataRefInc(unsigned(index)), false);
        std::lock_guard<std::mutex> lock(self->mutex);
        self->data.push_back(std::move(d));
    }
};

} // namespace

class TstDevCtrlTpx3Sim : public QObject
{
    Q_OBJECT

private slots:
    void dataDrivenRunShowsEveryHit()
    {
        const livecounts::FramesAndData live0 = livecounts::framesAndData();
        {
            QTemporaryDir home;
            sim::SimHost host(home.path());
            auto device
                = std::make_shared<sim::Timepix3Device>(sim::makeDeviceDesc(ov::DevKindTpx3, 3131));
            device->setHitRate(3e6);
            auto* dev = dynamic_cast<ov::IDevTpx3*>(host.connectDevice(device));
            QVERIFY(dev);
            Chunks chunks;
            chunks.dev = device.get();
            dev->registerEvent("AcqNewData", &Chunks::onNewData, &chunks);

            QMpxFrame widget;
            widget.resize(300, 300);
            QTabBar tabs;
            DevCtrlTpx3 ctrl(&host, dev, &widget, &tabs);
            auto panel = std::make_unique<PnlImageProps>(nullptr, &widget, &ctrl);
            ctrl.setImagePropsPanel(panel.get());
            ctrl.acqParams().acqType = 3;
            ctrl.acqParams().acqCount = 1;
            ctrl.acqParamsTpx3().timeDataDriven = 0.3;
            QVERIFY(ctrl.isDataDriven());
            QCOMPARE(ctrl.acqTime(), 0.3);

            QSignalSpy finished(&ctrl, &DevCtrlMpx::acqAllFinished);
            QCOMPARE(ctrl.startAcq(), 0);
            QVERIFY(QTest::qWaitFor([&] { return finished.count() == 1; }, 60000));
            QVERIFY(QTest::qWaitFor([] { return DevCtrlMpx::detachedThreadCount() == 0; }, 60000));
            QCOMPARE(finished.at(0).at(0).toInt(), 0);

            std::vector<uint32_t> expected(256 * 256, 0);
            uint64_t hits = 0;
            for (const ov::RefData<ov::IData>& d : chunks.data) {
                QCOMPARE(d->dataKind(), int(ov::DataTpx3Pixels));
                auto* px = static_cast<ov::ITpx3Pixels*>(d.get());
                for (size_t i = 0; i < px->chunkPixelCount(); ++i)
                    ++expected[size_t(px->pixels()[i].y) * 256 + px->pixels()[i].x];
                hits += px->chunkPixelCount();
            }
            QVERIFY(chunks.data.size() >= 25);
            QCOMPARE(dev->lostPixels(), uint64_t(0));
            QCOMPARE(hits, device->generatedHits());
            QVERIFY(hits > 0.6 * 3e6 * 0.3);
            // The controller shows the newest chunk: the hits of the whole run, so that the
            // page's rate of hits is the device's, and the whole run's picture.
            QTRY_COMPARE_WITH_TIMEOUT(ctrl.pixelCount(), uint32_t(hits), 10000);
            // The picture of the newest chunk may follow its count by a moment.
            auto pictureIsTheHistogram = [&] {
                const double* shown = widget.image->getData();
                if (!shown || widget.image->getDataWidth() != 256u
                    || widget.image->getDataHeight() != 256u)
                    return false;
                for (size_t i = 0; i < expected.size(); ++i)
                    if (shown[i] != double(expected[i]))
                        return false;
                return true;
            };
            QTRY_VERIFY_WITH_TIMEOUT(pictureIsTheHistogram(), 10000);

            ctrl.setImagePropsPanel(nullptr);
            panel.reset();
            chunks.data.clear();
        }
        QCOMPARE(livecounts::framesAndData(), live0);
    }
};

QTEST_MAIN(TstDevCtrlTpx3Sim)
#include "tst_devctrltpx3sim.moc"
