// Data objects handed to the image properties panel from measurement threads while the
// GUI thread shows frames: the time window follows the last one, references balance.
#include "panelpage.h"
#include "pnlimageprops.h"
#include "rangetestframes.h"

#include <simdata.h>

#include <QCheckBox>
#include <QTest>

#include <atomic>
#include <thread>
#include <vector>

using PluginDevControl::PnlImageProps;

class TstPnlImagePropsThreads : public QObject
{
    Q_OBJECT

private slots:
    void dataFromOtherThreads()
    {
        paneltest::Page<PnlImageProps, paneltest::TimeWindowCtrl> page;
        QWidget* window = page.panel->findChild<QWidget*>("wTimeWindows");
        QVERIFY(window);
        page.panel->findChild<QCheckBox*>("chbAutoRange")->setChecked(true);
        sim::SimData* frames = sim::SimData::create(1);
        sim::SimData* pixels = sim::SimData::create(3);
        rangetest::FrameRef frame(rangetest::makeFrame(
            ov::FrameUInt32, 64, 64, rangetest::patternValues(ov::FrameUInt32, 64, 64)));

        std::atomic<bool> go {false};
        std::vector<std::thread> threads;
        for (int t = 0; t < 2; ++t) {
            threads.emplace_back([&, t] {
                while (!go.load()) { }
                for (int i = 0; i < 300; ++i)
                    page.panel->onAcqDataChanged((i + t) % 2 ? pixels : frames);
            });
        }
        go = true;
        // Meanwhile the GUI thread shows frames and handles the posted updates.
        for (int i = 0; i < 50; ++i) {
            page.panel->onFrameChanged(frame.get(), nullptr);
            QCoreApplication::processEvents();
        }
        for (std::thread& t : threads)
            t.join();

        // The last word from a thread decides once its update has been handled.
        std::thread([&] { page.panel->onAcqDataChanged(pixels); }).join();
        QTRY_VERIFY(!window->isHidden());
        QCOMPARE(pixels->refCount(), 2);
        QCOMPARE(frames->refCount(), 1);
        std::thread([&] { page.panel->onAcqDataChanged(nullptr); }).join();
        QCOMPARE(pixels->refCount(), 1);
        frames->decRef();
        pixels->decRef();
    }
};

QTEST_MAIN(TstPnlImagePropsThreads)
#include "tst_pnlimagepropsthreads.moc"
