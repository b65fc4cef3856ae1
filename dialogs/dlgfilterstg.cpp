#include "dlgfilterstg.h"

#include "qparamsbrowser.h"
#include "ui_dlgfilterstg.h"

namespace PluginDevControl {

DlgFilterStg::DlgFilterStg(QWidget* parent) : QDialog(parent), ui(new Ui_DlgFilterStg)
{
    ui->setupUi(this);
}

DlgFilterStg::~DlgFilterStg()
{
    delete ui;
}

int DlgFilterStg::editFilterParams(ov::IParamMgr* params)
{
    ui->tvParams->setParams(params);
    return exec();
}

QParamsBrowser* DlgFilterStg::browser() const
{
    return ui->tvParams;
}

} // namespace PluginDevControl
