// The menu of the second tool bar that resets bits of a detector's pixel
// configuration: the entries every chip family offers, and its pop-up tool button.
#pragma once

#include <functional>

class QAction;
class QMenu;
class QToolButton;
class QWidget;

namespace ov {
class IMpxPixCfg;
}

namespace PluginDevControl {

struct ResetBitsMenu
{
    QMenu* menu = nullptr;
    QAction* acResetAllBits = nullptr;
    QAction* acResetMaskBits = nullptr;
    QAction* acResetTestBits = nullptr;
    QAction* acResetThlBits = nullptr;
};

// The pixel configuration to work on at the moment of a reset; null does nothing.
using PixCfgSource = std::function<ov::IMpxPixCfg*()>;
// The value every pixel's threshold adjustment gets from "Reset Thl Bits".
using ThlResetValue = std::function<int(ov::IMpxPixCfg*)>;

// A menu owned by owner with the entries all, mask, test and thl, each connected to
// its reset.
ResetBitsMenu makeResetBitsMenu(QWidget* owner, PixCfgSource pixCfg, ThlResetValue thlValue);
// The instant pop-up button that shows the menu.
QToolButton* makeResetBitsButton(QWidget* owner, QMenu* menu);

} // namespace PluginDevControl
