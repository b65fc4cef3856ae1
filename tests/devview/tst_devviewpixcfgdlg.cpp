// "Set Pixel Cfg. Bits" on the detector pages of the simulated host: the dialog opens
// on the rectangles selected on the frame, or on a region typed in it when nothing is
// selected, and what it sets is read back from the device's pixel configuration.
#include "dlgpixcfg.h"
#include "modaldriver.h"
#include "timepixpage.h"
#include "ui_dlgpixcfg.h"

#include <QSignalSpy>

using PluginDevControl::DlgPixCfg;

namespace {

// What a step saw of the dialog when it opened.
struct Seen
{
    bool opened = false;
    bool regionEnabled = true;
    int regionItem = -1;
    QList<QRect> regions;
    bool thhShown = false;
    bool modeShown = false;
};

void clickCheckBox(QCheckBox* box)
{
    QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(8, box->height() / 2));
}

void typeInto(QAbstractSpinBox* box, const QString& text)
{
    box->setFocus();
    QTest::keyClick(box, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClicks(box, text);
}

// Records the dialog, lets act fill it in, and presses OK or Cancel.
ModalDriver::Step onDialog(Seen* seen, std::function<void(DlgPixCfg&)> act, bool ok = true)
{
    return [=](QWidget* w) {
        auto* dialog = qobject_cast<DlgPixCfg*>(w);
        if (!dialog)
            return false;
        seen->opened = true;
        seen->regionEnabled = dialog->ui->cmbRegion->isEnabled();
        seen->regionItem = dialog->ui->cmbRegion->currentIndex();
        seen->regions = dialog->regions();
        seen->thhShown = dialog->ui->sbThh->isVisible();
        seen->modeShown = dialog->ui->cmbMode->isVisible();
        act(*dialog);
        const auto button = ok ? QDialogButtonBox::Ok : QDialogButtonBox::Cancel;
        QTest::mouseClick(dialog->ui->buttonBox->button(button), Qt::LeftButton);
        return true;
    };
}

int countPixels(ov::IDevMpx* dev, const std::function<bool(ov::IMpxPixCfg*, unsigned)>& test)
{
    int n = 0;
    const unsigned pixels = dev->pixelCount();
    for (unsigned i = 0; i < pixels; ++i)
        n += test(dev->pixCfg(), i) ? 1 : 0;
    return n;
}

bool inRects(const QList<QRect>& rects, unsigned pixel, unsigned width)
{
    const QPoint p(int(pixel % width), int(pixel / width));
    for (const QRect& r : rects)
        if (r.contains(p))
            return true;
    return false;
}

} // namespace

class TstDevViewPixCfgDlg : public QObject
{
    Q_OBJECT

private slots:
    void selectedRectanglesGetTheBits()
    {
        TimepixPage page;
        QVERIFY(page.view);
        ov::IDevMpx* dev = page.device();
        const QList<QRect> rects {QRect(10, 20, 4, 3), QRect(300, 400, 2, 5)};
        page.image()->setSelectionRects(rects);
        QCOMPARE(page.image()->getSelectRealRects(), rects);
        QSignalSpy changed(page.ctrl(), &PluginDevControl::DevCtrlMpx::sigPixCfgChanged);

        Seen seen;
        ModalDriver driver;
        driver.add(onDialog(&seen, [](DlgPixCfg& d) {
            clickCheckBox(d.ui->chbMasked);
            clickCheckBox(d.ui->chbTbOn);
            typeInto(d.ui->sbThl, "12");
            d.ui->cmbMode->setFocus();
            QTest::keyClick(d.ui->cmbMode, Qt::Key_Down);
            QTest::keyClick(d.ui->cmbMode, Qt::Key_Down); // "1-Hit"
        }));
        page.ui().acPixCfgStg->trigger();
        QVERIFY(driver.done());
        QVERIFY(seen.opened);
        QVERIFY(!seen.regionEnabled);
        QCOMPARE(seen.regions, rects);
        QVERIFY(seen.modeShown);
        QVERIFY(!seen.thhShown);

        const unsigned width = unsigned(dev->width());
        const int inside = 12 + 10;
        QCOMPARE(
            countPixels(dev, [](ov::IMpxPixCfg* c, unsigned p) { return c->maskBit(p); }), inside);
        QCOMPARE(countPixels(dev,
                     [&](ov::IMpxPixCfg* c, unsigned p) {
                         return inRects(rects, p, width) && c->maskBit(p) && c->testBit(p)
                             && c->thl(p) == 12 && c->mode8(p) == 2;
                     }),
            inside);
        QCOMPARE(
            countPixels(dev, [](ov::IMpxPixCfg* c, unsigned p) { return c->testBit(p); }), inside);
        QCOMPARE(countPixels(dev, [](ov::IMpxPixCfg* c, unsigned p) { return c->thl(p) == 12; }),
            inside);
        // The copy reaches the device in one write: one change, not one per rectangle.
        QTRY_COMPARE(changed.count(), 1);
        QTest::qWait(100);
        QCOMPARE(changed.count(), 1);
    }

    void typedRowWithoutSelection()
    {
        TimepixPage page;
        QVERIFY(page.view);
        ov::IDevMpx* dev = page.device();
        QVERIFY(page.image()->getSelectRealRects().isEmpty());
        Seen seen;
        ModalDriver driver;
        driver.add(onDialog(&seen, [](DlgPixCfg& d) {
            d.ui->cmbRegion->setFocus();
            QTest::keyClick(d.ui->cmbRegion, Qt::Key_Down);
            QTest::keyClick(d.ui->cmbRegion, Qt::Key_Down); // "Row"
            // Row keeps the X extent of the whole matrix; both Y boxes are the user's.
            typeInto(d.ui->sbFromY, "100");
            typeInto(d.ui->sbToY, "100");
            clickCheckBox(d.ui->chbSetMaskbit);
            clickCheckBox(d.ui->chbSetThl);
            clickCheckBox(d.ui->chbSetMode);
            clickCheckBox(d.ui->chbTbOn);
        }));
        page.ui().acPixCfgStg->trigger();
        QVERIFY(driver.done());
        QCOMPARE(seen.regionItem, 0);
        QVERIFY(seen.regionEnabled);
        const unsigned width = unsigned(dev->width());
        QCOMPARE(countPixels(dev, [](ov::IMpxPixCfg* c, unsigned p) { return c->testBit(p); }),
            int(width));
        QVERIFY(dev->pixCfg()->testRow(99));
        QCOMPARE(countPixels(dev, [](ov::IMpxPixCfg* c, unsigned p) { return c->maskBit(p); }), 0);
    }

    void cancelLeavesTheConfiguration()
    {
        TimepixPage page;
        QVERIFY(page.view);
        ov::IDevMpx* dev = page.device();
        page.image()->setSelectionRects({QRect(0, 0, 8, 8)});
        Seen seen;
        ModalDriver driver;
        driver.add(onDialog(
            &seen, [](DlgPixCfg& d) { clickCheckBox(d.ui->chbMasked); }, false));
        page.ui().acPixCfgStg->trigger();
        QVERIFY(driver.done());
        QVERIFY(seen.opened);
        QCOMPARE(countPixels(dev, [](ov::IMpxPixCfg* c, unsigned p) { return c->maskBit(p); }), 0);
    }

    void medipix2SetsHighThreshold()
    {
        TimepixPage page(QString(), sim::defaultDeviceSet().at(1));
        QVERIFY(page.view);
        ov::IDevMpx* dev = page.device();
        QVERIFY(!dev->isTimepix());
        const QRect rect(QPoint(40, 50), QPoint(44, 50));
        page.image()->setSelectionRects({rect});
        Seen seen;
        ModalDriver driver;
        driver.add(onDialog(&seen, [](DlgPixCfg& d) {
            for (QCheckBox* box : {d.ui->chbSetMaskbit, d.ui->chbSetTestbit, d.ui->chbSetThl})
                clickCheckBox(box);
            typeInto(d.ui->sbThh, "6");
        }));
        page.ui().acPixCfgStg->trigger();
        QVERIFY(driver.done());
        QVERIFY(seen.thhShown);
        QVERIFY(!seen.modeShown);
        QCOMPARE(seen.regionItem, 2); // one row high
        QCOMPARE(
            countPixels(dev, [](ov::IMpxPixCfg* c, unsigned p) { return c->mode8(p) == 6; }), 5);
        for (int x = 40; x <= 44; ++x)
            QCOMPARE(dev->pixCfg()->mode8(unsigned(50 * dev->width() + x)), uint8_t(6));
    }
};

QTEST_MAIN(TstDevViewPixCfgDlg)
#include "tst_devviewpixcfgdlg.moc"
