// Pixel configuration through the detector page of the simulated Timepix quad: clicking
// the frame on the configuration tabs, masking a selection, masking and shifting by
// value, the pixel-configuration and configuration file dialogs, and the factory
// configuration question.
#include "modaldriver.h"
#include "timepixpage.h"

#include <QMessageBox>
#include <QProgressDialog>
#include <QSettings>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTabBar>
#include <QTemporaryDir>

using namespace PluginDevControl;

namespace {

int countMasked(ov::IMpxPixCfg* cfg, unsigned pixels)
{
    int n = 0;
    for (unsigned i = 0; i < pixels; ++i)
        n += cfg->maskBit(i) ? 1 : 0;
    return n;
}

// Records the title and filters of a file dialog, then lets the next step act on it.
ModalDriver::Step lookAtDialog(QString* title, QStringList* filters)
{
    return [=](QWidget* w) {
        auto* dialog = qobject_cast<QFileDialog*>(w);
        if (!dialog)
            return false;
        *title = dialog->windowTitle();
        *filters = dialog->nameFilters();
        return true;
    };
}

// Puts name into the file name field without typing, so that no completion list opens
// over the dialog, and accepts it with Enter.
ModalDriver::Step chooseFile(const QString& name)
{
    return [=](QWidget* w) {
        auto* dialog = qobject_cast<QFileDialog*>(w);
        auto* edit
            = dialog ? dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit")) : nullptr;
        if (!edit)
            return false;
        edit->setText(name);
        QTest::keyClick(edit, Qt::Key_Enter);
        return true;
    };
}

} // namespace

class TstDevViewPixCfg : public QObject
{
    Q_OBJECT

    // Shows the page, enters configuration editing and picks a tab.
    static bool editOnTab(TimepixPage& page, int tab)
    {
        page.fixture.window()->show();
        if (!QTest::qWaitForWindowExposed(page.fixture.window()))
            return false;
        page.ui().acPixCfgEdit->trigger();
        page.ui().subFrameTabs->setCurrentIndex(tab);
        QCoreApplication::processEvents();
        return page.ui().subFrameTabs->currentIndex() == tab;
    }

    // Clicks the middle of the picture; the pixel the image reports.
    static QPoint clickPicture(TimepixPage& page)
    {
        QSignalSpy clicked(page.ui().mpxFrame, &QMpxFrame::clicked);
        QMpxImage* image = page.image();
        QTest::mouseClick(
            image, Qt::LeftButton, {}, QPoint(image->width() / 3, image->height() / 4));
        if (clicked.count() != 1)
            return QPoint(-1, -1);
        return QPoint(clicked.at(0).at(0).toInt(), clicked.at(0).at(1).toInt());
    }

private slots:
    void initTestCase() { QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs); }
    void init()
    {
        QSettings(QSettings::IniFormat, QSettings::UserScope, "Velmora", "Orvel").clear();
    }

    void clickOnTheMaskTabTogglesThatPixel()
    {
        TimepixPage page;
        QVERIFY(page.view);
        QVERIFY(editOnTab(page, 1));
        page.ui().acPixCfgTogglePixel->trigger();
        ov::IMpxPixCfg* cfg = page.device()->pixCfg();
        const unsigned width = unsigned(page.device()->width());
        const unsigned pixels = page.device()->pixelCount();
        QCOMPARE(countMasked(cfg, pixels), 0);

        const QPoint at = clickPicture(page);
        QVERIFY(at.x() >= 0);
        const unsigned p = unsigned(at.y()) * width + unsigned(at.x());
        QVERIFY(cfg->maskBit(p));
        QCOMPARE(countMasked(cfg, pixels), 1);
        // The mask view follows: 1 for a counting pixel, 0 for the masked one.
        const double* shown = page.image()->getData();
        QVERIFY(QTest::qWaitFor([&] { return page.image()->getData()[p] == 0.0; }, 5000));
        shown = page.image()->getData();
        QCOMPARE(shown[p == 0 ? 1 : 0], 1.0);

        QCOMPARE(clickPicture(page), at);
        QVERIFY(!cfg->maskBit(p));
        QCOMPARE(countMasked(cfg, pixels), 0);
    }

    void rowAndColumnTogglesAndNoToggle()
    {
        TimepixPage page;
        QVERIFY(page.view);
        QVERIFY(editOnTab(page, 2)); // the test bits
        ov::IMpxPixCfg* cfg = page.device()->pixCfg();
        const unsigned width = unsigned(page.device()->width());

        // With no toggle chosen a click changes nothing.
        QPoint at = clickPicture(page);
        QVERIFY(at.x() >= 0);
        QVERIFY(!cfg->testRow(unsigned(at.y())));
        QVERIFY(!cfg->testColumn(unsigned(at.x())));
        QVERIFY(!cfg->testBit(unsigned(at.y()) * width + unsigned(at.x())));

        page.ui().acPixCfgToggleRow->trigger();
        at = clickPicture(page);
        QVERIFY(cfg->testRow(unsigned(at.y())));
        QVERIFY(!cfg->testColumn(unsigned(at.x())));
        page.ui().acPixCfgToggleColumn->trigger();
        clickPicture(page);
        QVERIFY(cfg->testColumn(unsigned(at.x())));
        QVERIFY(cfg->testRow(unsigned(at.y())));
    }

    void maskSelection()
    {
        TimepixPage page;
        QVERIFY(page.view);
        QVERIFY(editOnTab(page, 1));
        ov::IMpxPixCfg* cfg = page.device()->pixCfg();
        const unsigned pixels = page.device()->pixelCount();
        page.image()->setSelectionRects({QRect(10, 20, 4, 3), QRect(100, 100, 2, 2)});
        page.ui().acPixCfgMaskSelect->trigger();
        QCOMPARE(countMasked(cfg, pixels), 12 + 4);
        QVERIFY(cfg->maskBit(20 * 512 + 10));
        QVERIFY(cfg->maskBit(22 * 512 + 13));
        QVERIFY(!cfg->maskBit(23 * 512 + 13));
        page.image()->setSelectionRects({QRect(100, 100, 2, 2)});
        page.ui().acPixCfgUnmaskSelect->trigger();
        QCOMPARE(countMasked(cfg, pixels), 12);
    }

    void maskAndShiftByValueOfTheShownView()
    {
        TimepixPage page;
        QVERIFY(page.view);
        ov::IMpxPixCfg* cfg = page.device()->pixCfg();
        const unsigned pixels = page.device()->pixelCount();
        cfg->setAllThl(7);
        cfg->setThl(1000, 2);
        QVERIFY(editOnTab(page, 3)); // the THL adjustments are the values
        auto* maskValue = page.view->findChild<QSpinBox*>("maskValueSpinBox");
        auto* thlValue = page.view->findChild<QSpinBox*>("thlValueSpinBox");
        QVERIFY(maskValue && thlValue);

        maskValue->setValue(5);
        page.ui().acMaskUnder->trigger();
        QCOMPARE(countMasked(cfg, pixels), 1);
        QVERIFY(cfg->maskBit(1000));
        maskValue->setValue(7);
        page.ui().acMaskOver->trigger(); // nothing is above 7
        QCOMPARE(countMasked(cfg, pixels), 1);

        thlValue->setValue(6);
        page.ui().acThlOver->trigger();
        QCOMPARE(cfg->thl(0), uint8_t(6));
        QCOMPARE(cfg->thl(pixels - 1), uint8_t(6));
        QCOMPARE(cfg->thl(1000), uint8_t(2));
        // The view shows the new adjustments; shifting under 4 raises the single 2.
        QVERIFY(QTest::qWaitFor([&] { return page.image()->getData()[0] == 6.0; }, 5000));
        thlValue->setValue(4);
        page.ui().acThlUnder->trigger();
        QCOMPARE(cfg->thl(1000), uint8_t(3));
        QCOMPARE(cfg->thl(0), uint8_t(6));
    }

    void pixelConfigurationFileDialogs()
    {
        TimepixPage page;
        QVERIFY(page.view);
        QVERIFY(editOnTab(page, 4));
        QString title;
        QStringList filters;
        ModalDriver driver;
        driver.add(lookAtDialog(&title, &filters));
        driver.fileDialog(QString(), QString());
        page.ui().acPixCfgSave->trigger();
        QVERIFY(driver.done());
        QCOMPARE(title, QString("Save Pixel Configuration"));
        QCOMPARE(filters,
            QStringList(
                {"Binary Pixel Configuration (*.bpc)", "Ascii Timepix mode Matrix (*.txt)"}));

        page.ui().subFrameTabs->setCurrentIndex(1);
        driver.add(lookAtDialog(&title, &filters));
        driver.fileDialog(QString(), QString());
        page.ui().acPixCfgOpen->trigger();
        QVERIFY(driver.done());
        QCOMPARE(title, QString("Open Pixel Configuration"));
        QCOMPARE(filters,
            QStringList({"Binary Pixel Configuration (*.bpc)", "Ascii Mask Matrix (*.txt)"}));
    }

    void configurationFileDialogs()
    {
        TimepixPage page;
        QVERIFY(page.view);
        QTemporaryDir dir;
        QString title;
        QStringList filters;
        ModalDriver driver;
        driver.add(lookAtDialog(&title, &filters));
        driver.add(chooseFile(dir.filePath("chosen.xml")));
        page.ui().acSaveConfig->trigger();
        QVERIFY(driver.done());
        QCOMPARE(title, QString("Save Config"));
        QCOMPARE(filters.value(0), QString("Orvel Config (*.xml)"));
        QSettings settings(QSettings::IniFormat, QSettings::UserScope, "Velmora", "Orvel");
        QCOMPARE(
            settings.value("devctrl/savecfg").toString(), QFileInfo(dir.path()).absoluteFilePath());

        QFile file(dir.filePath("det.mcf"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
        driver.add(lookAtDialog(&title, &filters));
        driver.add(chooseFile(file.fileName()));
        page.ui().acLoadConfig->trigger();
        QVERIFY(driver.done());
        QCOMPARE(title, QString("Load Config"));
        QCOMPARE(filters, QStringList({"Config files (*.mcf *.xml)"}));
        settings.sync();
        QCOMPARE(
            settings.value("devctrl/loadcfg").toString(), QFileInfo(dir.path()).absoluteFilePath());
    }

    void factoryConfigurationIsAskedFirst()
    {
        TimepixPage page;
        QVERIFY(page.view);
        QSignalSpy finished(page.ctrl(), &DevCtrlMpx::sigProgressDialogFinished);
        auto answer = [](ModalDriver& driver, QMessageBox::StandardButton button, QString* text,
                          QString* title) {
            driver.add([=](QWidget* w) {
                auto* box = qobject_cast<QMessageBox*>(w);
                if (!box)
                    return false;
                *text = box->text();
                *title = box->windowTitle();
                box->button(button)->click();
                return true;
            });
        };
        QString text;
        QString title;
        ModalDriver driver;
        answer(driver, QMessageBox::No, &text, &title);
        page.ui().acLoadFactory->trigger();
        QVERIFY(driver.done());
        QCOMPARE(text, QString("Do you want to load the factory config for the detector ?"));
        QCOMPARE(title, QString("Factory config"));
        QTest::qWait(50);
        QCOMPARE(finished.count(), 0);

        answer(driver, QMessageBox::Yes, &text, &title);
        page.ui().acLoadFactory->trigger();
        QVERIFY(driver.done());
        QVERIFY(QTest::qWaitFor([&] { return finished.count() == 1; }, 5000));
        QCOMPARE(finished.at(0).at(0).toInt(), 0);
        QVERIFY(QTest::qWaitFor([] { return DevCtrlMpx::detachedThreadCount() == 0; }, 5000));
        // The progress dialog goes once the result is back on the GUI thread.
        QVERIFY(QTest::qWaitFor(
            [] {
                for (QWidget* w : QApplication::topLevelWidgets())
                    if (qobject_cast<QProgressDialog*>(w))
                        return false;
                return true;
            },
            5000));
    }
};

QTEST_MAIN(TstDevViewPixCfg)
#include "tst_devviewpixcfg.moc"
