// Filters used from two threads at once: one thread filters frames (as the display
// does on the GUI thread) while another changes parameters, swaps reference frames
// and refills groups (as a script or a dialog does). Built with the thread checker,
// this finds unguarded state; here it also checks that every result is whole.
#include "filterprobe.h"

#include <deviceset.h>
#include <simhost.h>

#include <QTemporaryDir>
#include <QtTest>

#include <atomic>
#include <thread>

namespace {

ov::IDataFilter* byName(ov::IDataFilterMgr* mgr, ov::IDev* dev, const char* name)
{
    for (ov::IDataFilter* f : mgr->deviceFilters(dev, true)) {
        ov::String text;
        f->filterName(text);
        if (std::string(text.get()) == name)
            return f;
    }
    return nullptr;
}

} // namespace

class TestFilterThreads : public QObject
{
    Q_OBJECT

private slots:
    void filterWhileParametersChange()
    {
        QTemporaryDir home;
        QTemporaryDir data;
        const std::string fits = data.filePath(QStringLiteral("fits.bin")).toStdString();
        const std::string other = data.filePath(QStringLiteral("other.bin")).toStdString();
        const unsigned side = 64;
        QVERIFY(
            filterprobe::writeDoubleFrame(fits, side, side, std::vector<double>(side * side, 1.0)));
        QVERIFY(filterprobe::writeDoubleFrame(other, 8, 8, std::vector<double>(64, 2.0)));

        sim::SimHost host(home.path());
        ov::IDataFilterMgr* mgr = host.dataFilterMgr();
        ov::IDev* dev = host.connectDevice(sim::makeDeviceDesc(ov::DevKindTpx3, 701));
        filterprobe::EventCounter events;
        events.watch(dev);
        QCOMPARE(mgr->addGroup("Chain"), 0);
        auto* chain = dynamic_cast<ov::IDataFilterGroup*>(byName(mgr, dev, "Chain"));
        ov::IDataFilter* dark = byName(mgr, dev, "Dark Subtraction");
        ov::IDataFilter* flat = byName(mgr, dev, "Flat Field");
        ov::IDataFilter* hot = byName(mgr, dev, "Hot Pixel Mask");
        ov::IDataFilter* median = byName(mgr, dev, "Median 3x3");
        QVERIFY(chain && dark && flat && hot && median);

        std::vector<double> values(side * side);
        for (size_t i = 0; i < values.size(); ++i)
            values[i] = double(i % 97);
        sim::SimFrame* frame = filterprobe::makeFrame(side, side, ov::FrameUInt32, values);

        std::atomic<bool> stop {false};
        std::atomic<int> writes {0};
        std::thread writer([&] {
            int round = 0;
            while (!stop.load()) {
                const std::string& file = (round % 2) ? other : fits;
                dark->filterParams()->param("File")->setStringValue(file.c_str());
                flat->filterParams()->param("File")->setStringValue(fits.c_str());
                dark->filterParams()->param("Scale")->setDoubleValue(double(round % 5));
                hot->filterParams()->param("Sigma")->setDoubleValue(1.0 + round % 7);
                hot->filterParams()->param("Radius")->setU32Value(1u + unsigned(round % 3));
                chain->clearFilters();
                chain->addFilterByName("Dark Subtraction");
                chain->addFilterByName("Hot Pixel Mask");
                if (round % 2)
                    chain->addFilterByName("Binning 2x2");
                chain->addFilterByName("Median 3x3");
                ++round;
                writes.store(round);
            }
        });

        int results = 0;
        for (int i = 0; i < 300 || writes.load() < 20; ++i) {
            for (ov::IDataFilter* filter :
                {static_cast<ov::IDataFilter*>(chain), dark, flat, hot, median}) {
                if (!filter->isSuitable(frame))
                    continue;
                ov::IMpxFrame* out = filter->filterFrame(frame, 0);
                if (!out)
                    continue; // a setting changed between the two calls
                ++results;
                QVERIFY(out->width() == side || out->width() == side / 2);
                QCOMPARE(out->width(), out->height());
                QVERIFY(out->acqTime() == frame->acqTime());
                out->decRef();
            }
        }
        stop.store(true);
        writer.join();
        QVERIFY(results > 0);
        QVERIFY(events.count.load() >= writes.load());
        frame->decRef();
    }
};

QTEST_GUILESS_MAIN(TestFilterThreads)
#include "tst_filterthreads.moc"
