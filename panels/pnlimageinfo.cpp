#include "pnlimageinfo.h"

#include "ui_pnlimageinfo.h"

#include <ovdetector.h>

#include <QHeaderView>
#include <QTableWidgetItem>

#include <iterator>

namespace PluginDevControl {

namespace {

struct RowText
{
    const char* name;
    const char* start;
};

constexpr RowText kRows[] = {
    {"[X,Y]:", "[10,10]"},
    {"Count:", ""},
    {"Min:", ""},
    {"Max:", ""},
    {"Pixel Count:", ""},
    {"Total:", ""},
    {"Mean:", ""},
    {"Empty Pixels:", ""},
};

QString number(double value)
{
    return QString::number(value, 'g', 6);
}

} // namespace

PnlImageInfo::PnlImageInfo(QWidget* parent) : QWidget(parent), ui(new Ui_PnlImageInfo)
{
    ui->setupUi(this);
    QTableWidget* table = ui->tbImageInfo;
    table->setRowCount(static_cast<int>(std::size(kRows)));
    table->setColumnCount(2);
    for (int row = 0; row < table->rowCount(); ++row) {
        table->setItem(row, 0, new QTableWidgetItem(QString::fromLatin1(kRows[row].name)));
        table->setItem(row, 1, new QTableWidgetItem(QString::fromLatin1(kRows[row].start)));
    }
    table->resizeColumnToContents(0);
    // All eight rows in view, without a scroll bar.
    table->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    table->setFixedHeight(table->verticalHeader()->length() + 2 * table->frameWidth());
}

PnlImageInfo::~PnlImageInfo()
{
    delete ui;
}

QTableWidget* PnlImageInfo::imageInfo() const
{
    return ui->tbImageInfo;
}

QString PnlImageInfo::value(Row row) const
{
    const QTableWidgetItem* item = ui->tbImageInfo->item(row, 1);
    return item ? item->text() : QString();
}

void PnlImageInfo::setValue(Row row, const QString& text)
{
    if (QTableWidgetItem* item = ui->tbImageInfo->item(row, 1))
        item->setText(text);
}

void PnlImageInfo::updateCoordinates(int x, int y, double value)
{
    setValue(RowPosition, QStringLiteral("[%1, %2]").arg(x).arg(y));
    setValue(RowCount, number(value));
}

void PnlImageInfo::onMpxFrameMouseLeave()
{
    setValue(RowPosition, QStringLiteral("[-, -]"));
    setValue(RowCount, QStringLiteral("0"));
}

void PnlImageInfo::updateStatistics(ov::IMpxFrame* frame, const ov::Region* region)
{
    if (!frame || !isVisible())
        return;
    setValue(RowMin, number(frame->minValue(region)));
    setValue(RowMax, number(frame->maxValue(region)));
    const int nonZero = frame->nonZeroCount(region);
    setValue(RowPixelCount, QString::number(static_cast<unsigned>(nonZero)));
    setValue(RowTotal, number(frame->total(region)));
    setValue(RowMean, number(frame->mean(region)));
    // The pixels of the region's rectangle, or of the frame without a region.
    long long pixels = static_cast<long long>(frame->width()) * frame->height();
    if (region && region->count == 1 && region->rects)
        pixels = static_cast<long long>(region->rects[0].width) * region->rects[0].height;
    else if (region && region->count > 1)
        pixels = frame->pixelCountInRegion(region);
    setValue(RowEmptyPixels, QString::number(pixels - nonZero));
}

} // namespace PluginDevControl
