// Runs a plain text script of commands on the GUI thread, driven by the event loop.
//
// One command per line, words separated by blanks ("double quotes" group words), '#'
// starts a comment. "loop N" ... "end" repeats the lines between them N times; loops
// nest. The whole script is checked first (known commands, argument counts,
// and the values of commands that have a check), so a typo is reported before anything
// runs; errors name the line. Commands come from
// a table: the built-ins (wait, screenshot, connect, remove, lock, unlock, trigger,
// waitarmed, log, quit)
// and whatever addCommand adds, for instance commands that drive the plug-in through
// ScriptContext::devControl.
#pragma once

#include <ovplugin.h>

#include <QElapsedTimer>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QTimer>

#include <functional>
#include <map>
#include <vector>

namespace sim {

class SimHost;

struct ScriptContext
{
    SimHost* host = nullptr;
    ov::IOvPlugin* plugin = nullptr;
    ov::IDevControl* devControl = nullptr; // plugin->privateInterface(), or null
};

struct ScriptLine
{
    int number = 0;  // 1-based line in the file
    QString command; // lower case
    QStringList args;
    // For "loop" the index of its "end" among the script's lines, for "end" the index
    // of its "loop"; -1 for other commands.
    int partner = -1;
};

// What a command tells the runner to do next.
class ScriptStep
{
public:
    enum class Kind {
        Next,  // go on with the next line
        Delay, // go on after delayMs, with the event loop running meanwhile
        Until, // go on once condition() is true; fail after timeoutMs
        Quit,  // end the script with exitCode
        Fail   // end the script with message, naming the line
    };

    static ScriptStep next() { return ScriptStep(Kind::Next); }
    static ScriptStep delay(int ms);
    // outcome, when given, is asked once the condition holds: a non-empty text fails the
    // line with it (a measurement that ended with an error, say).
    static ScriptStep until(std::function<bool()> condition, int timeoutMs, QString timeoutMessage,
        std::function<QString()> outcome = nullptr);
    static ScriptStep quit(int exitCode = 0);
    static ScriptStep fail(QString message);

    Kind kind;
    int delayMs = 0;
    int exitCode = 0;
    QString message;
    std::function<bool()> condition;
    std::function<QString()> outcome;

private:
    explicit ScriptStep(Kind k) : kind(k) { }
};

class ScriptRunner : public QObject
{
    Q_OBJECT

public:
    using Handler = std::function<ScriptStep(const ScriptLine&)>;
    // Checks a line's arguments when the script is loaded: empty when they are good,
    // otherwise why not.
    using Checker = std::function<QString(const ScriptLine&)>;
    struct Command
    {
        QString name; // lower case
        int minArgs = 0;
        int maxArgs = 0; // -1: no limit
        QString usage;   // "connect KIND NAME SERIAL [OPTION...]"
        Handler run;
        Checker check = nullptr; // optional
    };

    explicit ScriptRunner(const ScriptContext& context, QObject* parent = nullptr);

    const ScriptContext& context() const { return m_context; }
    // Adds a command, or replaces the one of the same name.
    void addCommand(const Command& command);
    bool hasCommand(const QString& name) const;
    QStringList commandUsages() const;

    // Reads and checks a script; false with error() set ("<file>:<line>: <why>").
    bool loadFile(const QString& path);
    bool loadText(const QString& text, const QString& label);
    QString error() const { return m_error; }

    // Starts running on the event loop of the calling (GUI) thread; finished() follows.
    void start();
    bool isRunning() const { return m_running; }

    // Poll interval of ScriptStep::until.
    static constexpr int kPollMs = 20;
    // Most rounds of one loop.
    static constexpr long kMaxLoopCount = 1000000000L;

signals:
    // exitCode 0 after "quit" or the last line; 1 after an error, message naming it.
    void finished(int exitCode, const QString& message);

private:
    void addBuiltins();
    void runNext();
    // Pairs every "loop" with its "end"; false with m_error set when they do not match.
    bool pairLoops();
    // Runs a "loop" or "end" line at m_pos - 1: moves m_pos. True when the runner
    // should give the event loop a turn before it goes on.
    bool runLoopLine(const ScriptLine& line);
    void poll();
    void finish(int exitCode, const QString& message);
    QString where(const ScriptLine& line) const;

    ScriptContext m_context;
    std::map<QString, Command> m_commands;
    std::vector<ScriptLine> m_lines;
    QString m_label;
    QString m_error;
    size_t m_pos = 0;
    // Rounds still to run, per "loop" line.
    std::vector<long> m_loopLeft;
    bool m_running = false;
    QTimer m_timer;
    QElapsedTimer m_pollClock;
    ScriptStep m_pending = ScriptStep::next();
    const ScriptLine* m_pendingLine = nullptr;
};

} // namespace sim
