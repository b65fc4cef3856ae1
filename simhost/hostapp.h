// The orvelsim application: command line, start-up, the run and the shutdown.
#pragma once

#include <QString>
#include <QStringList>

namespace sim {

struct HostOptions
{
    QString pluginPath;
    QString homeDir;
    QString devicesFile; // empty: the embedded set
    QString scriptFile;
    QString screenshotFile;
};

// Before the application object exists: with no display (no DISPLAY or
// WAYLAND_DISPLAY) and no platform chosen by QT_QPA_PLATFORM, selects "offscreen".
void choosePlatform();

// Default paths: the plug-in beside the executable, the home in the user's config
// folder ($XDG_CONFIG_HOME/orvel or ~/.config/orvel).
QString defaultPluginPath();
QString defaultHomeDir();

// Parses the arguments (the first is the program). Returns -1 when the program should go
// on with options filled, otherwise the exit code: 0 after --help, 2 for a bad command
// line (the message is printed on stderr).
int parseCommandLine(const QStringList& arguments, HostOptions* options);

// Runs the whole session with an existing QApplication and returns the exit code.
int runHost(const HostOptions& options);

} // namespace sim
