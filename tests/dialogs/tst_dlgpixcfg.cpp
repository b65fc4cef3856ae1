// The pixel configuration dialog on a recording Timepix, Medipix2 and Medipix3: texts,
// the rows of each family, the region chosen from the rectangles it is given, the spin
// boxes of each kind of region, and the bits written to the device on OK, driven by
// mouse and keyboard on the dialog's controls.
#include "dlgpixcfg.h"
#include "pixcfgdialogdevice.h"
#include "ui_dlgpixcfg.h"

#include <QLabel>
#include <QPushButton>
#include <QtTest>

using PluginDevControl::DlgPixCfg;
using testdev::PixCfgDialogDevice;
using testdev::PlanePixCfg;

namespace {

constexpr unsigned W = 16;
constexpr unsigned H = 12;

PixCfgDialogDevice timepix()
{
    return PixCfgDialogDevice(1, true, W, H);
}

// Clicks a check box on its indicator, as a user does.
void clickCheckBox(QCheckBox* box)
{
    QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(8, box->height() / 2));
}

// Replaces the text of a spin box by typing.
void typeInto(QAbstractSpinBox* box, const QString& text)
{
    box->setFocus();
    QTest::keyClick(box, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClicks(box, text);
}

void clickOk(DlgPixCfg& dialog)
{
    QTest::mouseClick(dialog.ui->buttonBox->button(QDialogButtonBox::Ok), Qt::LeftButton);
}

// The four region spin boxes: values and enabled states.
QList<int> boxValues(const DlgPixCfg& d)
{
    return {
        d.ui->sbFromX->value(), d.ui->sbToX->value(), d.ui->sbFromY->value(), d.ui->sbToY->value()};
}
QList<bool> boxEnabled(const DlgPixCfg& d)
{
    return {d.ui->sbFromX->isEnabled(), d.ui->sbToX->isEnabled(), d.ui->sbFromY->isEnabled(),
        d.ui->sbToY->isEnabled()};
}

bool showDialog(DlgPixCfg& dialog)
{
    dialog.show();
    return QTest::qWaitForWindowExposed(&dialog);
}

// Pixels of plane in r that hold v.
int countIn(const PlanePixCfg& cfg, PlanePixCfg::Plane plane, const QRect& r, uint8_t v)
{
    int n = 0;
    for (int y = r.top(); y <= r.bottom(); ++y)
        for (int x = r.left(); x <= r.right(); ++x)
            n += cfg.at(plane, unsigned(x), unsigned(y)) == v ? 1 : 0;
    return n;
}

QString labelBefore(QWidget* field)
{
    // The label in the cell to the left of the field in the form's grid.
    auto* grid = qobject_cast<QGridLayout*>(field->parentWidget()->layout());
    const int index = grid ? grid->indexOf(field) : -1;
    if (index < 0)
        return {};
    int row = 0, col = 0, rs = 0, cs = 0;
    grid->getItemPosition(index, &row, &col, &rs, &cs);
    QLayoutItem* item = col > 0 ? grid->itemAtPosition(row, col - 1) : nullptr;
    auto* label = item ? qobject_cast<QLabel*>(item->widget()) : nullptr;
    return label ? label->text() : QString();
}

} // namespace

class TstDlgPixCfg : public QObject
{
    Q_OBJECT

private slots:
    void textsAndStartState()
    {
        PixCfgDialogDevice dev = timepix();
        DlgPixCfg d(nullptr, &dev, {});
        QCOMPARE(d.windowTitle(), QString("Set Pixel Configuration"));
        QCOMPARE(d.ui->groupBox->title(), QString("Region Selection"));
        QCOMPARE(d.ui->groupBox_2->title(), QString("Pixel Configuration"));
        QStringList regions;
        for (int i = 0; i < d.ui->cmbRegion->count(); ++i)
            regions << d.ui->cmbRegion->itemText(i);
        QCOMPARE(
            regions, QStringList({"Full Matrix", "Single Pixel", "Row", "Column", "Submatrix"}));
        QStringList modes;
        for (int i = 0; i < d.ui->cmbMode->count(); ++i)
            modes << d.ui->cmbMode->itemText(i);
        QCOMPARE(modes, QStringList({"Medipix", "Time Over Threshold", "1-Hit", "Timepix"}));
        QCOMPARE(labelBefore(d.ui->cmbRegion), QString("Region:"));
        QCOMPARE(labelBefore(d.ui->sbFromX), QString("X (Column) From:"));
        QCOMPARE(labelBefore(d.ui->sbToX), QString("To:"));
        QCOMPARE(labelBefore(d.ui->sbFromY), QString("Y (Row) From:"));
        QCOMPARE(labelBefore(d.ui->sbToY), QString("To:"));
        QCOMPARE(d.ui->chbSetMaskbit->text(), QString("Mask Bit:"));
        QCOMPARE(d.ui->chbMasked->text(), QString("Masked"));
        QCOMPARE(d.ui->chbSetTestbit->text(), QString("Test Bit:"));
        QCOMPARE(d.ui->chbTbOn->text(), QString("Enabled"));
        QCOMPARE(d.ui->chbSetThl->text(), QString("Threshold Low:"));
        QCOMPARE(d.ui->chbSetThh->text(), QString("Threshold High:"));
        QCOMPARE(d.ui->chbSetMode->text(), QString("Timepix Mode:"));
        for (QCheckBox* box : {d.ui->chbSetMaskbit, d.ui->chbSetTestbit, d.ui->chbSetThl,
                 d.ui->chbSetThh, d.ui->chbSetMode})
            QVERIFY2(box->isChecked(), qPrintable(box->objectName()));
        QVERIFY(d.ui->sbThl->maximumWidth() <= 80);
        QVERIFY(d.ui->sbThh->maximumWidth() <= 80);
        QVERIFY(d.ui->buttonBox->button(QDialogButtonBox::Ok));
        QVERIFY(d.ui->buttonBox->button(QDialogButtonBox::Cancel));
        for (QSpinBox* box : {d.ui->sbFromX, d.ui->sbToX, d.ui->sbFromY, d.ui->sbToY})
            QCOMPARE(box->minimum(), 1);
        QCOMPARE(d.ui->sbFromX->maximum(), int(W));
        QCOMPARE(d.ui->sbToX->maximum(), int(W));
        QCOMPARE(d.ui->sbFromY->maximum(), int(H));
        QCOMPARE(d.ui->sbToY->maximum(), int(H));
    }

    void emptyListOpensOnFullMatrix()
    {
        PixCfgDialogDevice dev = timepix();
        DlgPixCfg d(nullptr, &dev, {});
        QCOMPARE(d.ui->cmbRegion->currentIndex(), 0);
        QVERIFY(d.ui->cmbRegion->isEnabled());
        QCOMPARE(boxValues(d), QList<int>({1, int(W), 1, int(H)}));
        QCOMPARE(boxEnabled(d), QList<bool>({false, false, false, false}));
        QCOMPARE(d.regions(), QList<QRect>({QRect(0, 0, W, H)}));
    }

    void regionKindFromRectangle_data()
    {
        QTest::addColumn<QRect>("rect");
        QTest::addColumn<int>("item");
        QTest::addColumn<QList<int>>("values");
        QTest::addColumn<QList<bool>>("enabled");
        QTest::newRow("one pixel") << QRect(3, 4, 1, 1) << 1 << QList<int>({4, 4, 5, 5})
                                   << QList<bool>({true, false, true, false});
        QTest::newRow("column") << QRect(6, 2, 1, 5) << 3 << QList<int>({7, 7, 3, 7})
                                << QList<bool>({true, true, false, false});
        QTest::newRow("row") << QRect(2, 9, 8, 1) << 2 << QList<int>({3, 10, 10, 10})
                             << QList<bool>({false, false, true, true});
        QTest::newRow("whole matrix") << QRect(0, 0, W, H) << 0 << QList<int>({1, 16, 1, 12})
                                      << QList<bool>({false, false, false, false});
        QTest::newRow("submatrix") << QRect(1, 2, 5, 3) << 4 << QList<int>({2, 6, 3, 5})
                                   << QList<bool>({true, true, true, true});
    }
    void regionKindFromRectangle()
    {
        QFETCH(QRect, rect);
        QFETCH(int, item);
        QFETCH(QList<int>, values);
        QFETCH(QList<bool>, enabled);
        PixCfgDialogDevice dev = timepix();
        DlgPixCfg d(nullptr, &dev, {rect});
        QCOMPARE(d.ui->cmbRegion->currentIndex(), item);
        QVERIFY(d.ui->cmbRegion->isEnabled());
        QCOMPARE(boxValues(d), values);
        QCOMPARE(boxEnabled(d), enabled);
    }

    // The values shown are those of the pixel whose linear index is the left coordinate.
    void seedValuesComeFromLeftIndex()
    {
        PixCfgDialogDevice dev = timepix();
        dev.live.put(PlanePixCfg::Mask, 5, 0, 1);
        dev.live.put(PlanePixCfg::Test, 5, 0, 1);
        dev.live.put(PlanePixCfg::Thl, 5, 0, 11);
        dev.live.put(PlanePixCfg::Mode, 5, 0, 2);
        dev.live.put(PlanePixCfg::Thl, 5, 3, 4); // the pixel at the rectangle's corner
        DlgPixCfg d(nullptr, &dev, {QRect(5, 3, 4, 4)});
        QVERIFY(d.ui->chbMasked->isChecked());
        QVERIFY(d.ui->chbTbOn->isChecked());
        QCOMPARE(d.ui->sbThl->maximum(), 15);
        QCOMPARE(d.ui->sbThl->value(), 11);
        QCOMPARE(d.ui->cmbMode->currentIndex(), 2);

        DlgPixCfg other(nullptr, &dev, {QRect(6, 0, 2, 2)});
        QVERIFY(!other.ui->chbMasked->isChecked());
        QVERIFY(!other.ui->chbTbOn->isChecked());
        QCOMPARE(other.ui->sbThl->value(), 0);
        QCOMPARE(other.ui->cmbMode->currentIndex(), 0);
    }

    void rowsOfEachFamily()
    {
        PixCfgDialogDevice tpx = timepix();
        PixCfgDialogDevice mpx2(1, false, W, H);
        PixCfgDialogDevice mpx3(2, false, W, H);
        mpx2.live.put(PlanePixCfg::Mode, 2, 0, 6);
        mpx3.live.put(PlanePixCfg::Thh3, 2, 0, 23);
        const QList<QRect> at2 {QRect(2, 1, 3, 3)};

        DlgPixCfg dt(nullptr, &tpx, at2);
        QVERIFY(showDialog(dt));
        QVERIFY(!dt.ui->chbSetThh->isVisible());
        QVERIFY(!dt.ui->sbThh->isVisible());
        QVERIFY(dt.ui->chbSetMode->isVisible());
        QVERIFY(dt.ui->cmbMode->isVisible());

        DlgPixCfg d2(nullptr, &mpx2, at2);
        QVERIFY(showDialog(d2));
        QVERIFY(d2.ui->chbSetThh->isVisible());
        QVERIFY(d2.ui->sbThh->isVisible());
        QVERIFY(!d2.ui->chbSetMode->isVisible());
        QVERIFY(!d2.ui->cmbMode->isVisible());
        QCOMPARE(d2.ui->sbThh->maximum(), 7);
        QCOMPARE(d2.ui->sbThh->value(), 6);

        DlgPixCfg d3(nullptr, &mpx3, at2);
        QVERIFY(showDialog(d3));
        QVERIFY(d3.ui->chbSetThh->isVisible());
        QVERIFY(!d3.ui->chbSetMode->isVisible());
        QCOMPARE(d3.ui->sbThh->maximum(), 31);
        QCOMPARE(d3.ui->sbThh->value(), 23);
        // A hidden row is smaller: the dialog fits its rows.
        QVERIFY(d3.height() <= d2.height() + 2);
    }

    void twoRectanglesApplyToBoth()
    {
        PixCfgDialogDevice dev = timepix();
        const QRect a(1, 1, 3, 2), b(10, 6, 2, 4);
        DlgPixCfg d(nullptr, &dev, {a, b});
        QVERIFY(showDialog(d));
        QVERIFY(!d.ui->cmbRegion->isEnabled());
        QCOMPARE(boxEnabled(d), QList<bool>({false, false, false, false}));
        QCOMPARE(d.ui->cmbRegion->currentIndex(), 4); // chosen from the first
        QCOMPARE(boxValues(d), QList<int>({2, 4, 2, 3}));

        clickCheckBox(d.ui->chbMasked);
        clickCheckBox(d.ui->chbTbOn);
        typeInto(d.ui->sbThl, "9");
        d.ui->cmbMode->setFocus();
        QTest::keyClick(d.ui->cmbMode, Qt::Key_Down); // "Time Over Threshold"
        QCOMPARE(d.ui->cmbMode->currentIndex(), 1);
        QCOMPARE(dev.setPixCfgCalls, 0);
        clickOk(d);

        QCOMPARE(d.result(), int(QDialog::Accepted));
        QCOMPARE(dev.setPixCfgCalls, 1);
        QCOMPARE(dev.copies.size(), size_t(1));
        QVERIFY(dev.lastCopy()->released);
        QVERIFY(!dev.releasedBeforeSet);
        QCOMPARE(d.regions(), QList<QRect>({a, b}));
        for (const QRect& r : {a, b}) {
            const int n = r.width() * r.height();
            QCOMPARE(countIn(dev.live, PlanePixCfg::Mask, r, 1), n);
            QCOMPARE(countIn(dev.live, PlanePixCfg::Test, r, 1), n);
            QCOMPARE(countIn(dev.live, PlanePixCfg::Thl, r, 9), n);
            QCOMPARE(countIn(dev.live, PlanePixCfg::Mode, r, 1), n);
        }
        QCOMPARE(dev.live.count(PlanePixCfg::Mask, 1), 6 + 8);
        QCOMPARE(dev.live.count(PlanePixCfg::Thl, 9), 6 + 8);
        QCOMPARE(dev.lastCopy()->log,
            QStringList({"setMaskBitRange(1,1,3,2,1)", "setMaskBitRange(10,6,2,4,1)",
                "setTestBitRange(1,1,3,2,1)", "setTestBitRange(10,6,2,4,1)",
                "setThlRange(1,1,3,2,9)", "setThlRange(10,6,2,4,9)", "setModeRange(1,1,3,2,1)",
                "setModeRange(10,6,2,4,1)"}));
        QVERIFY(dev.live.log.isEmpty()); // nothing went to the live configuration itself
    }

    void uncheckedMaskRowLeavesMaskBits()
    {
        PixCfgDialogDevice dev = timepix();
        dev.live.put(PlanePixCfg::Mask, 2, 2, 1);
        dev.live.put(PlanePixCfg::Mask, 3, 3, 1);
        DlgPixCfg d(nullptr, &dev, {QRect(0, 0, 6, 6)});
        QVERIFY(showDialog(d));
        QVERIFY(!d.ui->chbMasked->isChecked());
        clickCheckBox(d.ui->chbSetMaskbit);
        QVERIFY(!d.ui->chbSetMaskbit->isChecked());
        typeInto(d.ui->sbThl, "3");
        clickOk(d);
        QCOMPARE(dev.setPixCfgCalls, 1);
        QCOMPARE(dev.live.at(PlanePixCfg::Mask, 2, 2), uint8_t(1));
        QCOMPARE(dev.live.at(PlanePixCfg::Mask, 3, 3), uint8_t(1));
        QCOMPARE(dev.live.count(PlanePixCfg::Mask, 1), 2);
        QCOMPARE(countIn(dev.live, PlanePixCfg::Thl, QRect(0, 0, 6, 6), 3), 36);
        for (const QString& call : dev.lastCopy()->log)
            QVERIFY2(!call.startsWith("setMask"), qPrintable(call));
    }

    void switchingRegionRefillsFromStoredRectangle()
    {
        PixCfgDialogDevice dev = timepix();
        DlgPixCfg d(nullptr, &dev, {QRect(QPoint(3, 2), QPoint(8, 6))});
        QVERIFY(showDialog(d));
        QCOMPARE(d.ui->cmbRegion->currentIndex(), 4);
        typeInto(d.ui->sbFromX, "1");
        typeInto(d.ui->sbToY, "11");
        QCOMPARE(boxValues(d), QList<int>({1, 9, 3, 11}));

        d.ui->cmbRegion->setFocus();
        QTest::keyClick(d.ui->cmbRegion, Qt::Key_Home); // "Full Matrix"
        QCOMPARE(d.ui->cmbRegion->currentIndex(), 0);
        QCOMPARE(boxValues(d), QList<int>({1, 16, 1, 12}));
        QCOMPARE(boxEnabled(d), QList<bool>({false, false, false, false}));

        QTest::keyClick(d.ui->cmbRegion, Qt::Key_End); // "Submatrix"
        QCOMPARE(boxValues(d), QList<int>({4, 9, 3, 7}));
        QCOMPARE(boxEnabled(d), QList<bool>({true, true, true, true}));
        QTest::keyClick(d.ui->cmbRegion, Qt::Key_Up); // "Column": keeps the Y extent
        QCOMPARE(boxValues(d), QList<int>({4, 4, 3, 7}));
        QCOMPARE(boxEnabled(d), QList<bool>({true, true, false, false}));
        QTest::keyClick(d.ui->cmbRegion, Qt::Key_Up); // "Row": keeps the X extent
        QCOMPARE(boxValues(d), QList<int>({4, 9, 3, 3}));
        QCOMPARE(boxEnabled(d), QList<bool>({false, false, true, true}));
        QTest::keyClick(d.ui->cmbRegion, Qt::Key_Up); // "Single Pixel"
        QCOMPARE(boxValues(d), QList<int>({4, 4, 3, 3}));
        QCOMPARE(boxEnabled(d), QList<bool>({true, false, true, false}));
    }

    void typedSubmatrixIsWritten()
    {
        PixCfgDialogDevice dev = timepix();
        DlgPixCfg d(nullptr, &dev, {});
        QVERIFY(showDialog(d));
        d.ui->cmbRegion->setFocus();
        QTest::keyClick(d.ui->cmbRegion, Qt::Key_End);
        QCOMPARE(d.ui->cmbRegion->currentText(), QString("Submatrix"));
        typeInto(d.ui->sbFromX, "3");
        typeInto(d.ui->sbToX, "5");
        typeInto(d.ui->sbFromY, "10");
        typeInto(d.ui->sbToY, "12");
        clickCheckBox(d.ui->chbSetTestbit); // test bits stay
        clickCheckBox(d.ui->chbMasked);
        clickOk(d);
        const QRect typed(QPoint(2, 9), QPoint(4, 11));
        QCOMPARE(d.regions(), QList<QRect>({typed}));
        QCOMPARE(dev.live.count(PlanePixCfg::Mask, 1), 9);
        QCOMPARE(countIn(dev.live, PlanePixCfg::Mask, typed, 1), 9);
        QCOMPARE(dev.live.count(PlanePixCfg::Test, 1), 0);
        QVERIFY(dev.lastCopy()->log.contains("setMaskBitRange(2,9,3,3,1)"));
    }

    // Single Pixel writes one pixel, whatever the disabled "To" boxes hold.
    void singlePixelIgnoresToBoxes()
    {
        PixCfgDialogDevice dev = timepix();
        DlgPixCfg d(nullptr, &dev, {QRect(4, 4, 1, 1)});
        QVERIFY(showDialog(d));
        d.ui->sbToX->setValue(10);
        d.ui->sbToY->setValue(9);
        clickCheckBox(d.ui->chbMasked);
        clickOk(d);
        QCOMPARE(d.regions(), QList<QRect>({QRect(4, 4, 1, 1)}));
        QCOMPARE(dev.live.count(PlanePixCfg::Mask, 1), 1);
        QCOMPARE(dev.live.at(PlanePixCfg::Mask, 4, 4), uint8_t(1));
    }

    void familyThresholdWrites()
    {
        PixCfgDialogDevice mpx2(1, false, W, H);
        DlgPixCfg d2(nullptr, &mpx2, {QRect(0, 0, 2, 2)});
        QVERIFY(showDialog(d2));
        typeInto(d2.ui->sbThh, "5");
        clickOk(d2);
        QVERIFY(mpx2.lastCopy()->log.contains("setThhRange(0,0,2,2,5)"));
        QCOMPARE(countIn(mpx2.live, PlanePixCfg::Mode, QRect(0, 0, 2, 2), 5), 4);
        for (const QString& call : mpx2.lastCopy()->log)
            QVERIFY2(!call.startsWith("setModeRange") && !call.startsWith("setThhRangeMpx3"),
                qPrintable(call));

        PixCfgDialogDevice mpx3(2, false, W, H);
        DlgPixCfg d3(nullptr, &mpx3, {QRect(1, 1, 2, 1)});
        QVERIFY(showDialog(d3));
        typeInto(d3.ui->sbThh, "27");
        clickOk(d3);
        QVERIFY(mpx3.lastCopy()->log.contains("setThhRangeMpx3(1,1,2,1,27)"));
        QCOMPARE(mpx3.live.count(PlanePixCfg::Thh3, 27), 2);
        for (const QString& call : mpx3.lastCopy()->log)
            QVERIFY2(!call.startsWith("setModeRange") && !call.startsWith("setThhRange("),
                qPrintable(call));

        // On a Timepix the hidden "Threshold High:" row writes nothing, though checked.
        PixCfgDialogDevice tpx = timepix();
        DlgPixCfg dt(nullptr, &tpx, {QRect(1, 1, 2, 1)});
        QVERIFY(dt.ui->chbSetThh->isChecked());
        clickOk(dt);
        for (const QString& call : tpx.lastCopy()->log)
            QVERIFY2(!call.startsWith("setThh"), qPrintable(call));
    }

    void untickingAllWritesNothingButHandsTheCopyBack()
    {
        PixCfgDialogDevice dev = timepix();
        DlgPixCfg d(nullptr, &dev, {});
        QVERIFY(showDialog(d));
        for (QCheckBox* box :
            {d.ui->chbSetMaskbit, d.ui->chbSetTestbit, d.ui->chbSetThl, d.ui->chbSetMode})
            clickCheckBox(box);
        clickOk(d);
        QVERIFY(dev.lastCopy()->log.isEmpty());
        QCOMPARE(dev.setPixCfgCalls, 1);
        QVERIFY(dev.lastCopy()->released);
    }

    void cancelChangesNothing()
    {
        PixCfgDialogDevice dev = timepix();
        DlgPixCfg d(nullptr, &dev, {QRect(0, 0, 3, 3)});
        QVERIFY(showDialog(d));
        clickCheckBox(d.ui->chbMasked);
        QTest::mouseClick(d.ui->buttonBox->button(QDialogButtonBox::Cancel), Qt::LeftButton);
        QCOMPARE(d.result(), int(QDialog::Rejected));
        QVERIFY(!d.isVisible());
        QVERIFY(dev.copies.empty());
        QCOMPARE(dev.setPixCfgCalls, 0);
        QCOMPARE(dev.live.count(PlanePixCfg::Mask, 1), 0);
    }

    // The spin boxes keep typed numbers within 1 and the matrix size and take no
    // letters; a "To" below its "From" is passed on as it is and the configuration
    // refuses that rectangle.
    void badInput()
    {
        PixCfgDialogDevice dev = timepix();
        DlgPixCfg d(nullptr, &dev, {QRect(2, 2, 4, 4)});
        QVERIFY(showDialog(d));
        typeInto(d.ui->sbToX, "99");
        QVERIFY(d.ui->sbToX->value() <= int(W));
        typeInto(d.ui->sbFromY, "0");
        QTest::keyClick(d.ui->sbFromY, Qt::Key_Tab);
        QVERIFY(d.ui->sbFromY->value() >= 1);
        typeInto(d.ui->sbToY, "ab");
        QCOMPARE(d.ui->sbToY->value(), 6); // unchanged
        typeInto(d.ui->sbThl, "40");
        QVERIFY(d.ui->sbThl->value() <= 15);

        typeInto(d.ui->sbFromX, "10");
        typeInto(d.ui->sbToX, "5");
        typeInto(d.ui->sbFromY, "3");
        typeInto(d.ui->sbToY, "4");
        clickCheckBox(d.ui->chbMasked);
        clickOk(d);
        QCOMPARE(d.result(), int(QDialog::Accepted));
        // Width 5 - 10 + 1 = -4 goes to the configuration as an unsigned number.
        const QString width = QString::number(unsigned(-4));
        QVERIFY2(dev.lastCopy()->log.contains(QString("setMaskBitRange(9,2,%1,2,1)").arg(width)),
            qPrintable(dev.lastCopy()->log.join(' ')));
        QCOMPARE(dev.live.count(PlanePixCfg::Mask, 1), 0);
        QCOMPARE(dev.setPixCfgCalls, 1);
        QVERIFY(dev.lastCopy()->released);
    }
};

QTEST_MAIN(TstDlgPixCfg)
#include "tst_dlgpixcfg.moc"
