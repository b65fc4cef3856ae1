// The advanced image properties panel: the gamma of the colour scale and the
// normalisation of frames by their acquisition time.
#pragma once

#include <QWidget>

class QMpxFrame;
class Ui_PnlImagePropsAdv;

namespace PluginDevControl {

class DevCtrlMpx;

class PnlImagePropsAdv : public QWidget
{
    Q_OBJECT

public:
    // The slider's middle position is gamma 0, the linear scale.
    static constexpr int kGammaZero = 19;

    // ctrl may be null: the normalisation then does nothing.
    PnlImagePropsAdv(QWidget* parent, QMpxFrame* frame, DevCtrlMpx* ctrl);
    ~PnlImagePropsAdv() override;

    Ui_PnlImagePropsAdv* ui;

private slots:
    void on_slGamma_valueChanged(int value);
    void on_chbNormalize_clicked(bool checked);

private:
    QMpxFrame* frame;
    DevCtrlMpx* ctrl;
};

} // namespace PluginDevControl
