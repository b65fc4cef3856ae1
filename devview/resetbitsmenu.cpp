#include "resetbitsmenu.h"

#include "ovdetector.h"

#include <QAction>
#include <QIcon>
#include <QMenu>
#include <QToolButton>
#include <QWidget>

namespace PluginDevControl {

namespace {

QAction* addNamedAction(QMenu* menu, const char* name, const char* text)
{
    QAction* action = menu->addAction(text);
    action->setObjectName(name);
    return action;
}

// Runs reset on the configuration that pixCfg gives when the action is triggered.
void onTrigger(QAction* action, PixCfgSource pixCfg, std::function<void(ov::IMpxPixCfg*)> reset)
{
    QObject::connect(action, &QAction::triggered, action, [pixCfg, reset] {
        if (ov::IMpxPixCfg* cfg = pixCfg())
            reset(cfg);
    });
}

} // namespace

ResetBitsMenu makeResetBitsMenu(QWidget* owner, PixCfgSource pixCfg, ThlResetValue thlValue)
{
    ResetBitsMenu made;
    made.menu = new QMenu(owner);
    made.acResetAllBits = addNamedAction(made.menu, "acResetAllBits", "Reset All Bits");
    made.acResetMaskBits = addNamedAction(made.menu, "acResetMaskBits", "Reset Mask Bits");
    made.acResetTestBits = addNamedAction(made.menu, "acResetTestBits", "Reset Test Bits");
    made.acResetThlBits = addNamedAction(made.menu, "acResetThlBits", "Reset Thl Bits");
    onTrigger(made.acResetAllBits, pixCfg, [](ov::IMpxPixCfg* cfg) { cfg->resetAll(); });
    onTrigger(made.acResetMaskBits, pixCfg, [](ov::IMpxPixCfg* cfg) { cfg->setAllMask(false); });
    onTrigger(made.acResetTestBits, pixCfg, [](ov::IMpxPixCfg* cfg) { cfg->setAllTest(false); });
    onTrigger(made.acResetThlBits, pixCfg,
        [thlValue](ov::IMpxPixCfg* cfg) { cfg->setAllThl(thlValue(cfg)); });
    return made;
}

QToolButton* makeResetBitsButton(QWidget* owner, QMenu* menu)
{
    auto* button = new QToolButton(owner);
    button->setObjectName("resetBitsButton");
    button->setIcon(QIcon(":/devcontrol/toolbar2/icons/reset.png"));
    button->setToolTip("Reset Pixel Cfg. Bits");
    button->setPopupMode(QToolButton::InstantPopup);
    button->setMenu(menu);
    return button;
}

} // namespace PluginDevControl
