#include "devcontrolcommands.h"

#include "framefile.h"
#include "hostacquisition.h"
#include "scriptrunner.h"
#include "scriptvalues.h"
#include "simfiletypes.h"
#include "simframe.h"
#include "simhost.h"
#include "timepixdevice.h"

#include <ovplugin.h>

#include <QDir>
#include <QElapsedTimer>
#include <QFile>

#include <cmath>
#include <cstdio>
#include <limits>
#include <memory>

namespace sim {

namespace {

constexpr int kMaxInt = std::numeric_limits<int>::max();
constexpr int kDefaultIdleTimeoutMs = 60000;
// The page starts its measurement on a thread of its own, so right after "start" it may
// not report running yet; "waitidle" gives it this long to show that it has begun.
constexpr int kStartGraceMs = 1000;
// Time a host measurement may take beyond count x time before it counts as stuck.
constexpr int kHostAcqSlackMs = 30000;

struct Session
{
    explicit Session(const ScriptContext& c) : context(c) { }

    // The selected device, or null and why not.
    std::shared_ptr<SimDevice> selected(QString* why) const
    {
        if (deviceName.isEmpty()) {
            *why = QStringLiteral("no device selected (use 'device NAME')");
            return nullptr;
        }
        auto device = context.host->deviceByName(deviceName);
        if (!device)
            *why = QStringLiteral("device '%1' is not connected").arg(deviceName);
        return device;
    }

    // True while the selected device measures, as the page or the host sees it.
    bool measuring() const
    {
        QString why;
        const auto device = selected(&why);
        if (!device)
            return false;
        if (context.devControl && context.devControl->isRunning(device->dev()) != 0)
            return true;
        const auto* detector = dynamic_cast<const MpxCore*>(device.get());
        return detector && detector->acquisitionRunning();
    }

    ScriptContext context;
    QString deviceName;
    QString outputPath;
    HostAcquisition hostAcq;
    QElapsedTimer sinceStart;
    bool startPending = false;
    bool sawRunning = false;
};

// What a command needs before it can run.
enum Needs : unsigned {
    NeedsNothing = 0,
    NeedsPlugin = 1u << 0, // the plug-in's IDevControl
    NeedsDevice = 1u << 1, // a selected, connected device
};

// The result of an IDevControl call as a step: non-zero is an error with its code.
ScriptStep callResult(const char* call, int code)
{
    if (code == 0)
        return ScriptStep::next();
    return ScriptStep::fail(
        QStringLiteral("%1 failed with code %2").arg(QLatin1String(call)).arg(code));
}

ov::IDevMpx* detectorOf(SimDevice* device)
{
    return device ? dynamic_cast<ov::IDevMpx*>(device->dev()) : nullptr;
}

QString absolutePath(const QString& path)
{
    return QDir::current().absoluteFilePath(path);
}

// ---------------------------------------------------------------------------------
// Readers of a line's arguments: the same reader checks a line when the script is
// loaded and gives the values when it runs.

template <class Values>
using Reader = bool (*)(const QStringList& args, Values* values, QString* why);

struct NoValues
{ };

bool readNothing(const QStringList&, NoValues*, QString*)
{
    return true;
}

bool readName(const QStringList& args, QString* name, QString* why)
{
    *name = args.join(QLatin1Char(' ')).simplified();
    if (name->isEmpty())
        *why = QStringLiteral("no device name");
    return !name->isEmpty();
}

struct CountTime
{
    int count = 0;
    double time = 0.0;
};

bool readCountTime(const QStringList& args, CountTime* v, QString* why)
{
    return readInt(args.at(0), 1, kMaxInt, &v->count, why)
        && readNumber(args.at(1), 0.0, &v->time, why);
}

bool readAcqTypeArg(const QStringList& args, int* type, QString* why)
{
    return readAcqType(args.at(0), type, why);
}

bool readFlagsArg(const QStringList& args, unsigned* flags, QString* why)
{
    return readFlags(args.at(0), flags, why);
}

struct Repeat
{
    bool enabled = false;
    int count = 0;
};

bool readRepeat(const QStringList& args, Repeat* v, QString* why)
{
    if (args.at(0).compare(QLatin1String("off"), Qt::CaseInsensitive) == 0)
        return true;
    v->enabled = true;
    return readInt(args.at(0), 0, kMaxInt, &v->count, why);
}

struct RepeatFiles
{
    unsigned flags = 0;
    int digits = 0;
};

bool readRepeatFiles(const QStringList& args, RepeatFiles* v, QString* why)
{
    return readFlags(args.at(0), &v->flags, why) && readInt(args.at(1), 0, 9, &v->digits, why);
}

struct Output
{
    bool enabled = false;
    QString path;
    bool hasFlags = false;
    unsigned flags = 0;
};

bool readOutput(const QStringList& args, Output* v, QString* why)
{
    if (args.size() == 1 && args.at(0).compare(QLatin1String("off"), Qt::CaseInsensitive) == 0)
        return true;
    v->enabled = true;
    v->path = args.at(0);
    v->hasFlags = args.size() > 1;
    return !v->hasFlags || readFlags(args.at(1), &v->flags, why);
}

struct TwoSwitches
{
    bool first = false;
    bool second = false;
};

bool readTwoSwitches(const QStringList& args, TwoSwitches* v, QString* why)
{
    return readSwitch(args.at(0), &v->first, why) && readSwitch(args.at(1), &v->second, why);
}

bool readSwitchArg(const QStringList& args, bool* on, QString* why)
{
    return readSwitch(args.at(0), on, why);
}

bool readTimeout(const QStringList& args, int* ms, QString* why)
{
    *ms = kDefaultIdleTimeoutMs;
    return args.isEmpty() || readInt(args.at(0), 0, kMaxInt, ms, why);
}

struct Save
{
    QString path;
    int code = 0;
    unsigned flags = 0;
};

bool readSave(const QStringList& args, Save* v, QString* why)
{
    v->path = args.at(0);
    if (args.size() > 1 && !readFileType(args.at(1), &v->code, why))
        return false;
    for (int i = 2; i < args.size(); ++i) {
        unsigned flag = 0;
        if (!readFileFlag(args.at(i), &flag, why))
            return false;
        v->flags |= flag;
    }
    if (v->code == 0) {
        const SimFileType* type = hostFileTypeForPath(QFile::encodeName(v->path).toStdString());
        if (!type || type->typeCode() == FileTypePicture) {
            *why = QStringLiteral("no data file type for '%1' (name it .txt, .bin or .mfd, or "
                                  "give the type)")
                       .arg(v->path);
            return false;
        }
        v->code = type->typeCode();
    }
    return true;
}

bool readColorMapArg(const QStringList& args, int* index, QString* why)
{
    return readColorMap(args.at(0), index, why);
}

struct Range
{
    double min = 0.0;
    double max = 0.0;
};

bool readRange(const QStringList& args, Range* v, QString* why)
{
    const double lowest = -std::numeric_limits<double>::max();
    if (!readNumber(args.at(0), lowest, &v->min, why)
        || !readNumber(args.at(1), lowest, &v->max, why))
        return false;
    if (v->max <= v->min) {
        *why = QStringLiteral("empty range %1 to %2 (the maximum must exceed the minimum)")
                   .arg(args.at(0), args.at(1));
        return false;
    }
    return true;
}

bool readIndex(const QStringList& args, int* index, QString* why)
{
    return readInt(args.at(0), 0, kMaxInt, index, why);
}

struct Expect
{
    enum Kind {
        Result,
        Frames,
        Time,
        Running
    } kind = Result;
    int number = 0;
    double seconds = 0.0;
    bool running = false;
};

bool readExpect(const QStringList& args, Expect* v, QString* why)
{
    const QString what = args.at(0).toLower();
    if (what == QLatin1String("result")) {
        v->kind = Expect::Result;
        return readInt(args.at(1), std::numeric_limits<int>::min(), kMaxInt, &v->number, why);
    }
    if (what == QLatin1String("frames")) {
        v->kind = Expect::Frames;
        return readInt(args.at(1), 0, kMaxInt, &v->number, why);
    }
    if (what == QLatin1String("time")) {
        v->kind = Expect::Time;
        return readNumber(args.at(1), 0.0, &v->seconds, why);
    }
    if (what == QLatin1String("running")) {
        v->kind = Expect::Running;
        return readSwitch(args.at(1), &v->running, why);
    }
    *why = QStringLiteral("cannot expect '%1' (result, frames, time or running)").arg(args.at(0));
    return false;
}

// ---------------------------------------------------------------------------------
// The commands

template <class Values>
using Action = std::function<ScriptStep(Session&, SimDevice*, const Values&)>;

struct Form
{
    QString usage; // its first word is the command's name
    int minArgs;
    int maxArgs;
    unsigned needs;
};

template <class Values>
void add(ScriptRunner& runner, const std::shared_ptr<Session>& session, const Form& form,
    Reader<Values> read, Action<Values> act)
{
    ScriptRunner::Command command;
    command.name = form.usage.section(QLatin1Char(' '), 0, 0);
    command.minArgs = form.minArgs;
    command.maxArgs = form.maxArgs;
    command.usage = form.usage;
    command.check = [read](const ScriptLine& line) {
        Values values;
        QString why;
        return read(line.args, &values, &why) ? QString() : why;
    };
    command.run = [session, read, act, needs = form.needs](const ScriptLine& line) {
        Session& s = *session;
        if (!s.context.host)
            return ScriptStep::fail(QStringLiteral("no host to run this on"));
        if ((needs & NeedsPlugin) && !s.context.devControl)
            return ScriptStep::fail(QStringLiteral("no plug-in interface to drive"));
        std::shared_ptr<SimDevice> device;
        if (needs & NeedsDevice) {
            QString why;
            device = s.selected(&why);
            if (!device)
                return ScriptStep::fail(why);
        }
        Values values;
        QString why;
        if (!read(line.args, &values, &why))
            return ScriptStep::fail(why);
        return act(s, device.get(), values);
    };
    runner.addCommand(command);
}

// A command that hands its values to one IDevControl call on the selected device.
template <class Values>
void addCall(ScriptRunner& runner, const std::shared_ptr<Session>& session, const Form& form,
    Reader<Values> read, const char* call,
    std::function<int(ov::IDevControl*, ov::IDev*, const Values&)> invoke)
{
    add<Values>(runner, session,
        {form.usage, form.minArgs, form.maxArgs, NeedsPlugin | NeedsDevice}, read,
        [call, invoke](Session& s, SimDevice* device, const Values& v) {
            return callResult(call, invoke(s.context.devControl, device->dev(), v));
        });
}

ScriptStep saveFrames(SimDevice* device, const Save& save)
{
    ov::IDevMpx* detector = detectorOf(device);
    if (!detector)
        return ScriptStep::fail(
            QStringLiteral("device '%1' is not a detector").arg(device->name()));
    std::vector<ov::IData*> held;
    std::vector<const SimFrame*> frames;
    const int dataCount = detector->acqDataCount();
    for (int i = 0; i < dataCount; ++i) {
        ov::IData* data = detector->acqDataRefInc(unsigned(i));
        if (!data)
            continue;
        held.push_back(data);
        for (unsigned j = 0; j < data->frameCount(); ++j)
            if (const auto* frame = dynamic_cast<const SimFrame*>(data->frameAt(j)))
                frames.push_back(frame);
    }
    const QString path = absolutePath(save.path);
    const std::string name = QFile::encodeName(path).toStdString();
    int result = -1;
    if (!frames.empty())
        result = saveFramesToFile(frames, name, save.code, save.flags);
    for (ov::IData* data : held)
        data->decRef();
    if (frames.empty())
        return ScriptStep::fail(QStringLiteral("no measured frames to save"));
    if (result != 0)
        return ScriptStep::fail(QStringLiteral("cannot save to '%1' (see the log)").arg(path));
    const auto count = int(frames.size());
    if (hostFileTypeById(save.code)->isMultiFrame() || count == 1)
        std::printf("saved %d frame(s): %s\n", count, name.c_str());
    else
        std::printf("saved %d frame(s): %s ... %s\n", count, frameFileName(name, 0, count).c_str(),
            frameFileName(name, count - 1, count).c_str());
    std::fflush(stdout);
    return ScriptStep::next();
}

ScriptStep checkExpectation(Session& s, SimDevice* device, const Expect& e)
{
    ov::IDevMpx* detector = detectorOf(device);
    switch (e.kind) {
    case Expect::Result: {
        if (!s.context.devControl)
            return ScriptStep::fail(QStringLiteral("no plug-in interface to drive"));
        const int result = s.context.devControl->lastAcqResult(device->dev());
        if (result != e.number)
            return ScriptStep::fail(QStringLiteral("expected the last measurement to end with %1, "
                                                   "it ended with %2")
                                        .arg(e.number)
                                        .arg(result));
        return ScriptStep::next();
    }
    case Expect::Frames: {
        const int frames = detector ? detector->acqFrameCount() : 0;
        if (frames != e.number)
            return ScriptStep::fail(
                QStringLiteral("expected %1 measured frame(s), the device holds %2")
                    .arg(e.number)
                    .arg(frames));
        return ScriptStep::next();
    }
    case Expect::Time: {
        ov::IMpxFrame* frame = detector ? detector->lastAcqFrameRefInc() : nullptr;
        if (!frame)
            return ScriptStep::fail(
                QStringLiteral("expected a frame of %1 s, the device holds none").arg(e.seconds));
        const double time = frame->acqTime();
        frame->decRef();
        if (std::abs(time - e.seconds) > 1e-9 * std::max(1.0, e.seconds))
            return ScriptStep::fail(
                QStringLiteral("expected a frame of %1 s, the last one took %2 s")
                    .arg(e.seconds)
                    .arg(time));
        return ScriptStep::next();
    }
    case Expect::Running: {
        const bool running = s.measuring();
        if (running != e.running)
            return ScriptStep::fail(e.running ? QStringLiteral("expected a measurement to run")
                                              : QStringLiteral("expected no measurement to run"));
        return ScriptStep::next();
    }
    }
    return ScriptStep::next();
}

} // namespace

void addDevControlCommands(ScriptRunner& runner)
{
    auto session = std::make_shared<Session>(runner.context());
    ScriptRunner& r = runner;
    const auto& s = session;

    add<QString>(r, s, {QStringLiteral("device NAME"), 1, -1, NeedsNothing}, readName,
        [](Session& ss, SimDevice*, const QString& name) {
            const auto device = ss.context.host->deviceByName(name);
            if (!device)
                return ScriptStep::fail(QStringLiteral("no device '%1'").arg(name));
            if (!detectorOf(device.get()))
                return ScriptStep::fail(QStringLiteral("device '%1' is not a detector").arg(name));
            ss.deviceName = name;
            return ScriptStep::next();
        });

    addCall<CountTime>(r, s, {QStringLiteral("params COUNT SECONDS"), 2, 2, 0}, readCountTime,
        "setAcqParams", [](ov::IDevControl* dc, ov::IDev* dev, const CountTime& v) {
            return dc->setAcqParams(dev, v.count, v.time);
        });
    addCall<int>(r, s, {QStringLiteral("acqtype TYPE"), 1, 1, 0}, readAcqTypeArg, "setAcqType",
        [](ov::IDevControl* dc, ov::IDev* dev, const int& type) {
            return dc->setAcqType(dev, type);
        });
    addCall<unsigned>(r, s, {QStringLiteral("acqmode FLAGS"), 1, 1, 0}, readFlagsArg, "setAcqMode",
        [](ov::IDevControl* dc, ov::IDev* dev, const unsigned& mode) {
            return dc->setAcqMode(dev, int(mode));
        });
    addCall<Repeat>(r, s, {QStringLiteral("repeat COUNT|off"), 1, 1, 0}, readRepeat, "setRepeat",
        [](ov::IDevControl* dc, ov::IDev* dev, const Repeat& v) {
            return dc->setRepeat(dev, v.count, v.enabled);
        });
    addCall<RepeatFiles>(r, s, {QStringLiteral("repeatfiles FLAGS DIGITS"), 2, 2, 0},
        readRepeatFiles, "setRepeatFileParams",
        [](ov::IDevControl* dc, ov::IDev* dev, const RepeatFiles& v) {
            return dc->setRepeatFileParams(dev, v.flags, v.digits);
        });
    addCall<TwoSwitches>(r, s, {QStringLiteral("refresh DACS PIXCFG"), 2, 2, 0}, readTwoSwitches,
        "setRefreshParams", [](ov::IDevControl* dc, ov::IDev* dev, const TwoSwitches& v) {
            return dc->setRefreshParams(dev, v.first, v.second);
        });
    add<Output>(r, s,
        {QStringLiteral("output PATH [FLAGS] | output off"), 1, 2, NeedsPlugin | NeedsDevice},
        readOutput, [](Session& ss, SimDevice* device, const Output& v) {
            if (v.enabled)
                ss.outputPath = absolutePath(v.path);
            const ov::FilePath path(QFile::encodeName(ss.outputPath).constData());
            const ScriptStep step = callResult("setOutputFile",
                ss.context.devControl->setOutputFile(device->dev(), &path, v.enabled));
            if (step.kind != ScriptStep::Kind::Next || !v.hasFlags)
                return step;
            return callResult(
                "setOutputFlags", ss.context.devControl->setOutputFlags(device->dev(), v.flags));
        });

    add<NoValues>(r, s, {QStringLiteral("start"), 0, 0, NeedsPlugin | NeedsDevice}, readNothing,
        [](Session& ss, SimDevice* device, const NoValues&) {
            ss.sinceStart.start();
            ss.startPending = true;
            ss.sawRunning = false;
            return callResult("start", ss.context.devControl->start(device->dev()));
        });
    addCall<NoValues>(r, s, {QStringLiteral("stop"), 0, 0, 0}, readNothing, "stop",
        [](ov::IDevControl* dc, ov::IDev* dev, const NoValues&) { return dc->stop(dev); });
    add<int>(r, s, {QStringLiteral("waitidle [TIMEOUT_MS]"), 0, 1, NeedsPlugin | NeedsDevice},
        readTimeout, [](Session& ss, SimDevice*, const int& timeout) {
            Session* p = &ss;
            return ScriptStep::until(
                [p]() {
                    if (p->measuring()) {
                        p->sawRunning = true;
                        return false;
                    }
                    if (p->startPending && !p->sawRunning
                        && p->sinceStart.elapsed() < kStartGraceMs)
                        return false;
                    p->startPending = false;
                    return true;
                },
                timeout, QStringLiteral("still measuring after %1 ms").arg(timeout));
        });

    add<CountTime>(r, s, {QStringLiteral("acquire COUNT SECONDS"), 2, 2, NeedsDevice},
        readCountTime, [](Session& ss, SimDevice* device, const CountTime& v) {
            if (!detectorOf(device))
                return ScriptStep::fail(
                    QStringLiteral("device '%1' is not a detector").arg(device->name()));
            if (!ss.hostAcq.start(
                    ss.context.host->deviceByName(ss.deviceName), uint32_t(v.count), v.time))
                return ScriptStep::fail(QStringLiteral("a host measurement is still running"));
            const double limit = v.count * v.time * 1000.0 + kHostAcqSlackMs;
            const int timeout = limit < kMaxInt ? int(limit) : kMaxInt;
            Session* p = &ss;
            return ScriptStep::until([p]() { return p->hostAcq.isDone(); }, timeout,
                QStringLiteral("host measurement still running after %1 ms").arg(timeout),
                [p]() {
                    const int result = p->hostAcq.result();
                    return result == 0
                        ? QString()
                        : QStringLiteral("host measurement failed with code %1").arg(result);
                });
        });
    add<Save>(r, s, {QStringLiteral("save FILE [TYPE [FLAG...]]"), 1, -1, NeedsDevice}, readSave,
        [](Session&, SimDevice* device, const Save& v) { return saveFrames(device, v); });

    addCall<int>(r, s, {QStringLiteral("colormap MAP"), 1, 1, 0}, readColorMapArg, "setColorMap",
        [](ov::IDevControl* dc, ov::IDev* dev, const int& map) {
            return dc->setColorMap(dev, map);
        });
    addCall<Range>(r, s, {QStringLiteral("range MIN MAX"), 2, 2, 0}, readRange, "setRange",
        [](ov::IDevControl* dc, ov::IDev* dev, const Range& v) {
            return dc->setRange(dev, v.min, v.max);
        });
    addCall<bool>(r, s, {QStringLiteral("autorange on|off"), 1, 1, 0}, readSwitchArg,
        "setWindowAll", [](ov::IDevControl* dc, ov::IDev* dev, const bool& on) {
            return dc->setWindowAll(dev, on ? 1 : 0);
        });
    addCall<int>(r, s, {QStringLiteral("subframe INDEX"), 1, 1, 0}, readIndex, "setCurrentSubFrame",
        [](ov::IDevControl* dc, ov::IDev* dev, const int& index) {
            return dc->setCurrentSubFrame(dev, index);
        });
    for (const bool visible : {true, false}) {
        add<NoValues>(r, s,
            {visible ? QStringLiteral("show") : QStringLiteral("hide"), 0, 0, NeedsPlugin},
            readNothing, [visible](Session& ss, SimDevice*, const NoValues&) {
                return callResult("show", ss.context.devControl->show(visible));
            });
    }

    add<Expect>(r, s, {QStringLiteral("expect WHAT VALUE"), 2, 2, NeedsDevice}, readExpect,
        [](Session& ss, SimDevice* device, const Expect& e) {
            return checkExpectation(ss, device, e);
        });
}

} // namespace sim
