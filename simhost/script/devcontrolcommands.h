// Script commands that drive a detector page of the plug-in through its IDevControl
// interface (select a device, measurement settings, start, stop, wait until idle,
// colour map, range, sub-frame, show and hide), plus what the host does by itself:
// a measurement of its own, saving the device's last frames to host data files, and
// checks of the outcome for tests. docs/scripting.md describes every command.
#pragma once

namespace sim {

class ScriptRunner;

// Adds the commands to a runner; they act on its context's host and IDevControl.
// Commands share a session (the selected device, a host measurement in progress) that
// lives as long as the runner's command table.
void addDevControlCommands(ScriptRunner& runner);

} // namespace sim
