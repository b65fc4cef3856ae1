#include "msgpanel.h"

#include "ui_msgpanel.h"

namespace PluginDevControl {

namespace {

constexpr int kErrorLevel = 2;

} // namespace

MsgPanel::MsgPanel(QWidget* parent) : QWidget(parent), ui(new Ui_MsgPanel)
{
    ui->setupUi(this);
}

MsgPanel::~MsgPanel()
{
    delete ui;
}

void MsgPanel::logMsg(int level, QString text)
{
    if (level == kErrorLevel)
        ui->txtLog->setTextColor(Qt::red);
    else
        ui->txtLog->setTextColor(ui->txtLog->palette().color(QPalette::Text));
    ui->txtLog->append(text);
    if (ui->chbOpen->isChecked())
        show();
}

bool MsgPanel::openOnMessage() const
{
    return ui->chbOpen->isChecked();
}

void MsgPanel::on_btClear_clicked()
{
    ui->txtLog->clear();
}

} // namespace PluginDevControl
