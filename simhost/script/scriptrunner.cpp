#include "scriptrunner.h"

#include "deviceset.h"
#include "screenshot.h"
#include "simhost.h"
#include "textline.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cstdio>

namespace sim {

ScriptStep ScriptStep::delay(int ms)
{
    ScriptStep step(Kind::Delay);
    step.delayMs = ms;
    return step;
}

ScriptStep ScriptStep::until(std::function<bool()> condition, int timeoutMs, QString timeoutMessage,
    std::function<QString()> outcome)
{
    ScriptStep step(Kind::Until);
    step.condition = std::move(condition);
    step.outcome = std::move(outcome);
    step.delayMs = timeoutMs;
    step.message = std::move(timeoutMessage);
    return step;
}

ScriptStep ScriptStep::quit(int exitCode)
{
    ScriptStep step(Kind::Quit);
    step.exitCode = exitCode;
    return step;
}

ScriptStep ScriptStep::fail(QString message)
{
    ScriptStep step(Kind::Fail);
    step.message = std::move(message);
    return step;
}

ScriptRunner::ScriptRunner(const ScriptContext& context, QObject* parent)
    : QObject(parent), m_context(context)
{
    m_timer.setSingleShot(true);
    // A "wait 300" must not end early, as coarse timers may.
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, [this]() {
        if (m_pending.kind == ScriptStep::Kind::Until)
            poll();
        else
            runNext();
    });
    addBuiltins();
}

void ScriptRunner::addCommand(const Command& command)
{
    m_commands[command.name.toLower()] = command;
}

bool ScriptRunner::hasCommand(const QString& name) const
{
    return m_commands.count(name.toLower()) > 0;
}

QStringList ScriptRunner::commandUsages() const
{
    QStringList usages;
    for (const auto& entry : m_commands)
        usages << entry.second.usage;
    return usages;
}

namespace {

// A device name given as the remaining words of a command.
QString nameFrom(const QStringList& args, int first = 0)
{
    return args.mid(first).join(QLatin1Char(' ')).simplified();
}

bool parseLevel(const QString& text, unsigned* level)
{
    static const struct
    {
        const char* name;
        unsigned level;
    } names[] = {{"debug", ov::LogDebug}, {"info", ov::LogInfo}, {"warning", ov::LogWarning},
        {"error", ov::LogError}};
    for (const auto& entry : names) {
        if (text.compare(QLatin1String(entry.name), Qt::CaseInsensitive) == 0) {
            *level = entry.level;
            return true;
        }
    }
    bool ok = false;
    const uint v = text.toUInt(&ok);
    if (!ok || v > ov::LogDebug)
        return false;
    *level = v;
    return true;
}

// How many of args, from the first, make a device name: two words, or one quoted word
// that holds a blank.
int nameLength(const QStringList& args)
{
    if (args.isEmpty())
        return 0;
    return args.at(0).simplified().contains(QLatin1Char(' ')) ? 1 : std::min(2, int(args.size()));
}

constexpr int kDefaultArmedTimeoutMs = 10000;

// "waitarmed NAME [TIMEOUT_MS]": the timeout, if any, follows the two words of the name.
bool readArmedTimeout(const QStringList& args, int* timeoutMs, QString* why)
{
    const int used = nameLength(args);
    *timeoutMs = kDefaultArmedTimeoutMs;
    if (args.size() > used + 1) {
        *why = QStringLiteral("too many arguments after the device name");
        return false;
    }
    if (args.size() == used + 1) {
        bool ok = false;
        const int ms = args.at(used).toInt(&ok);
        if (!ok || ms < 0) {
            *why = QStringLiteral("bad timeout '%1' (milliseconds)").arg(args.at(used));
            return false;
        }
        *timeoutMs = ms;
    }
    return true;
}

// Wraps a handler that needs the host.
ScriptRunner::Handler needsHost(const ScriptContext& context, ScriptRunner::Handler run)
{
    return [host = context.host, run](const ScriptLine& line) {
        return host ? run(line) : ScriptStep::fail(QStringLiteral("no host to run this on"));
    };
}

} // namespace

void ScriptRunner::addBuiltins()
{
    addCommand(
        {QStringLiteral("wait"), 1, 1, QStringLiteral("wait MS"), [](const ScriptLine& line) {
             bool ok = false;
             const int ms = line.args.at(0).toInt(&ok);
             if (!ok || ms < 0)
                 return ScriptStep::fail(
                     QStringLiteral("bad time '%1' (milliseconds)").arg(line.args.at(0)));
             return ScriptStep::delay(ms);
         }});
    addCommand({QStringLiteral("screenshot"), 1, 1, QStringLiteral("screenshot FILE"),
        [](const ScriptLine& line) {
            QString path;
            QString why;
            if (!saveScreenshot(line.args.at(0), &path, &why))
                return ScriptStep::fail(QStringLiteral("screenshot failed: %1").arg(why));
            std::printf("%s\n", QFile::encodeName(path).constData());
            std::fflush(stdout);
            return ScriptStep::next();
        }});
    addCommand(
        {QStringLiteral("connect"), 3, -1, QStringLiteral("connect KIND NAME SERIAL [OPTION...]"),
            needsHost(m_context, [this](const ScriptLine& line) {
                DeviceDesc desc;
                QString why;
                if (!parseDeviceWords(line.args, &desc, &why))
                    return ScriptStep::fail(why);
                if (m_context.host->deviceByName(desc.name))
                    return ScriptStep::fail(
                        QStringLiteral("device '%1' is already connected").arg(desc.name));
                if (!m_context.host->connectDevice(desc))
                    return ScriptStep::fail(QStringLiteral("cannot connect '%1'").arg(desc.name));
                return ScriptStep::next();
            })});
    addCommand({QStringLiteral("remove"), 1, -1, QStringLiteral("remove NAME"),
        needsHost(m_context, [this](const ScriptLine& line) {
            const QString name = nameFrom(line.args);
            const auto device = m_context.host->deviceByName(name);
            if (!device || !m_context.host->removeDeviceById(device->id()))
                return ScriptStep::fail(QStringLiteral("no device '%1'").arg(name));
            return ScriptStep::next();
        })});
    for (const bool lock : {true, false}) {
        const QString name = lock ? QStringLiteral("lock") : QStringLiteral("unlock");
        addCommand({name, 1, -1, name + QStringLiteral(" NAME"),
            needsHost(m_context, [this, lock](const ScriptLine& line) {
                const QString deviceName = nameFrom(line.args);
                const auto device = m_context.host->deviceByName(deviceName);
                if (!device)
                    return ScriptStep::fail(QStringLiteral("no device '%1'").arg(deviceName));
                device->setLocked(lock);
                return ScriptStep::next();
            })});
    }
    addCommand({QStringLiteral("log"), 2, -1, QStringLiteral("log LEVEL TEXT"),
        needsHost(m_context, [this](const ScriptLine& line) {
            unsigned level = 0;
            if (!parseLevel(line.args.at(0), &level))
                return ScriptStep::fail(
                    QStringLiteral("bad log level '%1' (debug, info, warning, error or 0-3)")
                        .arg(line.args.at(0)));
            m_context.host->log(level, nameFrom(line.args, 1));
            return ScriptStep::next();
        })});
    addCommand({QStringLiteral("trigger"), 0, 2, QStringLiteral("trigger [NAME]"),
        needsHost(m_context, [this](const ScriptLine& line) {
            if (line.args.isEmpty()) {
                if (m_context.host->triggerAll(QStringLiteral("script")) == 0)
                    return ScriptStep::fail(
                        QStringLiteral("no connected device has a trigger input"));
                return ScriptStep::next();
            }
            const QString deviceName = nameFrom(line.args);
            const auto device = m_context.host->deviceByName(deviceName);
            if (!device)
                return ScriptStep::fail(QStringLiteral("no device '%1'").arg(deviceName));
            if (m_context.host->triggerDevice(*device, QStringLiteral("script")) == TriggerNoInput)
                return ScriptStep::fail(
                    QStringLiteral("device '%1' has no trigger input").arg(deviceName));
            return ScriptStep::next();
        })});
    addCommand({QStringLiteral("waitarmed"), 1, 3, QStringLiteral("waitarmed NAME [TIMEOUT_MS]"),
        needsHost(m_context,
            [this](const ScriptLine& line) {
                int timeoutMs = 0;
                QString why;
                if (!readArmedTimeout(line.args, &timeoutMs, &why))
                    return ScriptStep::fail(why);
                const QString deviceName = nameFrom(line.args.mid(0, nameLength(line.args)));
                const auto device = m_context.host->deviceByName(deviceName);
                if (!device)
                    return ScriptStep::fail(QStringLiteral("no device '%1'").arg(deviceName));
                if (!device->hasTriggerInput())
                    return ScriptStep::fail(
                        QStringLiteral("device '%1' has no trigger input").arg(deviceName));
                SimHost* host = m_context.host;
                const uint64_t id = device->id();
                return ScriptStep::until(
                    [host, id]() {
                        const auto d = host->deviceById(id);
                        return !d || d->waitingForTrigger();
                    },
                    timeoutMs,
                    QStringLiteral("device '%1' did not wait for a trigger within %2 ms")
                        .arg(deviceName)
                        .arg(timeoutMs),
                    [host, id, deviceName]() {
                        return host->deviceById(id)
                            ? QString()
                            : QStringLiteral("device '%1' was removed").arg(deviceName);
                    });
            }),
        [](const ScriptLine& line) {
            int timeoutMs = 0;
            QString why;
            return readArmedTimeout(line.args, &timeoutMs, &why) ? QString() : why;
        }});
    addCommand({QStringLiteral("quit"), 0, 0, QStringLiteral("quit"),
        [](const ScriptLine&) { return ScriptStep::quit(0); }});
    // The runner itself moves through loops (runLoopLine); these entries give their
    // argument checks and usage.
    addCommand({QStringLiteral("loop"), 1, 1, QStringLiteral("loop COUNT"), nullptr,
        [](const ScriptLine& line) {
            bool ok = false;
            const long count = line.args.at(0).toLong(&ok);
            return ok && count >= 0 && count <= kMaxLoopCount
                ? QString()
                : QStringLiteral("bad count '%1' (a whole number from 0 to %2)")
                      .arg(line.args.at(0))
                      .arg(kMaxLoopCount);
        }});
    addCommand({QStringLiteral("end"), 0, 0, QStringLiteral("end"), nullptr});
}

bool ScriptRunner::loadFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        m_error = QStringLiteral("cannot read script %1: %2").arg(path, file.errorString());
        return false;
    }
    return loadText(QString::fromUtf8(file.readAll()), QFileInfo(path).fileName());
}

bool ScriptRunner::loadText(const QString& text, const QString& label)
{
    m_label = label;
    m_lines.clear();
    m_error.clear();
    const QStringList lines = text.split(QLatin1Char('\n'));
    for (int i = 0; i < lines.size(); ++i) {
        ScriptLine line;
        line.number = i + 1;
        QStringList words;
        QString why;
        if (!splitWords(lines.at(i), &words, &why)) {
            m_error = QStringLiteral("%1:%2: %3").arg(m_label).arg(line.number).arg(why);
            return false;
        }
        if (words.isEmpty())
            continue;
        line.command = words.takeFirst().toLower();
        line.args = words;
        const auto it = m_commands.find(line.command);
        if (it == m_commands.end()) {
            m_error = QStringLiteral("%1: unknown command '%2'").arg(where(line), line.command);
            return false;
        }
        const Command& command = it->second;
        const int n = static_cast<int>(line.args.size());
        if (n < command.minArgs || (command.maxArgs >= 0 && n > command.maxArgs)) {
            m_error = QStringLiteral("%1: wrong number of arguments, usage: %2")
                          .arg(where(line), command.usage);
            return false;
        }
        if (command.check) {
            const QString bad = command.check(line);
            if (!bad.isEmpty()) {
                m_error = QStringLiteral("%1: %2").arg(where(line), bad);
                return false;
            }
        }
        m_lines.push_back(line);
    }
    return pairLoops();
}

bool ScriptRunner::pairLoops()
{
    std::vector<size_t> open;
    for (size_t i = 0; i < m_lines.size(); ++i) {
        ScriptLine& line = m_lines[i];
        if (line.command == QLatin1String("loop")) {
            open.push_back(i);
        } else if (line.command == QLatin1String("end")) {
            if (open.empty()) {
                m_error = QStringLiteral("%1: 'end' without 'loop'").arg(where(line));
                return false;
            }
            line.partner = static_cast<int>(open.back());
            m_lines[open.back()].partner = static_cast<int>(i);
            open.pop_back();
        }
    }
    if (!open.empty()) {
        m_error = QStringLiteral("%1: 'loop' without 'end'").arg(where(m_lines[open.back()]));
        return false;
    }
    m_loopLeft.assign(m_lines.size(), 0);
    return true;
}

bool ScriptRunner::runLoopLine(const ScriptLine& line)
{
    const size_t self = m_pos - 1;
    const auto partner = static_cast<size_t>(line.partner);
    if (line.command == QLatin1String("loop")) {
        m_loopLeft[self] = line.args.at(0).toLong();
        if (m_loopLeft[self] == 0)
            m_pos = partner + 1;
        return false;
    }
    if (--m_loopLeft[partner] > 0) {
        m_pos = partner + 1;
        // A loop of quick commands still lets the window and the devices' events run.
        return true;
    }
    return false;
}

QString ScriptRunner::where(const ScriptLine& line) const
{
    return QStringLiteral("%1:%2").arg(m_label).arg(line.number);
}

void ScriptRunner::start()
{
    m_pos = 0;
    m_running = true;
    m_pending = ScriptStep::next();
    m_timer.start(0);
}

void ScriptRunner::runNext()
{
    if (!m_running)
        return;
    // Runs lines until one asks to wait; the event loop gets control back between them
    // only when a command waits, which keeps a script of quick commands quick.
    while (m_pos < m_lines.size()) {
        const ScriptLine& line = m_lines[m_pos++];
        if (line.partner >= 0) {
            if (runLoopLine(line)) {
                m_timer.start(0);
                return;
            }
            continue;
        }
        ScriptStep step = m_commands.at(line.command).run(line);
        switch (step.kind) {
        case ScriptStep::Kind::Next:
            continue;
        case ScriptStep::Kind::Delay:
            m_pending = step;
            m_timer.start(step.delayMs);
            return;
        case ScriptStep::Kind::Until:
            m_pending = step;
            m_pendingLine = &line;
            m_pollClock.start();
            poll();
            return;
        case ScriptStep::Kind::Quit:
            finish(step.exitCode, QString());
            return;
        case ScriptStep::Kind::Fail:
            finish(1, QStringLiteral("%1: %2").arg(where(line), step.message));
            return;
        }
    }
    finish(0, QString());
}

void ScriptRunner::poll()
{
    if (!m_running)
        return;
    if (m_pending.condition()) {
        const QString failure = m_pending.outcome ? m_pending.outcome() : QString();
        m_pending = ScriptStep::next();
        if (!failure.isEmpty()) {
            finish(1, QStringLiteral("%1: %2").arg(where(*m_pendingLine), failure));
            return;
        }
        m_timer.start(0);
        return;
    }
    if (m_pollClock.elapsed() >= m_pending.delayMs) {
        const QString message = m_pending.message;
        m_pending = ScriptStep::next();
        finish(1, QStringLiteral("%1: %2").arg(where(*m_pendingLine), message));
        return;
    }
    m_timer.start(kPollMs);
}

void ScriptRunner::finish(int exitCode, const QString& message)
{
    m_running = false;
    m_timer.stop();
    emit finished(exitCode, message);
}

} // namespace sim
