#include "dlgpixcfg.h"

#include "ui_dlgpixcfg.h"

#include <ovdetector.h>

#include <QSignalBlocker>

#include <functional>
#include <utility>

namespace PluginDevControl {

namespace {

// Items of cmbRegion.
enum RegionType {
    FullMatrix = 0,
    SinglePixel = 1,
    Row = 2,
    Column = 3,
    Submatrix = 4
};

// Device types of the families that have pixel configuration rows of their own.
constexpr int DevTypeMpx2 = 1; // Medipix2 or Timepix, told apart by isTimepix()
constexpr int DevTypeMpx3 = 2;

RegionType regionTypeOf(const QRect& r, int matrixWidth, int matrixHeight)
{
    if (r.left() == r.right())
        return r.top() == r.bottom() ? SinglePixel : Column;
    if (r.top() == r.bottom())
        return Row;
    if (r.width() == matrixWidth && r.height() == matrixHeight)
        return FullMatrix;
    return Submatrix;
}

} // namespace

DlgPixCfg::DlgPixCfg(QWidget* parent, ov::IDevMpx* dev, QList<QRect> regions)
    : QDialog(parent), ui(new Ui_DlgPixCfg), m_dev(dev)
{
    ui->setupUi(this);

    const QRect seed = regions.isEmpty()
        ? QRect(QPoint(0, 0), QPoint(m_dev->width() - 1, m_dev->height() - 1))
        : regions.first();
    setupDeviceRows(seed);

    {
        const QSignalBlocker blocker(ui->cmbRegion);
        ui->cmbRegion->setCurrentIndex(regionTypeOf(seed, m_dev->width(), m_dev->height()));
    }

    m_regions = regions.isEmpty() ? QList<QRect> {seed} : regions;
    enableRegionGui();
    setRegionByRegionType();
    // With several regions the dialog acts on the list it was given, as it stands.
    ui->cmbRegion->setEnabled(m_regions.size() == 1);
}

DlgPixCfg::~DlgPixCfg()
{
    delete ui;
}

void DlgPixCfg::setupDeviceRows(const QRect& seed)
{
    const int type = m_dev->deviceType();
    const bool timepix = type == DevTypeMpx2 && m_dev->isTimepix();
    const bool medipix2 = type == DevTypeMpx2 && !timepix;
    const bool medipix3 = type == DevTypeMpx3;
    const bool hasThh = medipix2 || medipix3;
    const bool hasMode = timepix;

    ui->chbSetThh->setVisible(hasThh);
    ui->sbThh->setVisible(hasThh);
    ui->chbSetMode->setVisible(hasMode);
    ui->cmbMode->setVisible(hasMode);
    adjustSize();

    ui->sbFromX->setMaximum(m_dev->width());
    ui->sbToX->setMaximum(m_dev->width());
    ui->sbFromY->setMaximum(m_dev->height());
    ui->sbToY->setMaximum(m_dev->height());

    ov::IMpxPixCfg* cfg = m_dev->pixCfg();
    if (!cfg)
        return;
    ui->sbThl->setMaximum(cfg->thlMax());
    if (medipix2)
        ui->sbThh->setMaximum(cfg->thhMax());
    else if (medipix3)
        ui->sbThh->setMaximum(cfg->thhMaxMpx3());

    // The values shown come from the pixel whose linear index is the seed's left
    // coordinate; the top coordinate takes no part in it.
    const auto pixel = static_cast<unsigned>(seed.left());
    ui->chbMasked->setChecked(cfg->maskBit(pixel));
    ui->chbTbOn->setChecked(cfg->testBit(pixel));
    ui->sbThl->setValue(cfg->thl(pixel));
    if (medipix2)
        ui->sbThh->setValue(cfg->mode8(pixel));
    else if (medipix3)
        ui->sbThh->setValue(cfg->thhMpx3(pixel));
    if (timepix)
        ui->cmbMode->setCurrentIndex(cfg->mode8(pixel));
}

void DlgPixCfg::enableRegionGui()
{
    bool fromX = false, toX = false, fromY = false, toY = false;
    if (m_regions.size() == 1) {
        switch (ui->cmbRegion->currentIndex()) {
        case SinglePixel:
            fromX = fromY = true;
            break;
        case Row:
            fromY = toY = true;
            break;
        case Column:
            fromX = toX = true;
            break;
        case Submatrix:
            fromX = toX = fromY = toY = true;
            break;
        default:
            break;
        }
    }
    ui->sbFromX->setEnabled(fromX);
    ui->sbToX->setEnabled(toX);
    ui->sbFromY->setEnabled(fromY);
    ui->sbToY->setEnabled(toY);
}

void DlgPixCfg::setRegionByRegionType()
{
    if (m_regions.isEmpty())
        return;
    const QRect& r = m_regions.first();
    int fromX = r.left() + 1, toX = r.right() + 1;
    int fromY = r.top() + 1, toY = r.bottom() + 1;
    switch (ui->cmbRegion->currentIndex()) {
    case FullMatrix:
        fromX = 1;
        toX = m_dev->width();
        fromY = 1;
        toY = m_dev->height();
        break;
    case SinglePixel:
        toX = fromX;
        toY = fromY;
        break;
    case Row:
        toY = fromY;
        break;
    case Column:
        toX = fromX;
        break;
    default:
        break;
    }
    ui->sbFromX->setValue(fromX);
    ui->sbToX->setValue(toX);
    ui->sbFromY->setValue(fromY);
    ui->sbToY->setValue(toY);
}

void DlgPixCfg::on_cmbRegion_currentIndexChanged(int)
{
    enableRegionGui();
    setRegionByRegionType();
}

QRect DlgPixCfg::regionFromSpinBoxes() const
{
    QRect r(QPoint(ui->sbFromX->value() - 1, ui->sbFromY->value() - 1),
        QPoint(ui->sbToX->value() - 1, ui->sbToY->value() - 1));
    if (ui->cmbRegion->currentIndex() == SinglePixel) {
        r.setRight(r.left());
        r.setBottom(r.top());
    }
    return r;
}

void DlgPixCfg::on_buttonBox_accepted()
{
    if (m_regions.size() == 1)
        m_regions = {regionFromSpinBoxes()};

    // Every write goes to the working copy; the device sees it in one call at the end.
    // The holder hands the copy back on every path.
    const ov::SharedPtr<ov::IMpxPixCfg> copy(m_dev->copyPixCfg());
    if (!copy) {
        QDialog::accept();
        return;
    }

    // A "To" value below its "From" value gives a width or height of zero or less,
    // which goes to the configuration as it is.
    using RangeOp = std::function<void(unsigned, unsigned, unsigned, unsigned)>;
    const auto forEachRegion = [this](const RangeOp& op) {
        for (const QRect& r : std::as_const(m_regions))
            op(static_cast<unsigned>(r.left()), static_cast<unsigned>(r.top()),
                static_cast<unsigned>(r.right() - r.left() + 1),
                static_cast<unsigned>(r.bottom() - r.top() + 1));
    };
    ov::IMpxPixCfg* cfg = copy.get();
    const int type = m_dev->deviceType();
    const bool setThh = ui->chbSetThh->isChecked() && !ui->chbSetThh->isHidden();
    const bool setMode = ui->chbSetMode->isChecked() && !ui->chbSetMode->isHidden();

    if (ui->chbSetMaskbit->isChecked()) {
        const bool masked = ui->chbMasked->isChecked();
        forEachRegion([=](unsigned x, unsigned y, unsigned w, unsigned h) {
            cfg->setMaskBitRange(x, y, w, h, masked);
        });
    }
    if (ui->chbSetTestbit->isChecked()) {
        const bool on = ui->chbTbOn->isChecked();
        forEachRegion([=](unsigned x, unsigned y, unsigned w, unsigned h) {
            cfg->setTestBitRange(x, y, w, h, on);
        });
    }
    if (ui->chbSetThl->isChecked()) {
        const auto thl = static_cast<uint8_t>(ui->sbThl->value());
        forEachRegion([=](unsigned x, unsigned y, unsigned w, unsigned h) {
            cfg->setThlRange(x, y, w, h, thl);
        });
    }
    const auto thh = static_cast<uint8_t>(ui->sbThh->value());
    if (setThh && type == DevTypeMpx2)
        forEachRegion([=](unsigned x, unsigned y, unsigned w, unsigned h) {
            cfg->setThhRange(x, y, w, h, thh);
        });
    if (setThh && type == DevTypeMpx3)
        forEachRegion([=](unsigned x, unsigned y, unsigned w, unsigned h) {
            cfg->setThhRangeMpx3(x, y, w, h, thh);
        });
    if (setMode) {
        const auto mode = static_cast<uint8_t>(ui->cmbMode->currentIndex());
        forEachRegion([=](unsigned x, unsigned y, unsigned w, unsigned h) {
            cfg->setModeRange(x, y, w, h, mode);
        });
    }

    m_dev->setPixCfg(cfg);
    QDialog::accept();
}

void DlgPixCfg::on_buttonBox_rejected()
{
    QDialog::reject();
}

} // namespace PluginDevControl
