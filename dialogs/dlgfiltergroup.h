// Edits the members of a filter group: the device's single filters on the left, the
// group's chain on the right, in the order the filters are applied. OK writes the chain
// to the group; Cancel leaves the group as it was.
#pragma once

#include <QDialog>

class Ui_DlgFilterGroup;

namespace ov {
class IDataFilterGroup;
class IDev;
class IOrvel;
} // namespace ov

namespace PluginDevControl {

class DlgFilterGroup : public QDialog
{
    Q_OBJECT

public:
    explicit DlgFilterGroup(QWidget* parent = nullptr);
    ~DlgFilterGroup() override;

    // Fills both lists and runs the dialog.
    int editFilterGroup(ov::IOrvel* orvel, ov::IDev* dev, ov::IDataFilterGroup* group);

    Ui_DlgFilterGroup* ui;

public slots:
    void on_btAdd_clicked();
    void on_btRemove_clicked();
    void on_bbOkCancel_accepted();
    void on_bbOkCancel_rejected();

private:
    // Whether the host still lists the group for the device.
    bool groupStillThere() const;

    ov::IOrvel* m_orvel = nullptr;
    ov::IDev* m_dev = nullptr;
    ov::IDataFilterGroup* m_group = nullptr;
};

} // namespace PluginDevControl
