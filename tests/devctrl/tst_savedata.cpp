// Saving and loading data with the detector controller: the save dialog's file types,
// the extension of the chosen filter, the multi-frame question, the save operations on
// the simulated Timepix in every host file type, pictures, and loading files back with
// progress, abort and damaged input. The dialogs are driven as a user would drive them.
#include "devctrlmpx2.h"
#include "modaldriver.h"
#include "nulldevice.h"

#include "livecounts.h"
#include "simframe.h"
#include "simhost.h"
#include "timepixdevice.h"

#include <qmpxframe.h>

#include <QImage>
#include <QProgressDialog>
#include <QSettings>
#include <QTabBar>
#include <QTemporaryDir>
#include <QtTest>

#include <atomic>
#include <cstring>
#include <memory>
#include <mutex>
#include <vector>

using namespace PluginDevControl;

namespace {

// A file type of the test's own; canSaveFrames(1) can be made to answer false for
// the first question only, so that a data object can take the background path.
class TestFileType final : public ov::IFileType
{
public:
    TestFileType(const char* description, const char* extension, int typeCodeOf, bool takesFrames,
        ov::IFileType* innerType = nullptr)
        : desc(description), ext(extension), code(typeCodeOf), frames(takesFrames), inner(innerType)
    { }
    bool canSaveFrames(int flag) const override
    {
        if (flag == 1 && refuseFirstFrameQuestion && !asked.exchange(true))
            return false;
        return frames;
    }
    bool isMultiFrame() const override { return inner ? inner->isMultiFrame() : code == 4; }
    int typeCode() const override { return code; }
    const char* description() const override { return desc; }
    const char* extension() const override { return ext; }
    ov::IParamMgr* params() override { return nullptr; }

    const char* desc;
    const char* ext;
    int code;
    bool frames;
    ov::IFileType* inner;
    bool refuseFirstFrameQuestion = false;
    mutable std::atomic<bool> asked {false};
};

// A data manager that lists the test's types, and hands everything else to the
// simulated host's manager when there is one.
class TestDataMgr final : public ov::IDataMgr
{
public:
    explicit TestDataMgr(ov::IDataMgr* innerMgr = nullptr) : inner(innerMgr) { }
    ov::IMpxFrame* createMpxFrame(unsigned w, unsigned h, int t) override
    {
        return inner ? inner->createMpxFrame(w, h, t) : nullptr;
    }
    ov::IData* loadData(ov::IFilePath* p, int i) override
    {
        return inner ? inner->loadData(p, i) : nullptr;
    }
    int frameCountInFile(ov::IFilePath* p) override
    {
        return inner ? inner->frameCountInFile(p) : -1;
    }
    int dataCountInFile(ov::IFilePath* p) override
    {
        return inner ? inner->dataCountInFile(p) : -1;
    }
    int fileTypeIdFromFileName(ov::IFilePath* p) override
    {
        return inner ? inner->fileTypeIdFromFileName(p) : -1;
    }
    ov::IFileType* fileTypeFromFileName(ov::IFilePath* p) override
    {
        return inner ? inner->fileTypeFromFileName(p) : nullptr;
    }
    ov::IFileType* fileTypeById(int c) override { return inner ? inner->fileTypeById(c) : nullptr; }
    int supportedFileTypes(ov::IDevMpx*, ov::PtrList<ov::IFileType*>& out) override
    {
        for (ov::IFileType* t : types)
            out.add(t);
        return 0;
    }

    ov::IDataMgr* inner;
    std::vector<ov::IFileType*> types;
};

// A host whose data manager is the test's; the rest goes to the simulated host.
class TestOrvel final : public ov::IOrvel
{
public:
    TestOrvel(ov::IOrvel* innerOrvel, ov::IDataMgr* dataMgrOf) : inner(innerOrvel), mgr(dataMgrOf)
    { }
    int devices(ov::PtrList<ov::IDev*>& out) override { return inner ? inner->devices(out) : 0; }
    ov::ISettings* moduleSettings(const char* m, ov::IDev* d, int f) override
    {
        return inner ? inner->moduleSettings(m, d, f) : nullptr;
    }
    ov::ICoreSettings* settingsStore() override { return inner ? inner->settingsStore() : nullptr; }
    ov::IDataMgr* dataMgr() override { return mgr; }
    ov::IDataFilterMgr* dataFilterMgr() override { return nullptr; }
    int registerEvent(const char*, ov::EventCallback, void*) override { return -1; }
    int registerLogCallback(ov::LogCallback, void*) override { return -1; }
    int unregisterLogCallback(ov::LogCallback, void*) override { return -1; }
    ov::IUiHooks* uiHooks() override { return nullptr; }
    int requestExit() override { return -1; }

    ov::IOrvel* inner;
    ov::IDataMgr* mgr;
};

// A detector that answers only the device information record.
class InfoDevice final : public testdev::NullDevMpx2
{
public:
    explicit InfoDevice(uint32_t infoKind) : kind(infoKind) { }
    int deviceInfo(ov::DevInfo* out) override
    {
        std::memset(out, 0, sizeof(*out));
        out->kind = kind;
        return 0;
    }
    uint32_t kind;
};

std::vector<double> pixelsOf(ov::IMpxFrame* frame)
{
    ov::DataBuff<double> pixels;
    if (!frame || frame->getData(&pixels, ov::FrameDouble) != 0)
        return {};
    return std::vector<double>(pixels.data(), pixels.data() + pixels.size());
}

std::vector<double> shownPixels(QMpxFrame* widget)
{
    const double* data = widget->image->getData();
    const size_t n = size_t(widget->image->getDataWidth()) * widget->image->getDataHeight();
    return data ? std::vector<double>(data, data + n) : std::vector<double>();
}

struct LogLines
{
    std::mutex mutex;
    QStringList errors;
    static void callback(unsigned level, const char* text, long user)
    {
        auto* self = reinterpret_cast<LogLines*>(user);
        std::lock_guard<std::mutex> lock(self->mutex);
        if (level == ov::LogError)
            self->errors.append(QString::fromUtf8(text));
    }
    QStringList take()
    {
        std::lock_guard<std::mutex> lock(mutex);
        return errors;
    }
};

} // namespace

class TstSaveData : public QObject
{
    Q_OBJECT

    livecounts::FramesAndData liveAtStart;
    std::unique_ptr<QTemporaryDir> home;
    std::unique_ptr<QTemporaryDir> out;
    std::unique_ptr<sim::SimHost> host;
    std::shared_ptr<sim::TimepixDevice> chip;
    ov::IDevMpx2* dev = nullptr;
    std::unique_ptr<QMpxFrame> widget;
    std::unique_ptr<QTabBar> tabs;
    std::unique_ptr<DevCtrlMpx2> ctrl;

    QString path(const QString& name) const { return out->filePath(name); }

    DevCtrlMpx2* makeCtrl(ov::IOrvel* orvel = nullptr)
    {
        ctrl = std::make_unique<DevCtrlMpx2>(
            orvel ? orvel : host.get(), dev, widget.get(), tabs.get());
        return ctrl.get();
    }

    void measure(int frames)
    {
        ctrl->acqParams().acqCount = frames;
        ctrl->acqParams().acqTime = 0.0;
        QSignalSpy done(ctrl.get(), &DevCtrlMpx::acqAllFinished);
        QCOMPARE(ctrl->startAcq(), 0);
        QTRY_COMPARE_WITH_TIMEOUT(done.count(), 1, 60000);
        QVERIFY(QTest::qWaitFor([] { return DevCtrlMpx::detachedThreadCount() == 0; }, 60000));
        QCOMPARE(ctrl->acqFrameCount(), frames);
    }

    std::vector<std::vector<double>> measuredPixels(int frames)
    {
        std::vector<std::vector<double>> result;
        for (int i = 0; i < frames; ++i) {
            ov::RefData<ov::IMpxFrame> f(dev->acqFrameRefInc(unsigned(i)), false);
            result.push_back(pixelsOf(f.get()));
        }
        return result;
    }

private slots:
    void initTestCase() { QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs); }

    void init()
    {
        liveAtStart = livecounts::framesAndData();
        home = std::make_unique<QTemporaryDir>();
        out = std::make_unique<QTemporaryDir>();
        host = std::make_unique<sim::SimHost>(home->path());
        sim::DeviceDesc desc = sim::makeDeviceDesc(1, 4343);
        desc.chips = 1;
        desc.width = 256;
        desc.height = 256;
        chip = std::make_shared<sim::TimepixDevice>(desc);
        dev = dynamic_cast<ov::IDevMpx2*>(host->connectDevice(chip));
        QVERIFY(dev);
        widget = std::make_unique<QMpxFrame>();
        widget->resize(300, 300);
        tabs = std::make_unique<QTabBar>();
        QSettings(QSettings::IniFormat, QSettings::UserScope, "Velmora", "Orvel").clear();
    }

    void cleanup()
    {
        QVERIFY(QTest::qWaitFor([] { return DevCtrlMpx::detachedThreadCount() == 0; }, 60000));
        ctrl.reset();
        tabs.reset();
        widget.reset();
        dev = nullptr;
        chip.reset();
        host.reset();
        out.reset();
        home.reset();
        QCOMPARE(livecounts::framesAndData(), liveAtStart);
    }

    // The filter list follows the device's types in order; a device information value
    // of 4 drops the first "t3r" type only; framesOnly drops types that take no frames.
    void filterListAndT3rRule_data()
    {
        QTest::addColumn<uint>("kind");
        QTest::addColumn<bool>("framesOnly");
        QTest::addColumn<QStringList>("filters");
        const QString raw = "Raw events (*.t3r)", multi = "Multi-frame file (*.mfd)",
                      raw2 = "Raw copy (*.t3r)", pixels = "Pixel list (*.pxl)";
        QTest::newRow("kind 0") << 0u << false << QStringList {raw, multi, raw2, pixels};
        QTest::newRow("kind 4") << 4u << false << QStringList {multi, raw2, pixels};
        QTest::newRow("kind 22") << 22u << false << QStringList {raw, multi, raw2, pixels};
        QTest::newRow("kind 4, frames only") << 4u << true << QStringList {multi, raw2};
    }
    void filterListAndT3rRule()
    {
        QFETCH(uint, kind);
        QFETCH(bool, framesOnly);
        QFETCH(QStringList, filters);
        TestFileType raw("Raw events", "t3r", 20, true), multi("Multi-frame file", "mfd", 4, true),
            raw2("Raw copy", "t3r", 21, true), pixels("Pixel list", "pxl", 30, false);
        TestDataMgr mgr;
        mgr.types = {&raw, &multi, &raw2, &pixels};
        TestOrvel orvel(nullptr, &mgr);
        InfoDevice device(kind);
        DevCtrlMpx c(&orvel, &device, nullptr, nullptr);

        ModalDriver driver;
        QStringList seen;
        driver.fileDialog(QString(), QString(), &seen); // look, then cancel
        ov::IFileType* type = nullptr;
        unsigned flags = 99;
        QCOMPARE(c.getSaveFileName(&type, &flags, framesOnly), QString());
        QVERIFY(driver.done());
        QCOMPARE(seen, filters);
        QCOMPARE(type, nullptr);
        QCOMPARE(flags, 0u);
    }

    // A name typed without extension gets the one of the chosen filter; the type is the
    // filter's, and the dialog remembers directory and filter.
    void typedNameGetsExtensionOfFilter()
    {
        TestFileType multi("Multi-frame file", "mfd", 4, true),
            pixels("Pixel list", "pxl", 30, false);
        TestDataMgr mgr;
        mgr.types = {&multi, &pixels};
        TestOrvel orvel(nullptr, &mgr);
        InfoDevice device(0);
        DevCtrlMpx c(&orvel, &device, nullptr, nullptr);

        ModalDriver driver;
        driver.fileDialog("Pixel list (*.pxl)", path("noext"));
        ov::IFileType* type = nullptr;
        unsigned flags = 99;
        const QString name = c.getSaveFileName(&type, &flags, false);
        QVERIFY(driver.done());
        QCOMPARE(name, QDir::toNativeSeparators(path("noext.pxl")));
        QCOMPARE(type, &pixels);
        QCOMPARE(flags, 0u);
        QSettings settings(QSettings::IniFormat, QSettings::UserScope, "Velmora", "Orvel");
        QCOMPARE(settings.value("SelectedFilter").toString(), QString("Pixel list (*.pxl)"));
        QCOMPARE(settings.value("devctrl/savefile").toString(),
            QFileInfo(out->path()).absoluteFilePath());
        QCOMPARE(settings.value("DefaultOpenFileDir").toString(),
            QFileInfo(out->path()).absoluteFilePath());

        // The next dialog starts from the stored filter and directory, and a name with
        // an extension of its own keeps it.
        QString startDir;
        QString startFilter;
        driver.add([&](QWidget* w) {
            auto* dialog = qobject_cast<QFileDialog*>(w);
            if (!dialog)
                return false;
            startDir = dialog->directory().absolutePath();
            startFilter = dialog->selectedNameFilter();
            dialog->reject();
            return true;
        });
        QCOMPARE(c.getSaveFileName(&type, &flags, false), QString());
        QCOMPARE(startDir, QFileInfo(out->path()).absoluteFilePath());
        QCOMPARE(startFilter, QString("Pixel list (*.pxl)"));
        driver.fileDialog("Pixel list (*.pxl)", path("named.dat"));
        QCOMPARE(
            c.getSaveFileName(&type, &flags, false), QDir::toNativeSeparators(path("named.dat")));
    }

    // The multi-frame question: each choice and its flags; cancel gives 4.
    void multiFrameQuestion_data()
    {
        QTest::addColumn<QString>("item");
        QTest::addColumn<uint>("flags");
        QTest::newRow("ASCII Sparse") << "ASCII Sparse" << 4u;
        QTest::newRow("ASCII Matrix") << "ASCII Matrix" << 0u;
        QTest::newRow("Binary Sparse") << "Binary Sparse" << 6u;
        QTest::newRow("Binary Matrix") << "Binary Matrix" << 2u;
        QTest::newRow("cancel") << QString() << 4u;
    }
    void multiFrameQuestion()
    {
        QFETCH(QString, item);
        QFETCH(uint, flags);
        TestFileType multi("Multi-frame file", "mfd", 4, true);
        TestDataMgr mgr;
        mgr.types = {&multi};
        TestOrvel orvel(nullptr, &mgr);
        InfoDevice device(0);
        DevCtrlMpx c(&orvel, &device, nullptr, nullptr);

        ModalDriver driver;
        QString title, label;
        QStringList items;
        driver.fileDialog("Multi-frame file (*.mfd)", path("series.mfd"));
        driver.itemDialog(item, &title, &label, &items);
        ov::IFileType* type = nullptr;
        unsigned got = 99;
        QCOMPARE(
            c.getSaveFileName(&type, &got, true), QDir::toNativeSeparators(path("series.mfd")));
        QVERIFY(driver.done());
        QCOMPARE(type, &multi);
        QCOMPARE(got, flags);
        QCOMPARE(title, QString("Multiframe type"));
        QCOMPARE(label, QString("Please select the type of multi frame file"));
        QCOMPARE(
            items, QStringList({"ASCII Sparse", "ASCII Matrix", "Binary Sparse", "Binary Matrix"}));
    }

    // A measurement saved through "Save Data" in each host type and loaded back: the
    // same pixels, entry by entry, and the first loaded frame on show.
    void saveAndLoadEveryHostType_data()
    {
        QTest::addColumn<QString>("filter");
        QTest::addColumn<QString>("item");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QStringList>("written");
        QTest::newRow("mfd ASCII sparse") << "Multi-frame file (*.mfd)"
                                          << "ASCII Sparse"
                                          << "m1.mfd" << QStringList {"m1.mfd"};
        QTest::newRow("mfd ASCII matrix") << "Multi-frame file (*.mfd)"
                                          << "ASCII Matrix"
                                          << "m2.mfd" << QStringList {"m2.mfd"};
        QTest::newRow("mfd binary sparse") << "Multi-frame file (*.mfd)"
                                           << "Binary Sparse"
                                           << "m3.mfd" << QStringList {"m3.mfd"};
        QTest::newRow("mfd binary matrix") << "Multi-frame file (*.mfd)"
                                           << "Binary Matrix"
                                           << "m4.mfd" << QStringList {"m4.mfd"};
        QTest::newRow("mfd question cancelled")
            << "Multi-frame file (*.mfd)" << QString() << "m5" << QStringList {"m5.mfd"};
        QTest::newRow("text") << "Text matrix frame (*.txt)" << QString() << "t.txt"
                              << QStringList {"t0.txt", "t1.txt", "t2.txt"};
        QTest::newRow("binary") << "Binary frame (*.bin)" << QString() << "b.bin"
                                << QStringList {"b0.bin", "b1.bin", "b2.bin"};
    }
    void saveAndLoadEveryHostType()
    {
        QFETCH(QString, filter);
        QFETCH(QString, item);
        QFETCH(QString, name);
        QFETCH(QStringList, written);
        makeCtrl();
        measure(3);
        const auto original = measuredPixels(3);
        ctrl->showAcqFrame(2);

        ModalDriver driver;
        driver.fileDialog(filter, path(name));
        if (filter.contains("mfd"))
            driver.itemDialog(item);
        ctrl->saveAcqData();
        QVERIFY(driver.done());
        QList<QString> files;
        for (const QString& file : written) {
            QVERIFY2(QFileInfo::exists(path(file)), qPrintable(file));
            files.append(path(file));
        }

        ctrl->loadFiles(files);
        QCOMPARE(int(ctrl->loadedFileList().size()), 3);
        QCOMPARE(ctrl->acqFrameCount(), 3);
        for (int i = 0; i < 3; ++i) {
            const FileInfo& info = ctrl->loadedFileList()[size_t(i)];
            QCOMPARE(info.type, 4);
            QVERIFY(info.multiFrame);
            QCOMPARE(info.index, written.size() == 1 ? i : 0);
            ov::RefData<ov::IData> data(ctrl->acqData(unsigned(i)), false);
            QVERIFY(data);
            QCOMPARE(pixelsOf(data->frameAt(0)), original[size_t(i)]);
        }
        ctrl->showAcqFrame(0);
        QCOMPARE(pixelsOf(ctrl->currentFrame().get()), original[0]);
        QCOMPARE(shownPixels(widget.get()), original[0]);
    }

    // One frame saved to a picture: the picture part is twice the frame's width and
    // height (the file adds the same axes and colour bar as any picture of the widget).
    void pictureIsTwiceTheFrame()
    {
        makeCtrl();
        measure(1);
        ctrl->showAcqFrame(0);
        ModalDriver driver;
        driver.fileDialog("Picture (*.png)", path("shot.png"));
        ctrl->saveCurrentFrame();
        QVERIFY(driver.done());
        QImage saved(path("shot.png"));
        QVERIFY(!saved.isNull());

        // The same frame written by a frame widget at its own size, for the extras.
        QMpxFrame reference;
        ov::RefData<ov::IMpxFrame> f(dev->acqFrameRefInc(0), false);
        std::vector<double> pixels = pixelsOf(f.get());
        reference.setData<double>(pixels.data(), f->width(), f->height());
        QVERIFY(reference.saveToFile(qPrintable(path("ref.png")), f->width(), f->height(),
            QMpxFrame::PictureSize, true, true, true));
        QImage single(path("ref.png"));
        QCOMPARE(saved.width() - single.width(), int(f->width()));
        QCOMPARE(saved.height() - single.height(), int(f->height()));
    }

    // Save all frames: one file per frame, numbered with four digits, each as shown.
    void saveAllFramesNumbersWithFourDigits()
    {
        makeCtrl();
        measure(3);
        const auto original = measuredPixels(3);
        ctrl->showAcqFrame(0);
        ModalDriver driver;
        driver.fileDialog("Text matrix frame (*.txt)", path("all.txt"));
        ctrl->saveAllFrames();
        QVERIFY(driver.done());
        QList<QString> files;
        for (int i = 0; i < 3; ++i) {
            const QString file = path(QString("all_%1.txt").arg(i, 4, 10, QChar('0')));
            QVERIFY2(QFileInfo::exists(file), qPrintable(file));
            files.append(file);
        }
        // The last frame stays on show.
        QCOMPARE(pixelsOf(ctrl->currentFrame().get()), original[2]);
        ctrl->loadFiles(files);
        for (int i = 0; i < 3; ++i) {
            ov::RefData<ov::IData> data(ctrl->acqData(unsigned(i)), false);
            QVERIFY(data);
            QCOMPARE(pixelsOf(data->frameAt(0)), original[size_t(i)]);
        }
    }

    // A frame with sub-frames: each sub-frame goes to its own file, named with the
    // sub-frame's name, and the last sub-frame stays selected.
    void currentFrameWithSubFramesSavesEachSubFrame()
    {
        makeCtrl();
        sim::SimFrame* whole = sim::SimFrame::create(4, 3, ov::FrameInt16);
        const char* names[] = {"ToA", "ToT"};
        for (int i = 0; i < 2; ++i) {
            sim::SimFrame* sub = sim::SimFrame::create(4, 3, ov::FrameInt16);
            sub->setFrameName(names[i]);
            for (int p = 0; p < 12; ++p)
                sub->pixels<int16_t>()[p] = int16_t(100 * (i + 1) + p);
            whole->addSubFrame(sub);
            sub->decRef();
        }
        ctrl->setFrame(whole); // takes over the reference
        ModalDriver driver;
        driver.fileDialog("Text matrix frame (*.txt)", path("sub.txt"));
        ctrl->saveCurrentFrame();
        QVERIFY(driver.done());
        for (int i = 0; i < 2; ++i) {
            const QString file = path(QString("sub_%1.txt").arg(names[i]));
            QVERIFY2(QFileInfo::exists(file), qPrintable(file));
            QList<QString> files {file};
            ctrl->loadFiles(files);
            ov::RefData<ov::IData> data(ctrl->acqData(0), false);
            QVERIFY(data);
            const std::vector<double> values = pixelsOf(data->frameAt(0));
            QCOMPARE(values.size(), size_t(12));
            QCOMPARE(values[5], double(100 * (i + 1) + 5));
        }
        QVERIFY(!QFileInfo::exists(path("sub.txt")));
    }

    // Ten frames or more in one file each: the index gets as many digits as the count.
    void tenFramesGetTwoDigitNames()
    {
        makeCtrl();
        measure(10);
        ModalDriver driver;
        driver.fileDialog("Binary frame (*.bin)", path("ten.bin"));
        ctrl->saveAcqData();
        QVERIFY(driver.done());
        for (int i = 0; i < 10; ++i) {
            const QString file = path(QString("ten%1.bin").arg(i, 2, 10, QChar('0')));
            QVERIFY2(QFileInfo::exists(file), qPrintable(file));
        }
        QVERIFY(!QFileInfo::exists(path("ten0.bin")));
    }

    // Without a frame on show the frame-saving operations ask nothing.
    void noFrameNoQuestion()
    {
        makeCtrl();
        QStringList seen;
        ModalDriver driver;
        driver.fileDialog(QString(), QString(), &seen);
        ctrl->saveCurrentFrame();
        ctrl->saveAllFrames();
        QTest::qWait(100);
        QVERIFY(!driver.done());
        QVERIFY(seen.isEmpty());
    }

    // Missing and damaged files: the host logs an error naming each, they add no
    // entries, and the good file among them is loaded and shown.
    void damagedAndMissingFilesAreReported()
    {
        makeCtrl();
        measure(1);
        const auto original = measuredPixels(1);
        ctrl->showAcqFrame(0);
        ModalDriver driver;
        driver.fileDialog("Text matrix frame (*.txt)", path("good.txt"));
        ctrl->saveCurrentFrame();
        QVERIFY(driver.done());
        QVERIFY(QFileInfo::exists(path("good.txt")));
        {
            QFile damaged(path("damaged.mfd"));
            QVERIFY(damaged.open(QIODevice::WriteOnly));
            damaged.write("\x01\x02 not a frame file\n\xff\xfe", 22);
        }
        LogLines log;
        QCOMPARE(host->registerLogCallback(LogLines::callback, &log), 0);

        QList<QString> files {path("missing.txt"), path("damaged.mfd"), path("good.txt")};
        ctrl->loadFiles(files);
        QCOMPARE(int(ctrl->loadedFileList().size()), 1);
        QCOMPARE(QString::fromStdString(ctrl->loadedFileList()[0].fileName),
            QDir::toNativeSeparators(path("good.txt")));
        QCOMPARE(pixelsOf(ctrl->currentFrame().get()), original[0]);
        QCOMPARE(shownPixels(widget.get()), original[0]);
        const QString errors = log.take().join('\n');
        QVERIFY2(errors.contains("missing.txt"), qPrintable(errors));
        QVERIFY2(errors.contains("damaged.mfd"), qPrintable(errors));
        host->unregisterLogCallback(LogLines::callback, &log);

        // Only bad files: nothing loaded, the device's store answers again.
        QList<QString> bad {path("damaged.mfd")};
        ctrl->loadFiles(bad);
        QVERIFY(ctrl->loadedFileList().empty());
        QCOMPARE(ctrl->acqFrameCount(), 1);
        ctrl->showAcqFrame(0);
        QCOMPARE(pixelsOf(ctrl->currentFrame().get()), original[0]);
    }

    // An abort in the loading dialog keeps the entries made so far and shows them.
    void cancelledLoadKeepsEntries()
    {
        makeCtrl();
        measure(3);
        const auto original = measuredPixels(3);
        ctrl->showAcqFrame(0);
        ModalDriver driver;
        driver.fileDialog("Text matrix frame (*.txt)", path("first.txt"));
        ctrl->saveCurrentFrame();
        driver.fileDialog("Multi-frame file (*.mfd)", path("rest.mfd"));
        driver.itemDialog("Binary Matrix");
        ctrl->saveAcqData();
        QVERIFY(driver.done());

        QTimer aborter;
        int cancels = 0;
        connect(&aborter, &QTimer::timeout, this, [&] {
            if (ctrl->loadedFileList().empty())
                return;
            for (QWidget* w : QApplication::topLevelWidgets()) {
                if (auto* dialog = qobject_cast<QProgressDialog*>(w)) {
                    QCOMPARE(dialog->labelText(), QString("Loading files..."));
                    dialog->cancel();
                    ++cancels;
                }
            }
        });
        aborter.start(0);
        QList<QString> files {path("first.txt"), path("rest.mfd")};
        QSignalSpy counts(ctrl.get(), &DevCtrlMpx::acqFrameCountChange);
        ctrl->loadFiles(files);
        aborter.stop();
        QVERIFY(cancels >= 1);
        QCOMPARE(int(ctrl->loadedFileList().size()), 1);
        QCOMPARE(counts.count(), 1);
        QCOMPARE(counts.at(0).at(0).toInt(), 4); // the first pass counted every frame
        QCOMPARE(pixelsOf(ctrl->currentFrame().get()), original[0]);
        QCOMPARE(shownPixels(widget.get()), original[0]);
    }

    // A type that takes no single frames: the data object is written on a thread of
    // its own behind a progress dialog, which closes when the thread reports.
    void saveAcqDataWritesDataInTheBackground()
    {
        ov::IDataMgr* simMgr = host->dataMgr();
        ov::FilePath probe("x.mfd");
        ov::IFileType* mfd = simMgr->fileTypeFromFileName(&probe);
        QVERIFY(mfd);
        TestFileType whole("Whole data", "mfd", 4, true, mfd);
        whole.refuseFirstFrameQuestion = true;
        TestDataMgr mgr(simMgr);
        mgr.types = {&whole};
        TestOrvel orvel(host.get(), &mgr);
        makeCtrl(&orvel);
        measure(2);
        const auto original = measuredPixels(2);

        ModalDriver driver;
        driver.fileDialog("Whole data (*.mfd)", path("whole.mfd"));
        driver.itemDialog("ASCII Matrix");
        // Counted on this thread: the signal comes from the writing thread.
        QList<int> finished;
        connect(
            ctrl.get(), &DevCtrlMpx::sigProgressDialogFinished, this,
            [&finished](int code, QString) { finished.append(code); }, Qt::QueuedConnection);
        ctrl->saveAcqData();
        QVERIFY(driver.done());
        bool shown = false;
        for (QWidget* w : QApplication::topLevelWidgets())
            if (auto* dialog = qobject_cast<QProgressDialog*>(w))
                shown = shown || (dialog->isVisible() && dialog->labelText() == "Saving data...");
        QTRY_COMPARE_WITH_TIMEOUT(finished.count(), 1, 30000);
        QVERIFY(QTest::qWaitFor([] { return DevCtrlMpx::detachedThreadCount() == 0; }, 30000));
        QCOMPARE(finished.at(0), 0);
        QVERIFY(shown);
        QTRY_VERIFY_WITH_TIMEOUT(
            [] {
                for (QWidget* w : QApplication::topLevelWidgets())
                    if (qobject_cast<QProgressDialog*>(w) && w->isVisible())
                        return false;
                return true;
            }(),
            5000);

        // The host wrote the newest data object: the last frame.
        QList<QString> files {path("whole.mfd")};
        ctrl->loadFiles(files);
        QCOMPARE(int(ctrl->loadedFileList().size()), 1);
        ov::RefData<ov::IData> data(ctrl->acqData(0), false);
        QVERIFY(data);
        QCOMPARE(pixelsOf(data->frameAt(0)), original[1]);
        ctrl.reset(); // before the test's host goes
    }
};

QTEST_MAIN(TstSaveData)
#include "tst_savedata.moc"
