// Sets the pixel configuration bits of a detector by hand: mask bit, test bit, low and
// high threshold adjustment and Timepix mode, on one rectangle of the matrix chosen in
// the dialog, or on the list of rectangles selected on the frame display. The bits are
// written to a working copy, and the device gets the copy in one call on OK.
#pragma once

#include <QDialog>
#include <QList>
#include <QRect>

class Ui_DlgPixCfg;

namespace ov {
class IDevMpx;
}

namespace PluginDevControl {

class DlgPixCfg : public QDialog
{
    Q_OBJECT

public:
    // regions: matrix coordinates from 0, right and bottom inclusive. An empty list
    // stands for the whole matrix.
    DlgPixCfg(QWidget* parent, ov::IDevMpx* dev, QList<QRect> regions);
    ~DlgPixCfg() override;

    // The rectangles that OK acts on (the one of the spin boxes once accepted).
    const QList<QRect>& regions() const { return m_regions; }

    Ui_DlgPixCfg* ui;

private slots:
    void on_cmbRegion_currentIndexChanged(int index);
    void on_buttonBox_accepted();
    void on_buttonBox_rejected();

private:
    // Enables the spin boxes that the chosen kind of region lets the user edit.
    void enableRegionGui();
    // Fills the spin boxes from the first stored rectangle as the kind of region says.
    void setRegionByRegionType();
    // Shows the rows that the chip family has, sets the maxima and reads the seed pixel.
    void setupDeviceRows(const QRect& seed);
    // The rectangle that the spin boxes describe.
    QRect regionFromSpinBoxes() const;

    ov::IDevMpx* m_dev;
    QList<QRect> m_regions;
};

} // namespace PluginDevControl
