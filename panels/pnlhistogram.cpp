#include "pnlhistogram.h"

#include "ui_pnlhistogram.h"

#include <qplot.h>
#include <qplotlayer.h>
#include <qplotline.h>

#include <ovdetector.h>

namespace PluginDevControl {

PnlHistogram::PnlHistogram(QWidget* parent) : QWidget(parent), ui(new Ui_PnlHistogram)
{
    ui->setupUi(this);
    // The histogram always goes to the first layer.
    ui->plotHistogram->addEmptyLayer();
}

PnlHistogram::~PnlHistogram()
{
    delete ui;
}

QPlot* PnlHistogram::plot() const
{
    return ui->plotHistogram;
}

void PnlHistogram::updateHistogram(
    ov::IMpxFrame* frame, double min, double max, const ov::Region* region)
{
    if (!isVisible() || !frame)
        return;
    if (min == max)
        max = max + 1.0;
    double bins[binCount] = {};
    frame->histogram(binCount, bins, region, min, max);

    QPlot* plot = ui->plotHistogram;
    QPlotLayer* layer = plot->layer(0);
    if (!layer)
        layer = plot->addEmptyLayer();
    layer->clear();
    auto* line = new QPlotLine;
    line->reserve(binCount);
    const double step = (max - min) / binCount;
    for (int i = 0; i < binCount; ++i)
        line->addPoint(min + i * step, bins[i]);
    line->setDrawStyle(QPlotLine::Lines);
    layer->addLine(line, nullptr);
    plot->setAutoRange(false, true);
    plot->setRangeX(min, max);
}

} // namespace PluginDevControl
