// The histogram panel of a detector page: the distribution of the pixel values of the
// frame on screen inside the displayed range, drawn in a QPlot whose X axis is that
// range and whose Y axis follows the counts.
#pragma once

#include <QWidget>

class QPlot;
class Ui_PnlHistogram;

namespace ov {
class IMpxFrame;
struct Region;
} // namespace ov

namespace PluginDevControl {

class PnlHistogram : public QWidget
{
    Q_OBJECT

public:
    // Bins of a histogram over the displayed range.
    static constexpr int binCount = 2048;

    explicit PnlHistogram(QWidget* parent = nullptr);
    ~PnlHistogram() override;

    QPlot* plot() const;
    const Ui_PnlHistogram& form() const { return *ui; }

    // Draws the histogram of frame between min and max (in region, or the whole frame
    // for null). A range of zero width is widened by one. Nothing is done while the
    // panel is hidden or without a frame, since this runs for every frame shown.
    void updateHistogram(ov::IMpxFrame* frame, double min, double max, const ov::Region* region);

private:
    Ui_PnlHistogram* ui;
};

} // namespace PluginDevControl
