// Runs a script to its end in a test and gives what it ended with.
#pragma once

#include <scriptrunner.h>

#include <QSignalSpy>
#include <QString>

struct ScriptOutcome
{
    int code = -1; // -1 also when it did not end in time or did not load
    QString message;
};

inline ScriptOutcome runScript(sim::ScriptRunner& runner, int timeoutMs = 10000)
{
    QSignalSpy spy(&runner, &sim::ScriptRunner::finished);
    runner.start();
    if (!spy.wait(timeoutMs))
        return {};
    return {spy.at(0).at(0).toInt(), spy.at(0).at(1).toString()};
}

// Loads text into the runner and runs it; a load error is the message.
inline ScriptOutcome runScriptText(
    sim::ScriptRunner& runner, const QString& text, int timeoutMs = 10000)
{
    if (!runner.loadText(text, QStringLiteral("test.orvs")))
        return {-1, runner.error()};
    return runScript(runner, timeoutMs);
}
