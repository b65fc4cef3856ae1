// The analysis panels of the simulated Timepix quad's page, used as a person would: a
// measurement, the mouse over the picture, a selection drawn with the mouse, the range
// typed in, a filter picked and applied, and a filter group made, set up and removed.
#include "../devctrl/modaldriver.h"
#include "../panels/typeinto.h"
#include "timepixpage.h"

#include "dlgfiltergroup.h"
#include "pnlfilters.h"
#include "pnlhistogram.h"
#include "pnlimageinfo.h"
#include "pnlimageprops.h"
#include "pnlmeasurement.h"
#include "qplot.h"
#include "qplotlayer.h"
#include "qplotline.h"
#include "ui_dlgfiltergroup.h"
#include "ui_pnlfilters.h"
#include "ui_pnlmeasurement.h"

#include <QCheckBox>
#include <QComboBox>
#include <QInputDialog>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QToolButton>

#include <cmath>

using namespace PluginDevControl;

namespace {

void showWindow(TimepixPage& page)
{
    page.fixture.window()->resize(1280, 900);
    page.fixture.window()->show();
    QVERIFY(QTest::qWaitForWindowExposed(page.fixture.window()));
}

// One frame of 0.01 s, measured with the page's own start button.
void measureOneFrame(TimepixPage& page)
{
    Ui_PnlMeasurement& ui = *page.view->measurement()->ui;
    typeInto(ui.spCount, 1);
    typeInto(ui.edTime, "0.01");
    // The end of the run is queued to this thread after the frame's display (a spy would
    // count it on the measuring thread, before the picture is drawn).
    int finished = 0;
    QObject receiver;
    QObject::connect(
        page.ctrl(), &DevCtrlMpx::acqAllFinished, &receiver, [&finished] { ++finished; },
        Qt::QueuedConnection);
    QTest::mouseClick(ui.btStartStop, Qt::LeftButton);
    QTRY_COMPARE_WITH_TIMEOUT(finished, 1, 30000);
    QVERIFY(page.image()->getData() != nullptr);
}

// The pixels on screen (the frame as drawn, after any filter).
std::vector<double> shownPixels(const TimepixPage& page)
{
    const QMpxImage* image = page.image();
    const size_t n = size_t(image->getDataWidth()) * image->getDataHeight();
    return std::vector<double>(image->getData(), image->getData() + n);
}

double binSum(PnlHistogram* panel)
{
    QPlotLayer* layer = panel->plot()->layer(0);
    if (!layer || layer->lines().isEmpty())
        return -1.0;
    double sum = 0.0;
    for (const QPlotPoint& p : layer->lines().first()->points)
        sum += p.y;
    return sum;
}

// Pixels of the shown frame inside rect whose value lies in [min, max].
int countInRange(const TimepixPage& page, const QRect& rect, double min, double max)
{
    const std::vector<double> px = shownPixels(page);
    const int w = int(page.image()->getDataWidth());
    int n = 0;
    for (int y = rect.top(); y <= rect.bottom(); ++y)
        for (int x = rect.left(); x <= rect.right(); ++x) {
            const double v = px[size_t(y) * size_t(w) + size_t(x)];
            if (v >= min && v <= max)
                ++n;
        }
    return n;
}

// Draws a selection on the picture with the mouse, Ctrl held so that it does not zoom.
QRect drawSelection(TimepixPage& page, QPoint from, QPoint to)
{
    QMpxImage* image = page.image();
    QSignalSpy selected(image, &QMpxImage::selectionRectsChanged);
    QTest::mousePress(image, Qt::LeftButton, Qt::ControlModifier, from);
    QTest::mouseMove(image, (from + to) / 2);
    QTest::mouseMove(image, to);
    QTest::mouseRelease(image, Qt::LeftButton, Qt::ControlModifier, to);
    if (selected.count() != 1)
        return QRect();
    const QList<QRect> rects = selected.at(0).at(0).value<QList<QRect>>();
    return rects.isEmpty() ? QRect() : rects.last();
}

// Answers the group name question with name.
void answerName(ModalDriver& driver, const QString& name)
{
    driver.add([name](QWidget* w) {
        auto* input = qobject_cast<QInputDialog*>(w);
        if (!input)
            return false;
        input->setTextValue(name);
        input->accept();
        return true;
    });
}

} // namespace

class TestDevViewAnalysis : public QObject
{
    Q_OBJECT

private slots:
    void infoFollowsTheMouseAndTheSelection_histogramFollowsTheRange()
    {
        TimepixPage page;
        QVERIFY(page.view);
        showWindow(page);
        auto* info = page.view->findChild<PnlImageInfo*>();
        auto* histogram = page.view->findChild<PnlHistogram*>();
        auto* props = page.view->findChild<PnlImageProps*>();
        QVERIFY(info && histogram && props);
        QVERIFY(info->isVisible() && histogram->isVisible());
        measureOneFrame(page);
        const int w = int(page.image()->getDataWidth());
        const int h = int(page.image()->getDataHeight());
        QCOMPARE(w, 512);
        QCOMPARE(h, 512);

        // The whole frame's statistics arrived with the frame.
        QTRY_VERIFY(!info->value(PnlImageInfo::RowTotal).isEmpty());
        const int nonEmpty = info->value(PnlImageInfo::RowPixelCount).toInt();
        const int empty = info->value(PnlImageInfo::RowEmptyPixels).toInt();
        QCOMPARE(nonEmpty + empty, w * h);
        QVERIFY(nonEmpty > 0);

        // The mouse over the picture: position and value of the pixel under it.
        QMpxImage* image = page.image();
        const QPoint at(image->width() / 3, image->height() / 4);
        QTest::mouseMove(image, at);
        const QRegularExpressionMatch m = QRegularExpression(R"(^\[(\d+), (\d+)\]$)")
                                              .match(info->value(PnlImageInfo::RowPosition));
        QVERIFY2(m.hasMatch(), qPrintable(info->value(PnlImageInfo::RowPosition)));
        const int x = m.captured(1).toInt();
        const int y = m.captured(2).toInt();
        const QPointF real = image->screenPointToRealPoint(at);
        QCOMPARE(x, int(real.x()));
        QCOMPARE(y, int(real.y()));
        QCOMPARE(info->value(PnlImageInfo::RowCount),
            QString::number(shownPixels(page)[size_t(y) * size_t(w) + size_t(x)], 'g', 6));
        // ... and away from it.
        QEvent leave(QEvent::Leave);
        QApplication::sendEvent(image, &leave);
        QCOMPARE(info->value(PnlImageInfo::RowPosition), QStringLiteral("[-, -]"));

        // A fixed range, typed in.
        auto* edMin = props->findChild<QLineEdit*>("edMin");
        auto* edMax = props->findChild<QLineEdit*>("edMax");
        QVERIFY(edMin && edMax);
        clickCheckBox(props->autoRangeCheckBox());
        QVERIFY(!props->autoRangeCheckBox()->isChecked());
        typeInto(edMin, "1");
        QTest::keyClick(edMin, Qt::Key_Return);
        typeInto(edMax, "40");
        QTest::keyClick(edMax, Qt::Key_Return);
        QTRY_COMPARE(histogram->plot()->maxX(), 40.0);
        QCOMPARE(histogram->plot()->minX(), 1.0);
        const QRect whole(0, 0, w, h);
        QCOMPARE(binSum(histogram), double(countInRange(page, whole, 1.0, 40.0)));

        // A selection drawn with the mouse: info and histogram take its pixels only.
        const QRect sel = drawSelection(page, QPoint(image->width() / 5, image->height() / 5),
            QPoint(image->width() / 2, image->height() / 3));
        QVERIFY(sel.isValid());
        QVERIFY(sel.width() > 4 && sel.height() > 4);
        QCOMPARE(info->value(PnlImageInfo::RowPixelCount).toInt()
                + info->value(PnlImageInfo::RowEmptyPixels).toInt(),
            sel.width() * sel.height());
        QCOMPARE(binSum(histogram), double(countInRange(page, sel, 1.0, 40.0)));

        // The range moves again: the histogram follows, within the selection.
        typeInto(edMax, "10");
        QTest::keyClick(edMax, Qt::Key_Return);
        QTRY_COMPARE(histogram->plot()->maxX(), 10.0);
        QCOMPARE(binSum(histogram), double(countInRange(page, sel, 1.0, 10.0)));
    }

    void aFilterAndAGroupChangeTheFrameOnShow()
    {
        TimepixPage page;
        QVERIFY(page.view);
        showWindow(page);
        PnlFilters* filters = page.view->filters();
        const Ui_PnlFilters& ui = filters->form();
        QVERIFY(ui.cmbFilter->count() >= 5);
        QVERIFY(ui.cmbFilter->findText("Binning 2x2") >= 0);
        measureOneFrame(page);
        QCOMPARE(page.image()->getDataWidth(), 512u);
        const std::vector<double> raw = shownPixels(page);

        // Binning on: the picture is the 2 x 2 sums, half the size.
        chooseItem(ui.cmbFilter, ui.cmbFilter->findText("Binning 2x2"));
        clickCheckBox(ui.chbFilterOn);
        QVERIFY(ui.chbFilterOn->isChecked());
        QCOMPARE(page.image()->getDataWidth(), 256u);
        QCOMPARE(page.image()->getDataHeight(), 256u);
        const std::vector<double> binned = shownPixels(page);
        QCOMPARE(binned[0], raw[0] + raw[1] + raw[512] + raw[513]);
        // Off again: the frame as measured, at once.
        clickCheckBox(ui.chbFilterOn);
        QCOMPARE(page.image()->getDataWidth(), 512u);
        QCOMPARE(shownPixels(page), raw);

        // A group of two binnings, made and set up through the panel.
        ModalDriver driver;
        answerName(driver, "Quarter");
        QTest::mouseClick(ui.btFilterGroupAdd, Qt::LeftButton);
        QVERIFY(driver.done());
        chooseItem(ui.cmbFilter, ui.cmbFilter->findText("Quarter"));
        QCOMPARE(ui.cmbFilter->currentText(), QStringLiteral("Quarter"));
        QVERIFY(ui.btFilterGroupRemove->isEnabled());
        driver.add([](QWidget* w) {
            auto* d = qobject_cast<DlgFilterGroup*>(w);
            if (!d)
                return false;
            QListWidget* all = d->ui->lsAllFilters;
            const QList<QListWidgetItem*> found = all->findItems("Binning 2x2", Qt::MatchExactly);
            if (found.size() != 1)
                return false;
            found.first()->setSelected(true);
            QTest::mouseClick(d->ui->btAdd, Qt::LeftButton);
            QTest::mouseClick(d->ui->btAdd, Qt::LeftButton);
            QTest::mouseClick(d->ui->bbOkCancel->button(QDialogButtonBox::Ok), Qt::LeftButton);
            return true;
        });
        QTest::mouseClick(ui.btFilterStg, Qt::LeftButton);
        QVERIFY(driver.done());
        clickCheckBox(ui.chbFilterOn);
        QCOMPARE(page.image()->getDataWidth(), 128u);
        double block = 0.0;
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 4; ++x)
                block += raw[size_t(y) * 512 + size_t(x)];
        QCOMPARE(shownPixels(page)[0], block);

        // Removed: the frame goes back to the first filter's choice, unfiltered here
        // as the first filter needs a reference frame it has not got.
        QTest::mouseClick(ui.btFilterGroupRemove, Qt::LeftButton);
        QCOMPARE(ui.cmbFilter->findText("Quarter"), -1);
        QCOMPARE(ui.cmbFilter->currentIndex(), 0);
        QVERIFY(!ui.btFilterGroupRemove->isEnabled());
        QCOMPARE(page.image()->getDataWidth(), 512u);
    }
};

QTEST_MAIN(TestDevViewAnalysis)
#include "tst_devviewanalysis.moc"
