// The device's own trigger parameters in the measurement settings: one row per
// parameter whose name begins with "trg" or "trigger" (any case), with a control built
// from the value domain in its description, and their writing back on OK.
#include "dlgacqstg.h"

#include "paramparser.h"
#include "ui_dlgacqstg.h"

#include <ovcore.h>
#include <ovdetector.h>

#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QRegularExpression>
#include <QSpinBox>

#include <algorithm>

namespace PluginDevControl {

namespace {

bool isTriggerParam(const ov::IParam* param)
{
    const QString name = QString::fromUtf8(param->name()).toLower();
    return name.startsWith(QLatin1String("trg")) || name.startsWith(QLatin1String("trigger"));
}

// "TrgInputEdge" reads "Input Edge".
QString labelOf(const char* name)
{
    QString label = QString::fromUtf8(name);
    label.remove(QStringLiteral("Trg"));
    label.remove(QStringLiteral("Trigger"));
    static const QRegularExpression hump(QStringLiteral("(?<=[a-z0-9])(?=[A-Z])"));
    label.replace(hump, QStringLiteral(" "));
    return label;
}

QComboBox* comboOf(const std::vector<std::string>& values, int index, QWidget* parent)
{
    auto* combo = new QComboBox(parent);
    for (const std::string& value : values)
        combo->addItem(QString::fromStdString(value));
    combo->setCurrentIndex(index);
    return combo;
}

} // namespace

void DlgAcqStg::addTriggerParams()
{
    ov::IParamMgr* mgr = dev ? dev->paramMgr() : nullptr;
    if (!mgr)
        return;
    std::vector<ov::IParam*> params = mgr->params();
    params.erase(std::remove_if(params.begin(), params.end(),
                     [](ov::IParam* p) { return !p || !isTriggerParam(p); }),
        params.end());
    if (params.empty())
        return;
    std::sort(params.begin(), params.end(), [](ov::IParam* a, ov::IParam* b) {
        return getParamType(a->description()) < getParamType(b->description());
    });

    auto* grid = qobject_cast<QGridLayout*>(ui->gbTrigger->layout());
    int row = 0;
    for (ov::IParam* param : params) {
        const std::string description = param->description();
        const int type = getParamType(description);
        if (type == PT_NONE)
            continue;
        const std::vector<std::string> values = parseParamValues(description);
        QWidget* control = nullptr;
        switch (type) {
        case PT_BOOL: {
            auto* box = new QCheckBox(ui->gbTrigger);
            auto showState = [box](bool on) {
                box->setText(on ? QStringLiteral("Yes") : QStringLiteral("No"));
            };
            connect(box, &QCheckBox::toggled, box, showState);
            box->setChecked(param->boolValue());
            showState(box->isChecked());
            control = box;
            break;
        }
        case PT_LOGIC:
        case PT_LIST:
            control = comboOf(values, param->byteValue(), ui->gbTrigger);
            break;
        case PT_RANGE: {
            auto* box = new QSpinBox(ui->gbTrigger);
            // The two numbers around "..", in decimal, whatever text surrounds them.
            static const QRegularExpression range(QStringLiteral("(\\d+)\\.\\.(\\d+)"));
            for (const std::string& value : values) {
                const QRegularExpressionMatch bounds = range.match(QString::fromStdString(value));
                if (bounds.hasMatch()) {
                    box->setRange(bounds.captured(1).toInt(), bounds.captured(2).toInt());
                    break;
                }
            }
            box->setValue(param->byteValue());
            control = box;
            break;
        }
        case PT_STRING:
        default: {
            // Shown, not edited: text parameters are not written back.
            auto* edit = new QLineEdit(QString::fromStdString(param->getString()), ui->gbTrigger);
            edit->setReadOnly(true);
            control = edit;
        }
        }
        control->setObjectName(QString::fromUtf8(param->name()));
        ++row;
        grid->addWidget(new QLabel(labelOf(param->name()), ui->gbTrigger), row, 0);
        grid->addWidget(control, row, 1);
        paramControls.append(ParamControl {control, param, type});
    }
}

void DlgAcqStg::saveParamValues()
{
    // The byte interface keeps the low 8 bits of a value. Text parameters are shown
    // and not written.
    for (const ParamControl& entry : paramControls) {
        if (auto* spin = qobject_cast<QSpinBox*>(entry.widget))
            entry.param->setByteValue(uint8_t(spin->value()));
        else if (auto* combo = qobject_cast<QComboBox*>(entry.widget)) {
            if (entry.type == PT_LOGIC || entry.type == PT_LIST)
                entry.param->setByteValue(uint8_t(combo->currentIndex()));
        } else if (auto* check = qobject_cast<QCheckBox*>(entry.widget))
            entry.param->setBoolValue(check->isChecked());
    }
}

} // namespace PluginDevControl
