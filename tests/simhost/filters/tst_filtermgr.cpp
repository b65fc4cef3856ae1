// The host's filter manager: which devices have filters, the order of the list with and
// without groups, groups added to every detector, removed, edited, the "FiltersChanged"
// events that go with it, and the settings that bring filters back after a restart.
#include "filterprobe.h"

#include <deviceset.h>
#include <filtersettings.h>
#include <inifile.h>
#include <settingsregistry.h>
#include <simhost.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

namespace {

const QStringList kSingles {QStringLiteral("Dark Subtraction"), QStringLiteral("Flat Field"),
    QStringLiteral("Hot Pixel Mask"), QStringLiteral("Median 3x3"), QStringLiteral("Binning 2x2")};

QStringList namesOf(const std::vector<ov::IDataFilter*>& filters)
{
    QStringList names;
    for (ov::IDataFilter* f : filters) {
        ov::String name;
        f->filterName(name);
        names << QString::fromUtf8(name.get());
    }
    return names;
}

ov::IDataFilter* byName(ov::IDataFilterMgr* mgr, ov::IDev* dev, const QString& name)
{
    for (ov::IDataFilter* f : mgr->deviceFilters(dev, true)) {
        ov::String text;
        f->filterName(text);
        if (QString::fromUtf8(text.get()) == name)
            return f;
    }
    return nullptr;
}

// A detector without physics (a Timepix3 page-less device) and a motor.
sim::DeviceDesc detector(uint32_t serial)
{
    return sim::makeDeviceDesc(ov::DevKindTpx3, serial);
}

QString storePath(const QString& home, const sim::DeviceDesc& desc)
{
    return QDir(home).filePath(QStringLiteral("settings/filters/%1.ini")
                                   .arg(sim::SettingsRegistry::deviceKey(desc.name, desc.serial)));
}

} // namespace

class TestFilterMgr : public QObject
{
    Q_OBJECT

private slots:
    void listOrder()
    {
        QTemporaryDir home;
        sim::SimHost host(home.path());
        ov::IDataFilterMgr* mgr = host.dataFilterMgr();
        QVERIFY(mgr);
        ov::IDev* dev = host.connectDevice(detector(101));
        ov::IDev* motor = host.connectDevice(sim::makeDeviceDesc(ov::DevKindMotor, 102));
        ov::IDev* file = host.connectDevice(sim::makeDeviceDesc(ov::DevKindFile, 103));
        QCOMPARE(namesOf(mgr->deviceFilters(dev, true)), kSingles);
        QCOMPARE(namesOf(mgr->deviceFilters(file, false)), kSingles);
        ov::PtrList<ov::IDataFilter*> none;
        QCOMPARE(mgr->filters(motor, none, true), -1);
        QCOMPARE(none.size(), 0u);
        for (ov::IDataFilter* f : mgr->deviceFilters(dev, false))
            QCOMPARE(f->filterType(), int(ov::DataFilterFrame));

        QCOMPARE(mgr->addGroup("Second"), 0);
        QCOMPARE(mgr->addGroup("First"), 0);
        QCOMPARE(namesOf(mgr->deviceFilters(dev, false)), kSingles);
        QCOMPARE(namesOf(mgr->deviceFilters(dev, true)),
            (kSingles + QStringList {QStringLiteral("Second"), QStringLiteral("First")}));
        QCOMPARE(byName(mgr, dev, QStringLiteral("First"))->filterType(), int(ov::DataFilterGroup));
    }

    void groupsOnEveryDetector()
    {
        QTemporaryDir home;
        sim::SimHost host(home.path());
        ov::IDataFilterMgr* mgr = host.dataFilterMgr();
        QCOMPARE(mgr->addGroup("Lonely"), -1); // no device yet
        ov::IDev* a = host.connectDevice(detector(201));
        ov::IDev* b = host.connectDevice(detector(202));
        host.connectDevice(sim::makeDeviceDesc(ov::DevKindXray, 203));
        filterprobe::EventCounter eventsA;
        filterprobe::EventCounter eventsB;
        eventsA.watch(a);
        eventsB.watch(b);

        QCOMPARE(mgr->addGroup(" Beam "), 0);
        QVERIFY(byName(mgr, a, QStringLiteral("Beam")));
        QVERIFY(byName(mgr, b, QStringLiteral("Beam")));
        QCOMPARE(eventsA.count.load(), 1);
        QCOMPARE(eventsB.count.load(), 1);
        // Names in use, and no name at all, are refused and fire nothing.
        QCOMPARE(mgr->addGroup("Beam"), -1);
        QCOMPARE(mgr->addGroup("Median 3x3"), -1);
        QCOMPARE(mgr->addGroup(""), -1);
        QCOMPARE(mgr->addGroup("   "), -1);
        QCOMPARE(mgr->addGroup(nullptr), -1);
        QCOMPARE(eventsA.count.load(), 1);

        // Edits of a group fire on its own device only.
        auto* group = dynamic_cast<ov::IDataFilterGroup*>(byName(mgr, a, QStringLiteral("Beam")));
        QVERIFY(group);
        QCOMPARE(group->addFilterByName("Median 3x3"), 0);
        QCOMPARE(group->addFilterByName("Median 3x3"), 0);
        QCOMPARE(eventsA.count.load(), 3);
        QCOMPARE(group->addFilterByName("No Such Filter"), -1);
        QCOMPARE(group->addFilterByName("Beam"), -1); // a group is no member
        QCOMPARE(group->addFilterByName(nullptr), -1);
        QCOMPARE(eventsA.count.load(), 3);
        // The members in order, the same filter twice.
        ov::IDataFilter* median = byName(mgr, a, QStringLiteral("Median 3x3"));
        QCOMPARE(group->memberFilters(), std::vector<ov::IDataFilter*>({median, median}));
        QCOMPARE(group->clearFilters(), 0);
        QVERIFY(group->memberFilters().empty());
        QCOMPARE(eventsA.count.load(), 4);
        QCOMPARE(group->clearFilters(), 0); // already empty: no change, no event
        QCOMPARE(eventsA.count.load(), 4);
        QCOMPARE(eventsB.count.load(), 1);

        // Parameters are no change of the list.
        QCOMPARE(byName(mgr, a, QStringLiteral("Hot Pixel Mask"))
                     ->filterParams()
                     ->param("Sigma")
                     ->setDoubleValue(3.0),
            0);
        QCOMPARE(eventsA.count.load(), 4);

        // Removing: a group of that device only; single filters stay.
        ov::IDataFilter* single = byName(mgr, a, QStringLiteral("Flat Field"));
        QCOMPARE(mgr->removeFilter(a, single), -1);
        QCOMPARE(mgr->removeFilter(a, byName(mgr, b, QStringLiteral("Beam"))), -1);
        QCOMPARE(mgr->removeFilter(a, nullptr), -1);
        QCOMPARE(eventsA.count.load(), 4);
        QCOMPARE(mgr->removeFilter(a, group), 0);
        QCOMPARE(eventsA.count.load(), 5);
        QCOMPARE(mgr->removeFilter(a, group), -1);
        QCOMPARE(namesOf(mgr->deviceFilters(a, true)), kSingles);
        QCOMPARE(namesOf(mgr->deviceFilters(b, true)), (kSingles + QStringList {"Beam"}));
        // The removed group stays a valid object that filters nothing.
        sim::SimFrame* frame = filterprobe::makeFrame(2, 2, ov::FrameDouble, {1, 2, 3, 4});
        QVERIFY(!group->isSuitable(frame));
        QCOMPARE(group->addFilterByName("Median 3x3"), -1);
        frame->decRef();
        // Its name is free again on that device, not on the other.
        QCOMPARE(mgr->addGroup("Beam"), -1);
        QCOMPARE(eventsA.count.load(), 5);
    }

    // A removed device takes its filters along; a new one starts with the single
    // filters only.
    void deviceGoes()
    {
        QTemporaryDir home;
        sim::SimHost host(home.path());
        ov::IDataFilterMgr* mgr = host.dataFilterMgr();
        ov::IDev* a = host.connectDevice(detector(301));
        QCOMPARE(mgr->addGroup("G"), 0);
        QVERIFY(host.removeDevice(a));
        ov::PtrList<ov::IDataFilter*> list;
        QCOMPARE(mgr->filters(a, list, true), -1);
        ov::IDev* b = host.connectDevice(detector(302));
        QCOMPARE(namesOf(mgr->deviceFilters(b, true)), kSingles);
    }

    void persistence()
    {
        QTemporaryDir home;
        QTemporaryDir data;
        const QString dark = data.filePath(QStringLiteral("dark.bin"));
        QVERIFY(filterprobe::writeDoubleFrame(dark.toStdString(), 2, 2, {1, 2, 3, 4}));
        const sim::DeviceDesc desc = detector(401);
        {
            sim::SimHost host(home.path());
            ov::IDataFilterMgr* mgr = host.dataFilterMgr();
            ov::IDev* dev = host.connectDevice(desc);
            host.connectDevice(detector(402));
            QCOMPARE(byName(mgr, dev, QStringLiteral("Dark Subtraction"))
                         ->filterParams()
                         ->param("File")
                         ->setStringValue(dark.toUtf8().constData()),
                0);
            QCOMPARE(byName(mgr, dev, QStringLiteral("Dark Subtraction"))
                         ->filterParams()
                         ->param("Scale")
                         ->setDoubleValue(0.5),
                0);
            QCOMPARE(byName(mgr, dev, QStringLiteral("Hot Pixel Mask"))
                         ->filterParams()
                         ->param("Radius")
                         ->setU32Value(3),
                0);
            for (const char* name : {"Gone", "Chain", "Empty", "Pipe|Name"})
                QCOMPARE(mgr->addGroup(name), 0);
            auto* chain
                = dynamic_cast<ov::IDataFilterGroup*>(byName(mgr, dev, QStringLiteral("Chain")));
            for (const char* member : {"Dark Subtraction", "Binning 2x2", "Dark Subtraction"})
                QCOMPARE(chain->addFilterByName(member), 0);
            auto* pipe = dynamic_cast<ov::IDataFilterGroup*>(
                byName(mgr, dev, QStringLiteral("Pipe|Name")));
            QCOMPARE(pipe->addFilterByName("Median 3x3"), 0);
            QCOMPARE(mgr->removeFilter(dev, byName(mgr, dev, QStringLiteral("Gone"))), 0);
        }
        sim::SimHost host(home.path());
        ov::IDataFilterMgr* mgr = host.dataFilterMgr();
        ov::IDev* dev = host.connectDevice(desc);
        QCOMPARE(namesOf(mgr->deviceFilters(dev, true)),
            (kSingles + QStringList {"Chain", "Empty", "Pipe|Name"}));
        ov::IParamMgr* darkParams
            = byName(mgr, dev, QStringLiteral("Dark Subtraction"))->filterParams();
        QCOMPARE(QString::fromStdString(darkParams->param("File")->getString()), dark);
        QCOMPARE(darkParams->param("Scale")->doubleValue(), 0.5);
        QCOMPARE(byName(mgr, dev, QStringLiteral("Hot Pixel Mask"))
                     ->filterParams()
                     ->param("Radius")
                     ->u32Value(),
            3u);
        const auto chain = host.filterMgr().filtersOf(dev)->group("Chain")->members();
        QCOMPARE(chain,
            (std::vector<std::string> {"Dark Subtraction", "Binning 2x2", "Dark Subtraction"}));
        QVERIFY(host.filterMgr().filtersOf(dev)->group("Empty")->members().empty());
        QCOMPARE(host.filterMgr().filtersOf(dev)->group("Pipe|Name")->members(),
            std::vector<std::string> {"Median 3x3"});
        // The dark frame was read again: it fits a 2 x 2 frame; the chain's second
        // dark comes after the binning, on a 1 x 1 frame, which it does not fit.
        sim::SimFrame* frame = filterprobe::makeFrame(2, 2, ov::FrameDouble, {5, 5, 5, 5});
        QVERIFY(byName(mgr, dev, QStringLiteral("Dark Subtraction"))->isSuitable(frame));
        QVERIFY(!byName(mgr, dev, QStringLiteral("Chain"))->isSuitable(frame));
        frame->decRef();
        // The other device kept its own groups, with the one removed only from the first.
        ov::IDev* other = host.connectDevice(detector(402));
        QCOMPARE(namesOf(mgr->deviceFilters(other, true)),
            (kSingles + QStringList {"Gone", "Chain", "Empty", "Pipe|Name"}));
    }

    // Entries that cannot be used are skipped with a log line; the rest comes back.
    void corruptEntries()
    {
        QTemporaryDir home;
        const sim::DeviceDesc desc = detector(501);
        sim::ini::Values values;
        values[QStringLiteral("Groups")] = {{"Count", "4"}, {"Name1", "Good"},
            {"Members1", "Median 3x3|Binning 2x2"}, {"Name2", "Bad"},
            {"Members2", "Median 3x3|Nope"}, {"Name3", ""}, {"Name4", "Flat Field"}};
        values[QStringLiteral("Hot Pixel Mask")] = {{"Sigma", "abc"}, {"Radius", "2"}};
        values[QStringLiteral("Dark Subtraction")] = {{"File", "/no/such/dark.bin"}};
        values[QStringLiteral("Unknown Filter")] = {{"X", "1"}};
        QString error;
        QVERIFY2(
            sim::ini::writeFile(storePath(home.path(), desc), values, &error), qPrintable(error));

        sim::SimHost host(home.path());
        ov::IDataFilterMgr* mgr = host.dataFilterMgr();
        ov::IDev* dev = host.connectDevice(desc);
        QCOMPARE(namesOf(mgr->deviceFilters(dev, true)), (kSingles + QStringList {"Good"}));
        QCOMPARE(host.filterMgr().filtersOf(dev)->group("Good")->members(),
            (std::vector<std::string> {"Median 3x3", "Binning 2x2"}));
        ov::IParamMgr* hot = byName(mgr, dev, QStringLiteral("Hot Pixel Mask"))->filterParams();
        QCOMPARE(hot->param("Sigma")->doubleValue(), 5.0);
        QCOMPARE(hot->param("Radius")->u32Value(), 2u);
        QCOMPARE(byName(mgr, dev, QStringLiteral("Dark Subtraction"))
                     ->filterParams()
                     ->param("File")
                     ->getString(),
            std::string());
        const QString history = host.logHistory().join(QLatin1Char('\n'));
        for (const char* said : {"group 'Bad' skipped", "group 3 skipped",
                 "group 'Flat Field' skipped", "Hot Pixel Mask, parameter Sigma skipped",
                 "Cannot read frame file /no/such/dark.bin", "section [Unknown Filter] skipped"})
            QVERIFY2(history.contains(QLatin1String(said)), said);
    }

    // A store that is not an ini file at all: logged, defaults, no crash.
    void brokenStore()
    {
        QTemporaryDir home;
        const sim::DeviceDesc desc = detector(601);
        const QString path = storePath(home.path(), desc);
        QVERIFY(QDir().mkpath(QFileInfo(path).absolutePath()));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray("\x00\xff[Groups\nCount=\x01", 18));
        file.close();
        sim::SimHost host(home.path());
        ov::IDev* dev = host.connectDevice(desc);
        QCOMPARE(namesOf(host.dataFilterMgr()->deviceFilters(dev, true)), kSingles);
        QVERIFY(host.logHistory().join(QLatin1Char('\n')).contains(path));
    }
};

QTEST_GUILESS_MAIN(TestFilterMgr)
#include "tst_filtermgr.moc"
