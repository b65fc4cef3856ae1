// The pixel data of a data-driven run on the simulated Timepix3, saved and opened again
// through the page as a user does it: "Save Data..." with the raw choice and a pixel
// file type, then "Open Frame..." with the file's description, or the file dropped on
// the picture; the file holds every hit of the run and the picture of the opened file
// counts them all.
#include "../devctrl/modaldriver.h"
#include "devviewmpxui.h"
#include "dlgsavedata.h"
#include "tpx3hitfile.h"
#include "tpx3simpage.h"
#include "ui_dlgsavedata.h"

#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <tuple>

using namespace PluginDevControl;

namespace {

bool hitLess(const ov::Tpx3Hit& a, const ov::Tpx3Hit& b)
{
    return std::tie(a.toa, a.x, a.y, a.tot, a.flags) < std::tie(b.toa, b.x, b.y, b.tot, b.flags);
}

bool hitSame(const ov::Tpx3Hit& a, const ov::Tpx3Hit& b)
{
    return !hitLess(a, b) && !hitLess(b, a);
}

// Every hit of the run, from the device's data objects.
std::vector<ov::Tpx3Hit> hitsOfRun(sim::Timepix3Device& chip)
{
    std::vector<ov::Tpx3Hit> all;
    for (int i = 0; i < chip.acqDataCount(); ++i) {
        ov::IData* d = chip.acqDataRefInc(unsigned(i));
        auto* p = static_cast<ov::ITpx3Pixels*>(d);
        all.insert(all.end(), p->pixels(), p->pixels() + p->chunkPixelCount());
        d->decRef();
    }
    std::sort(all.begin(), all.end(), hitLess);
    return all;
}

} // namespace

class TstDevViewTpx3Save : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs); }

    void pixelDataSavedAndOpenedAgain()
    {
        QTemporaryDir out;
        Tpx3SimPage page;
        QVERIFY(page.open(4721, 1e6));
        DevViewTpx3* view = page.view;
        DevCtrlTpx3* ctrl = page.ctrl;
        sim::Timepix3Device* chip = page.chip;
        page.choosePixels(QStringLiteral("0.3"));
        QVERIFY(page.start());
        QVERIFY(page.waitEnd());
        const std::vector<ov::Tpx3Hit> run = hitsOfRun(*chip);
        QVERIFY(run.size() > 10000);
        QCOMPARE(uint64_t(run.size()), chip->generatedHits());

        // "Save Data...": the raw choice, then the pixel list among the offered types.
        ModalDriver driver;
        driver.add([](QWidget* w) {
            auto* dialog = qobject_cast<DlgSaveData*>(w);
            if (!dialog)
                return false;
            QTest::mouseClick(dialog->ui->rbSaveRaw, Qt::LeftButton);
            QTest::mouseClick(dialog->ui->bbOkCancel->button(QDialogButtonBox::Ok), Qt::LeftButton);
            return true;
        });
        QStringList filters;
        const QString file = out.filePath(QStringLiteral("run.t3p"));
        driver.fileDialog(QStringLiteral("Timepix3 pixel list (*.t3p)"), file, &filters);
        view->form().acSaveData->trigger();
        QTRY_VERIFY_WITH_TIMEOUT(driver.done(), 10000);
        for (const char* f : {"Timepix3 pixel list (*.t3p)", "Timepix3 pixel list (text) (*.t3pa)",
                 "Timepix3 raw data (*.t3r)", "Timepix3 processed data (*.prd)"})
            QVERIFY2(filters.contains(QString::fromUtf8(f)), qPrintable(filters.join(";;")));
        // Written in the background; the page stays live meanwhile.
        QTRY_VERIFY_WITH_TIMEOUT(DevCtrlMpx::detachedThreadCount() == 0, 60000);
        std::vector<ov::Tpx3Hit> saved;
        unsigned width = 0;
        unsigned height = 0;
        std::string error;
        QCOMPARE(sim::readTpx3Hits(
                     file.toStdString(), sim::Tpx3HitList, &saved, &width, &height, &error),
            0);
        QCOMPARE(width, 256u);
        QCOMPARE(height, 256u);
        std::sort(saved.begin(), saved.end(), hitLess);
        QCOMPARE(saved.size(), run.size());
        QVERIFY(std::equal(saved.begin(), saved.end(), run.begin(), hitSame));

        // "Open Frame..." lists frame descriptions, and the pixel file has one beside it.
        // One entry, whose picture counts every hit.
        driver.fileDialog(QString(), file + QStringLiteral(".dsc"));
        view->form().acOpenFrame->trigger();
        QTRY_VERIFY_WITH_TIMEOUT(driver.done(), 10000);
        QCOMPARE(int(ctrl->loadedFileList().size()), 1);
        QCOMPARE(ctrl->acqFrameCount(), 1);
        QTRY_COMPARE_WITH_TIMEOUT(page.pictureTotal(), double(run.size()), 10000);

        // The pixel file itself dropped on the picture opens the same way.
        emit view->form().mpxFrame->dropFiles(QList<QString> {file});
        QCOMPARE(int(ctrl->loadedFileList().size()), 1);
        QCOMPARE(ctrl->loadedFileList().front().fileName, file.toStdString());
        QTRY_COMPARE_WITH_TIMEOUT(page.pictureTotal(), double(run.size()), 10000);
    }
};

QTEST_MAIN(TstDevViewTpx3Save)
#include "tst_devviewtpx3save.moc"
