// Frames and data objects of the simulated host: the four pixel types, conversions,
// statistics over regions, histogram, fractile, clone, scale, sub-frames, counting.
#include <livecounter.h>
#include <simdata.h>
#include <simframe.h>

#include <QtTest>

#include <cmath>
#include <thread>
#include <vector>

namespace {

// A 4 x 3 frame of the type with pixels 0..11 (negative ones for int16 at the end).
sim::SimFrame* ramp(int type)
{
    sim::SimFrame* f = sim::SimFrame::create(4, 3, type);
    std::vector<double> v(12);
    for (int i = 0; i < 12; ++i)
        v[size_t(i)] = i;
    sim::visitFrameType(type, [&](auto t) {
        using T = decltype(t);
        std::vector<T> px(12);
        for (int i = 0; i < 12; ++i)
            px[size_t(i)] = static_cast<T>(v[size_t(i)]);
        f->setData(px.data(), px.size() * sizeof(T));
    });
    return f;
}

} // namespace

class TestFrames : public QObject
{
    Q_OBJECT

private:
    long m_frames0 = 0;
    long m_data0 = 0;

private slots:
    void init()
    {
        m_frames0 = sim::liveCount(sim::Counted::Frame);
        m_data0 = sim::liveCount(sim::Counted::Data);
    }
    void cleanup()
    {
        QCOMPARE(sim::liveCount(sim::Counted::Frame), m_frames0);
        QCOMPARE(sim::liveCount(sim::Counted::Data), m_data0);
    }

    void statisticsAndConversions_data()
    {
        QTest::addColumn<int>("type");
        QTest::newRow("int16") << int(ov::FrameInt16);
        QTest::newRow("uint32") << int(ov::FrameUInt32);
        QTest::newRow("uint64") << int(ov::FrameUInt64);
        QTest::newRow("double") << int(ov::FrameDouble);
    }
    void statisticsAndConversions()
    {
        QFETCH(int, type);
        ov::RefData<sim::SimFrame> f(ramp(type), false);
        QCOMPARE(int(f->dataType()), type);
        QCOMPARE(int(f->pixelCount()), 12);
        QCOMPARE(f->maxValue(nullptr), 11.0);
        QCOMPARE(f->minValue(nullptr), 0.0);
        QCOMPARE(f->minNonZero(nullptr), 1.0);
        QCOMPARE(f->regionTotal(nullptr), 66.0);
        QCOMPARE(f->regionMean(nullptr), 5.5);
        QVERIFY(std::fabs(f->regionDeviation(nullptr) - std::sqrt(143.0 / 12.0)) < 1e-12);
        // Region: the 2 x 2 block at (1, 1) -> pixels 5, 6, 9, 10.
        const ov::RegionRect block {1, 1, 2, 2};
        const ov::Region r {&block, 1};
        QCOMPARE(f->pixelCountInRegion(&r), 4);
        QCOMPARE(f->regionTotal(&r), 30.0);
        QCOMPARE(f->minValue(&r), 5.0);
        QCOMPARE(f->maxValue(&r), 10.0);
        // Overlapping rectangles count each pixel once; parts outside are clipped.
        const ov::RegionRect two[] = {{0, 0, 2, 1}, {1, 0, 2, 1}, {3, 2, 5, 5}};
        const ov::Region r2 {two, 3};
        QCOMPARE(f->pixelCountInRegion(&r2), 4); // 0, 1, 2 and 11
        QCOMPARE(f->regionTotal(&r2), 14.0);
        const ov::Region empty {nullptr, 0};
        QCOMPARE(f->pixelCountInRegion(&empty), 12);

        // Histogram over [0, 12) in 4 bins: 3 pixels each.
        double hist[4];
        QCOMPARE(f->histogram(4, hist, nullptr, 0.0, 12.0), 12);
        for (double h : hist)
            QCOMPARE(h, 3.0);
        QCOMPARE(f->histogram(2, hist, &r, 0.0, 8.0), 2); // 5 and 6; 9, 10 outside
        QCOMPARE(hist[1], 2.0);
        const double median = f->fractile(0.5, 1000, nullptr);
        // Half of the pixels (0..5) lie at or below the upper edge of the bin of 5.
        QVERIFY2(median >= 5.0 && median <= 5.02, qPrintable(QString::number(median)));
        const double tenth = f->fractile(0.1, 1000, nullptr); // 1.2 of 12 pixels: in 1
        QVERIFY2(tenth >= 0.98 && tenth <= 1.02, qPrintable(QString::number(tenth)));
        QVERIFY(f->fractile(1.0, 100, nullptr) <= 11.0 + 1e-9);

        // getData into each typed buffer.
        ov::DataBuff<double> d;
        QCOMPARE(f->getData(&d, ov::FrameDouble), 0);
        QCOMPARE(int(d.size()), 12);
        QCOMPARE(d[7], 7.0);
        ov::DataBuff<int16_t> s;
        QCOMPARE(f->getData(&s, ov::FrameInt16), 0);
        QCOMPARE(int(s[11]), 11);
        ov::DataBuff<uint32_t> u;
        QCOMPARE(f->getData(&u, ov::FrameUInt32), 0);
        QCOMPARE(u[3], 3u);
        ov::DataBuff<uint64_t> w;
        QCOMPARE(f->getData(&w, ov::FrameUInt64), 0);
        QCOMPARE(w[10], uint64_t(10));
        QCOMPARE(f->getData(&w, 3), -1);

        // dataRef is a window on the pixels themselves.
        ov::RefDataBuff<unsigned char> ref;
        QCOMPARE(f->dataRef(&ref), 0);
        QCOMPARE(int(ref.byteSize()), int(12 * sim::frameTypeSize(type)));
        QVERIFY(ref.dataByte() == f->rawData());

        // scale and clone.
        ov::RefData<ov::IMpxFrame> copy(f->clone(), false);
        QCOMPARE(f->scale(2.0, 0.5), 0);
        QCOMPARE(f->regionTotal(nullptr), 132.0);
        QCOMPARE(f->acqTime(), 0.5);
        QCOMPARE(copy->regionTotal(nullptr), 66.0);
        QCOMPARE(copy->acqTime(), 0.0);

        // convertTo to every type keeps the values.
        for (int to : {2, 5, 7, 9}) {
            ov::RefData<ov::IMpxFrame> c(copy->clone(), false);
            QCOMPARE(c->convertTo(to), 0);
            QCOMPARE(int(c->dataType()), to);
            QCOMPARE(c->regionTotal(nullptr), 66.0);
        }
        QCOMPARE(copy->convertTo(4), -1);
    }

    void conversionsRoundAndClamp()
    {
        ov::RefData<sim::SimFrame> f(sim::SimFrame::create(3, 1, ov::FrameDouble), false);
        const double v[] = {-5.0, 2.6, 1e12};
        QCOMPARE(f->setData(v, sizeof v), 0);
        QCOMPARE(f->setData(v, sizeof v - 1), -1);
        ov::DataBuff<int16_t> s;
        QCOMPARE(f->getData(&s, ov::FrameInt16), 0);
        QCOMPARE(int(s[0]), -5);
        QCOMPARE(int(s[1]), 3);
        QCOMPARE(int(s[2]), 32767);
        ov::DataBuff<uint32_t> u;
        f->getData(&u, ov::FrameUInt32);
        QCOMPARE(u[0], 0u);
        QCOMPARE(u[2], 4294967295u);
        QCOMPARE(f->convertTo(ov::FrameInt16), 0);
        QCOMPARE(f->maxValue(nullptr), 32767.0);
        QCOMPARE(f->scale(-1.0, 0.0), 0);
        QCOMPARE(f->minValue(nullptr), -32767.0);
        QCOMPARE(f->minNonZero(nullptr), -32767.0);
    }

    void namesTimesSubFramesAndCounting()
    {
        const long before = sim::liveCount(sim::Counted::Frame);
        sim::SimFrame* parent = sim::SimFrame::create(2, 2, ov::FrameUInt32);
        QCOMPARE(parent->setFrameName("Energy"), 0);
        QCOMPARE(QString::fromStdString(parent->frameName()), QStringLiteral("Energy"));
        QCOMPARE(parent->setAcqTime(-1.0), -1);
        QCOMPARE(parent->setAcqTime(0.25), 0);
        parent->setFrameInfoSource(77);
        sim::SimFrame* a = sim::SimFrame::create(2, 2, ov::FrameInt16);
        sim::SimFrame* b = sim::SimFrame::create(2, 2, ov::FrameDouble);
        QCOMPARE(parent->addSubFrame(a), 0);
        QCOMPARE(parent->addSubFrame(b), 0);
        QCOMPARE(a->refCount(), 2);
        a->decRef();
        b->decRef();
        QCOMPARE(parent->subFrameCount(), 2);
        const std::vector<ov::IMpxFrame*> subs = parent->subFrames();
        QCOMPARE(int(subs.size()), 2);
        QVERIFY(subs[0] == a && subs[1] == b);
        ov::IMpxFrame* copy = parent->clone();
        QCOMPARE(copy->subFrameCount(), 2);
        QVERIFY(copy->subFrames()[0] != a);
        QCOMPARE(copy->frameInfoSource(), uint64_t(77));
        QCOMPARE(copy->acqTime(), 0.25);
        QCOMPARE(sim::liveCount(sim::Counted::Frame), before + 6);
        copy->decRef();
        QCOMPARE(sim::liveCount(sim::Counted::Frame), before + 3);

        // Counting from several threads at once.
        std::vector<std::thread> threads;
        for (int t = 0; t < 4; ++t)
            threads.emplace_back([parent] {
                for (int i = 0; i < 10000; ++i) {
                    parent->incRef();
                    parent->decRef();
                }
            });
        for (auto& t : threads)
            t.join();
        QCOMPARE(parent->refCount(), 1);

        sim::SimData* data = sim::SimData::create(ov::DataFrameSet);
        data->addFrame(parent);
        parent->decRef(); // the data object holds it now
        QCOMPARE(data->dataKind(), int(ov::DataFrameSet));
        QCOMPARE(int(data->frameCount()), 1);
        QVERIFY(data->frameAt(0) == parent);
        QVERIFY(data->frameAt(1) == nullptr);
        QCOMPARE(sim::liveCount(sim::Counted::Data), m_data0 + 1);
        QCOMPARE(data->decRef(), 0);
        QCOMPARE(sim::liveCount(sim::Counted::Frame), before);
    }
};

QTEST_GUILESS_MAIN(TestFrames)
#include "tst_frames.moc"
