#include "dacpanel.h"

#include "callbackrelay.h"
#include "devctrlmpx.h"
#include "ui_dacpanel.h"

#include <ovdetector.h>

#include <QCheckBox>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QShowEvent>
#include <QSpinBox>
#include <QStringList>
#include <QVBoxLayout>

#include <algorithm>

namespace PluginDevControl {

namespace {

// Marks a value that the device has not taken over yet; a reload clears it.
const char* const kPendingStyle = "background-color: #ffd3a1;";
const char* const kSeparatorStyle = "background-color: #c0c0c0;";

} // namespace

DacPanel::DacPanel(QWidget* parent, ov::IDevMpx* dev, DevCtrlMpx* ctrl)
    : QWidget(parent), ui(new Ui_DacPanel), m_dev(dev), m_ctrl(ctrl)
{
    ui->setupUi(this);
    m_relay = CallbackRelay::create(this);
    if (m_dev)
        m_dev->registerEvent("DacsChanged", onDacsChangedWrapper, m_relay);
    // Automatic connection: an event raised on another thread arrives queued.
    connect(this, &DacPanel::sigDacsChanged, this, &DacPanel::onDacsChanged);
    setupGui();
}

DacPanel::~DacPanel()
{
    m_relay->detach();
    delete ui;
}

void DacPanel::onDacsChangedWrapper(long, long user)
{
    CallbackRelay::fromUserData(user)->with<DacPanel>(
        [](DacPanel* panel) { emit panel->sigDacsChanged(); });
}

ov::IMpxDacs* DacPanel::dacs() const
{
    return m_dev ? m_dev->dacs() : nullptr;
}

int DacPanel::chipCount() const
{
    return m_dev ? static_cast<int>(m_dev->chipCount()) : 0;
}

void DacPanel::setupGui()
{
    ov::IMpxDacs* table = dacs();
    const int chips = chipCount();
    QStringList names;
    if (table) {
        // The host's list goes away with this scope; keep our own copy of the names.
        ov::StrList list;
        table->dacNames(list);
        for (const std::string& name : list.items())
            names << QString::fromStdString(name);
    }

    ui->chbRelative->setVisible(chips >= 2);

    for (int n = 1; n <= chips; ++n)
        ui->sbbChips->addButton(QString("Chip %1").arg(n));
    connect(ui->sbbChips, &QSwitchableButtonBar::sigButtonChange, this, &DacPanel::onChipChange);

    auto* content = new QWidget;
    auto* row = new QHBoxLayout;
    for (int i = 0; i < names.size(); ++i) {
        auto* column = new QVBoxLayout;
        column->addWidget(new QLabel(names.at(i), content));
        auto* spin = new QSpinBox(content);
        spin->setMaximum(table->dacMaxValue(i));
        // Typed digits are not written one by one: the value goes out on Enter, on
        // focus loss or on a step.
        spin->setKeyboardTracking(false);
        column->addWidget(spin);
        if (chips >= 2) {
            auto* all = new QCheckBox("All", content);
            column->addWidget(all);
            m_allChecks.append(all);
        }
        row->addLayout(column);

        auto* separator = new QFrame(content);
        separator->setFixedWidth(2);
        separator->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Expanding);
        separator->setStyleSheet(kSeparatorStyle);
        row->addWidget(separator);

        m_dacSpins.append(spin);
        connect(spin, qOverload<int>(&QSpinBox::valueChanged), this, &DacPanel::onDacChange);
    }
    row->setContentsMargins(5, 5, 5, 5);
    content->setLayout(row);
    content->setContentsMargins(0, 0, 0, 0);
    content->adjustSize();

    if (chips >= 2)
        ui->saDacs->setMinimumHeight(content->height() + 2);

    ui->saDacs->setWidget(content);
    content->installEventFilter(ui->saDacs);
    loadDacValues();
}

void DacPanel::loadDacValues()
{
    ov::IMpxDacs* table = dacs();
    if (!table)
        return;
    for (int i = 0; i < m_dacSpins.size(); ++i) {
        QSpinBox* spin = m_dacSpins.at(i);
        const bool blocked = spin->blockSignals(true);
        spin->setValue(table->dacValue(i, m_chip));
        spin->setStyleSheet(QString());
        spin->blockSignals(blocked);
    }
}

void DacPanel::onDacsChanged()
{
    if (isVisible() && !m_changing)
        loadDacValues();
}

void DacPanel::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    onDacsChanged();
}

void DacPanel::onChipChange(int chip)
{
    m_chip = chip;
    loadDacValues();
}

void DacPanel::onDacChange(int value)
{
    const int dac = m_dacSpins.indexOf(qobject_cast<QSpinBox*>(sender()));
    ov::IMpxDacs* table = dacs();
    if (dac < 0 || !table || !m_ctrl)
        return;
    m_dacSpins.at(dac)->setStyleSheet(kPendingStyle);

    if (chipCount() == 1) {
        // A single chip already at this value needs no write.
        if (table->dacValue(dac, m_chip) != value)
            m_ctrl->setDacValue(dac, m_chip, value, false);
        return;
    }
    if (dac >= m_allChecks.size() || !m_allChecks.at(dac)->isChecked()) {
        m_ctrl->setDacValue(dac, m_chip, value, false);
        return;
    }
    changeAllChips(dac, value);
}

// Queues the change for every chip and hands it to the device in one write; the event
// of that write reloads the panel.
void DacPanel::changeAllChips(int dac, int value)
{
    ov::IMpxDacs* table = dacs();
    const bool relative = ui->chbRelative->isChecked();
    const int delta = value - table->dacValue(dac, m_chip);
    const int maxValue = table->dacMaxValue(dac);
    const int chips = chipCount();
    m_changing = true;
    for (int c = 0; c < chips; ++c) {
        const int v = relative ? table->dacValue(dac, c) + delta : value;
        m_ctrl->setDacValue(dac, c, std::max(0, std::min(v, maxValue)), true);
    }
    m_changing = false;
    m_ctrl->setDacValuesToDevice();
}

void DacPanel::on_btResetDacs_clicked()
{
    // The device's "DacsChanged" event brings the defaults into the spin boxes.
    if (ov::IMpxDacs* table = dacs())
        table->resetDacs();
}

} // namespace PluginDevControl
