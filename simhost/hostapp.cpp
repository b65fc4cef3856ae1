#include "hostapp.h"

#include "devcontrolcommands.h"
#include "deviceset.h"
#include "filtercommands.h"
#include "livecounter.h"
#include "pluginmodule.h"
#include "pluginstarter.h"
#include "screenshot.h"
#include "scriptrunner.h"
#include "simhost.h"
#include "widgetcommands.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTimer>

#include <cstdio>
#include <memory>

namespace sim {

namespace {

const char* const kProgram = "orvelsim";
// Time given to the plug-in's window to settle before --screenshot grabs it.
constexpr int kSettleMs = 500;

void printError(const QString& message)
{
    std::fprintf(stderr, "%s: %s\n", kProgram, message.toLocal8Bit().constData());
    std::fflush(stderr);
}

// Host log to stderr: warnings and errors only, the rest is for the plug-in's panel.
void logToStderr(unsigned level, const QString& text)
{
    if (level == ov::LogWarning || level == ov::LogError) {
        std::fprintf(stderr, "%s: %s: %s\n", kProgram, level == ov::LogError ? "error" : "warning",
            text.toLocal8Bit().constData());
        std::fflush(stderr);
    }
}

// Every command a script of orvelsim may use beyond the runner's own.
void addHostCommands(ScriptRunner& runner)
{
    addDevControlCommands(runner);
    addFilterCommands(runner);
    addWidgetCommands(runner);
}

} // namespace

void choosePlatform()
{
    if (!qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        return;
    if (qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
}

QString defaultPluginPath()
{
    return QDir(QCoreApplication::applicationDirPath()).filePath(QStringLiteral("devcontrol.so"));
}

QString defaultHomeDir()
{
    QString base = qEnvironmentVariable("XDG_CONFIG_HOME");
    if (base.isEmpty())
        base = QDir::home().filePath(QStringLiteral(".config"));
    return QDir(base).filePath(QStringLiteral("orvel"));
}

int parseCommandLine(const QStringList& arguments, HostOptions* options)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Substitute Orvel host with simulated instruments: loads the plug-in and "
                       "shows its window."));
    const QCommandLineOption help(
        {QStringLiteral("h"), QStringLiteral("help")}, QStringLiteral("Show this help and exit."));
    const QCommandLineOption plugin(QStringLiteral("plugin"),
        QStringLiteral("Plug-in library to load (default: devcontrol.so beside orvelsim)."),
        QStringLiteral("PATH"));
    const QCommandLineOption home(QStringLiteral("home"),
        QStringLiteral("Home folder with orvel.ini, samples, help and settings (default: %1).")
            .arg(defaultHomeDir()),
        QStringLiteral("DIR"));
    const QCommandLineOption devices(QStringLiteral("devices"),
        QStringLiteral("Device-set file to connect instead of the embedded set."),
        QStringLiteral("FILE"));
    const QCommandLineOption script(QStringLiteral("script"),
        QStringLiteral("Script of commands to run; the session ends with it."),
        QStringLiteral("FILE"));
    const QCommandLineOption screenshot(QStringLiteral("screenshot"),
        QStringLiteral(
            "After start-up, save the visible windows as a PNG, print its path and quit."),
        QStringLiteral("FILE"));
    parser.addOptions({help, plugin, home, devices, script, screenshot});

    if (!parser.parse(arguments)) {
        printError(parser.errorText() + QStringLiteral(" (try --help)"));
        return 2;
    }
    if (parser.isSet(help)) {
        std::printf("%s", parser.helpText().toLocal8Bit().constData());
        std::fflush(stdout);
        return 0;
    }
    if (!parser.positionalArguments().isEmpty()) {
        printError(QStringLiteral("unexpected argument '%1' (try --help)")
                       .arg(parser.positionalArguments().constFirst()));
        return 2;
    }
    for (const QCommandLineOption* option : {&plugin, &home, &devices, &script, &screenshot}) {
        if (parser.isSet(*option) && parser.value(*option).isEmpty()) {
            printError(QStringLiteral("--%1 needs a value").arg(option->names().constFirst()));
            return 2;
        }
    }
    if (parser.isSet(script) && parser.isSet(screenshot)) {
        printError(
            QStringLiteral("use either --script or --screenshot (a script can take screenshots)"));
        return 2;
    }
    options->pluginPath = parser.isSet(plugin) ? parser.value(plugin) : defaultPluginPath();
    options->homeDir = parser.isSet(home) ? parser.value(home) : defaultHomeDir();
    options->devicesFile = parser.value(devices);
    options->scriptFile = parser.value(script);
    options->screenshotFile = parser.value(screenshot);
    return -1;
}

int runHost(const HostOptions& options)
{
    // Everything that can be checked before anything starts is checked first.
    std::vector<DeviceDesc> deviceSet = defaultDeviceSet();
    QString why;
    if (!options.devicesFile.isEmpty() && !loadDeviceSet(options.devicesFile, &deviceSet, &why)) {
        printError(why);
        return 1;
    }
    ScriptContext context;
    std::unique_ptr<ScriptRunner> runner;
    if (!options.scriptFile.isEmpty()) {
        runner = std::make_unique<ScriptRunner>(context);
        addHostCommands(*runner);
        if (!runner->loadFile(options.scriptFile)) {
            printError(runner->error());
            return 1;
        }
    }
    int exitCode = 0;
    {
        SimHost host(options.homeDir);
        if (!host.error().isEmpty()) {
            printError(QStringLiteral("cannot use home folder: %1").arg(host.error()));
            return 1;
        }
        // What went wrong while the host set itself up (a corrupt orvel.ini, say).
        for (const QString& line : host.logHistory()) {
            if (line.startsWith(QLatin1String("warning:"))
                || line.startsWith(QLatin1String("error:")))
                printError(line);
        }
        if (!QFileInfo::exists(options.pluginPath)) {
            printError(QStringLiteral("plug-in not found: %1 (use --plugin PATH)")
                           .arg(QFileInfo(options.pluginPath).absoluteFilePath()));
            return 1;
        }
        host.setLogEcho(&logToStderr);
        for (const DeviceDesc& desc : deviceSet)
            host.connectDevice(desc);

        PluginModule module;
        if (!module.load(options.pluginPath)) {
            printError(module.error());
            return 1;
        }
        const StartResult started = startPlugin(module.plugin(), &host);
        if (!started.ok()) {
            printError(QStringLiteral("plug-in %1 failed to start (initialize %2, onStart %3)")
                           .arg(module.path())
                           .arg(started.initResult)
                           .arg(started.startResult));
            closePlugin(module, host);
            return 1;
        }

        if (runner) {
            // The runner was made before the host existed, to check the script early;
            // now it gets one with the live host and plug-in.
            context.host = &host;
            context.plugin = module.plugin();
            context.devControl = static_cast<ov::IDevControl*>(module.plugin()->privateInterface());
            runner = std::make_unique<ScriptRunner>(context);
            addHostCommands(*runner);
            runner->loadFile(options.scriptFile);
            QObject::connect(runner.get(), &ScriptRunner::finished, qApp,
                [&exitCode](int code, const QString& message) {
                    if (!message.isEmpty())
                        printError(message);
                    exitCode = code;
                    QCoreApplication::exit(code);
                });
            runner->start();
        } else if (!options.screenshotFile.isEmpty()) {
            QTimer::singleShot(kSettleMs, qApp, [&exitCode, file = options.screenshotFile]() {
                QCoreApplication::processEvents();
                QString path;
                QString error;
                if (saveScreenshot(file, &path, &error)) {
                    std::printf("%s\n", QFile::encodeName(path).constData());
                    std::fflush(stdout);
                    exitCode = 0;
                } else {
                    printError(QStringLiteral("screenshot failed: %1").arg(error));
                    exitCode = 1;
                }
                QCoreApplication::exit(exitCode);
            });
        }

        const int loopCode = QApplication::exec();
        if (!runner && options.screenshotFile.isEmpty())
            exitCode = loopCode;
        runner.reset();
        // Closing drops the plug-in's callbacks; the echo still prints problems of the
        // final save.
        closePlugin(module, host);
    }
    const QString alive = liveReport();
    if (!alive.isEmpty())
        printError(QStringLiteral("objects still alive at exit: %1").arg(alive));
    return exitCode;
}

} // namespace sim
