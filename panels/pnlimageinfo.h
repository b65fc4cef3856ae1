// The image info panel of a device page: the pixel under the mouse and the statistics
// (minimum, maximum, non-empty pixels, total, mean, empty pixels) of the frame on
// screen, or of the active selection.
#pragma once

#include <QWidget>

class QTableWidget;
class Ui_PnlImageInfo;

namespace ov {
class IMpxFrame;
struct Region;
} // namespace ov

namespace PluginDevControl {

class PnlImageInfo : public QWidget
{
    Q_OBJECT

public:
    // The rows of the table, in order.
    enum Row : int {
        RowPosition = 0,
        RowCount = 1,
        RowMin = 2,
        RowMax = 3,
        RowPixelCount = 4,
        RowTotal = 5,
        RowMean = 6,
        RowEmptyPixels = 7,
    };

    explicit PnlImageInfo(QWidget* parent = nullptr);
    ~PnlImageInfo() override;

    QTableWidget* imageInfo() const;
    // The text of the value column of a row.
    QString value(Row row) const;

    // The pixel under the mouse and its value.
    void updateCoordinates(int x, int y, double value);
    // The mouse left the picture.
    void onMpxFrameMouseLeave();
    // Statistics of the region of frame (the whole frame for a null region); nothing is
    // computed while the panel is hidden, as this runs for every frame shown.
    void updateStatistics(ov::IMpxFrame* frame, const ov::Region* region);

private:
    void setValue(Row row, const QString& text);

    Ui_PnlImageInfo* ui;
};

} // namespace PluginDevControl
