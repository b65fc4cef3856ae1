// The helper thread of the paint loops: every row painted exactly once, by at most
// two threads, also when several callers share the helper.
#include "paintbands.h"

#include <QTest>

#include <atomic>
#include <memory>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

namespace {

// Counts how often each row was painted and checks the bands handed out.
struct RowLog
{
    RowLog(unsigned int rowCount, unsigned int rowsPerBand)
        : counts(new std::atomic<int>[rowCount]), rows(rowCount), bandRows(rowsPerBand)
    {
        for (unsigned int i = 0; i < rows; ++i)
            counts[i].store(0);
    }

    void operator()(unsigned int first, unsigned int end)
    {
        if (first >= end || end > rows || end - first > std::max(bandRows, 1u))
            badBands.fetch_add(1);
        for (unsigned int y = first; y < end && y < rows; ++y)
            counts[y].fetch_add(1);
        std::lock_guard<std::mutex> lock(mutex);
        threads.insert(std::this_thread::get_id());
    }

    bool eachRowOnce() const
    {
        for (unsigned int i = 0; i < rows; ++i)
            if (counts[i].load() != 1)
                return false;
        return true;
    }

    std::unique_ptr<std::atomic<int>[]> counts;
    unsigned int rows;
    unsigned int bandRows;
    std::atomic<int> badBands {0};
    std::mutex mutex;
    std::set<std::thread::id> threads;
};

} // namespace

class TstPaintBands : public QObject
{
    Q_OBJECT

private slots:
    void everyRowOnce_data()
    {
        QTest::addColumn<unsigned int>("rows");
        QTest::addColumn<unsigned int>("bandRows");
        QTest::newRow("no rows") << 0u << 4u;
        QTest::newRow("one row") << 1u << 1u;
        QTest::newRow("one band") << 10u << 16u;
        QTest::newRow("bands of one row") << 300u << 1u;
        QTest::newRow("last band short") << 1000u << 7u;
        QTest::newRow("band of zero rows taken as one") << 5u << 0u;
    }

    void everyRowOnce()
    {
        QFETCH(unsigned int, rows);
        QFETCH(unsigned int, bandRows);
        for (int pass = 0; pass < 50; ++pass) {
            RowLog log(rows, bandRows);
            mpxpaint::runBands(rows, bandRows, log);
            QVERIFY(log.eachRowOnce());
            QCOMPARE(log.badBands.load(), 0);
            QVERIFY(log.threads.size() <= 2);
            if (rows <= std::max(bandRows, 1u)) {
                // A single band is not worth a hand-off: the caller paints it.
                QVERIFY(log.threads.size() <= 1);
                if (rows > 0)
                    QVERIFY(log.threads.count(std::this_thread::get_id()) == 1);
            }
        }
    }

    void callersOnSeveralThreads()
    {
        // Callers that find the helper busy paint alone; none waits for another's job.
        std::atomic<int> failures {0};
        auto caller = [&failures] {
            for (int pass = 0; pass < 200; ++pass) {
                RowLog log(64, 3);
                mpxpaint::runBands(64, 3, log);
                if (!log.eachRowOnce() || log.badBands.load() != 0 || log.threads.size() > 2)
                    failures.fetch_add(1);
            }
        };
        std::vector<std::thread> callers;
        for (int i = 0; i < 3; ++i)
            callers.emplace_back(caller);
        for (std::thread& t : callers)
            t.join();
        QCOMPARE(failures.load(), 0);
    }

    void jobsStayApart()
    {
        // Rows written by one job are the job's own: a second job right after the
        // first sees none of the first one's bands.
        for (int pass = 0; pass < 500; ++pass) {
            RowLog first(40, 1);
            mpxpaint::runBands(40, 1, first);
            RowLog second(40, 1);
            mpxpaint::runBands(40, 1, second);
            QVERIFY(first.eachRowOnce());
            QVERIFY(second.eachRowOnce());
        }
    }
};

QTEST_GUILESS_MAIN(TstPaintBands)
#include "tst_paintbands.moc"
