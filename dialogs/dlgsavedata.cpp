#include "dlgsavedata.h"

#include "ui_dlgsavedata.h"

DlgSaveData::DlgSaveData(QWidget* parent) : QDialog(parent), ui(new Ui::DlgSaveData)
{
    ui->setupUi(this);
    connect(this, &QDialog::accepted, this, &DlgSaveData::onAccepted);
}

DlgSaveData::~DlgSaveData()
{
    delete ui;
}

void DlgSaveData::setChoise(int choice)
{
    switch (choice) {
    case 0:
        ui->rbSaveRaw->setChecked(true);
        break;
    case 1:
        ui->rbSaveFrame->setChecked(true);
        break;
    case 2:
        ui->rbSaveAllFrames->setChecked(true);
        break;
    default:
        break;
    }
}

void DlgSaveData::onAccepted()
{
    if (ui->rbSaveRaw->isChecked())
        m_choice = 0;
    else if (ui->rbSaveFrame->isChecked())
        m_choice = 1;
    else if (ui->rbSaveAllFrames->isChecked())
        m_choice = 2;
}
