// Script commands that work a control of the window as a user would, found by its
// object name among the controls on screen (so on the page of the tab in front):
// "choose NAME ITEM" picks an item of a combo box by its text, and "tick NAME on|off"
// clicks a check box or checkable button when it is not already in that state.
// docs/scripting.md describes them.
#pragma once

namespace sim {

class ScriptRunner;

void addWidgetCommands(ScriptRunner& runner);

} // namespace sim
