// Asks what "Save Data" should write: the raw data, the frame on show, or every
// measured frame as shown. The view maps the choice 0, 1, 2 to the controller's
// saveAcqData, saveCurrentFrame and saveAllFrames.
#pragma once

#include <QDialog>

namespace Ui {
class DlgSaveData;
}

class DlgSaveData : public QDialog
{
    Q_OBJECT

public:
    explicit DlgSaveData(QWidget* parent = nullptr);
    ~DlgSaveData() override;

    // Checks button 0, 1 or 2; any other value changes nothing.
    void setChoise(int choice);
    // The choice stored when the dialog was accepted; 0 before.
    int choice() const { return m_choice; }

    Ui::DlgSaveData* ui;

private slots:
    void onAccepted();

private:
    int m_choice = 0;
};
