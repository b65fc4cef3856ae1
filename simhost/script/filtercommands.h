// Script commands for the host's data filters, so that a session can set filters up
// without the window: "filterparam DEVICE FILTER PARAM VALUE" sets one parameter of a
// single filter of a device, and "filtergroup DEVICE GROUP [MEMBER...]" makes a group
// of that device, or fills an existing one anew, with its members in order.
// docs/scripting.md describes them.
#pragma once

namespace sim {

class ScriptRunner;

// Adds the commands to a runner; they act on its context's host.
void addFilterCommands(ScriptRunner& runner);

} // namespace sim
