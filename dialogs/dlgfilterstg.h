// Shows the parameters of one data filter in a parameter browser; a value edited there
// goes to the filter at once.
#pragma once

#include <QDialog>

class QParamsBrowser;
class Ui_DlgFilterStg;

namespace ov {
class IParamMgr;
}

namespace PluginDevControl {

class DlgFilterStg : public QDialog
{
    Q_OBJECT

public:
    explicit DlgFilterStg(QWidget* parent = nullptr);
    ~DlgFilterStg() override;

    // Shows the parameters and runs the dialog until the user closes it.
    int editFilterParams(ov::IParamMgr* params);

    QParamsBrowser* browser() const;

private:
    Ui_DlgFilterStg* ui;
};

} // namespace PluginDevControl
