#include "pnlimagepropsadv.h"

#include "devctrlmpx.h"
#include "ui_pnlimagepropsadv.h"

#include <qmpxframe.h>

namespace PluginDevControl {

PnlImagePropsAdv::PnlImagePropsAdv(QWidget* parent, QMpxFrame* mpxFrame, DevCtrlMpx* controller)
    : QWidget(parent), ui(new Ui_PnlImagePropsAdv), frame(mpxFrame), ctrl(controller)
{
    ui->setupUi(this);
    // The panel keeps its natural height; the settings column gives the rest away.
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Maximum);
    ui->lImageProps->setText(" Advanced Image Properties");
    QFont headFont = ui->lImageProps->label->font();
    headFont.setBold(true);
    ui->lImageProps->label->setFont(headFont);
    connect(ui->lImageProps, &QLabelWithIcon::openStateChanged, ui->pnlImagePropsAdv,
        &QWidget::setVisible);
    ui->lGamma->setText(QString::number(ui->slGamma->value() - kGammaZero));
    if (ctrl && ctrl->isNormalizedByTime())
        ui->chbNormalize->setChecked(true);
}

PnlImagePropsAdv::~PnlImagePropsAdv()
{
    delete ui;
}

void PnlImagePropsAdv::on_slGamma_valueChanged(int value)
{
    // -19 to 20 around the linear scale at 0; the picture turns it into an exponent.
    const int gamma = value - kGammaZero;
    ui->lGamma->setText(QString::number(gamma));
    if (!frame)
        return;
    frame->image->gamma = static_cast<double>(gamma);
    frame->image->redraw();
}

void PnlImagePropsAdv::on_chbNormalize_clicked(bool checked)
{
    if (ctrl)
        ctrl->normalizeByTime(checked);
}

} // namespace PluginDevControl
