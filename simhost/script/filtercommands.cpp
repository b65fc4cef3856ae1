#include "filtercommands.h"

#include "scriptrunner.h"
#include "simhost.h"

#include <QDir>

#include <memory>

namespace sim {

namespace {

// Words of the arguments that name the device: one quoted word that holds a blank, or
// the two words of a name.
int deviceWords(const QStringList& args)
{
    if (args.isEmpty())
        return 0;
    return args.at(0).simplified().contains(QLatin1Char(' ')) ? 1 : std::min(2, int(args.size()));
}

QString deviceName(const QStringList& args)
{
    return args.mid(0, deviceWords(args)).join(QLatin1Char(' ')).simplified();
}

// The filters of the named device, or null with *why.
std::shared_ptr<DeviceFilters> filtersOf(SimHost* host, const QString& name, QString* why)
{
    const std::shared_ptr<SimDevice> device = host->deviceByName(name);
    if (!device) {
        *why = QStringLiteral("no device '%1'").arg(name);
        return nullptr;
    }
    std::shared_ptr<DeviceFilters> filters = host->filterMgr().filtersById(device->id());
    if (!filters)
        *why = QStringLiteral("device '%1' has no filters (it makes no frames)").arg(name);
    return filters;
}

QString singleNames(const DeviceFilters& filters)
{
    ov::PtrList<ov::IDataFilter*> list;
    filters.list(list, false);
    QStringList names;
    for (ov::IDataFilter* filter : list.items()) {
        ov::String name;
        filter->filterName(name);
        names << QString::fromUtf8(name.get());
    }
    return names.join(QStringLiteral(", "));
}

QString checkFilterParam(const ScriptLine& line)
{
    const int used = deviceWords(line.args);
    if (line.args.size() != used + 3)
        return QStringLiteral("usage: filterparam DEVICE FILTER PARAM VALUE (quote a name or "
                              "value with blanks)");
    return QString();
}

QString checkFilterGroup(const ScriptLine& line)
{
    if (line.args.size() < deviceWords(line.args) + 1)
        return QStringLiteral("usage: filtergroup DEVICE GROUP [MEMBER...]");
    return QString();
}

ScriptStep runFilterParam(SimHost* host, const ScriptLine& line)
{
    const int used = deviceWords(line.args);
    QString why;
    const std::shared_ptr<DeviceFilters> filters = filtersOf(host, deviceName(line.args), &why);
    if (!filters)
        return ScriptStep::fail(why);
    const QString filterName = line.args.at(used);
    const std::string param = line.args.at(used + 1).toStdString();
    QString value = line.args.at(used + 2);
    FrameFilter* filter = filters->single(filterName.toStdString());
    if (!filter) {
        if (filters->group(filterName.toStdString()))
            return ScriptStep::fail(
                QStringLiteral("'%1' is a filter group, which has no parameters").arg(filterName));
        return ScriptStep::fail(
            QStringLiteral("no filter '%1' (filters: %2)").arg(filterName, singleNames(*filters)));
    }
    // A frame file is named for the folder the session started in.
    if (param == "File" && !value.isEmpty())
        value = QDir::current().absoluteFilePath(value);
    if (filter->writeParam(param, value.toStdString(), &why) < 0)
        return ScriptStep::fail(why);
    return ScriptStep::next();
}

ScriptStep runFilterGroup(SimHost* host, const ScriptLine& line)
{
    const int used = deviceWords(line.args);
    QString why;
    const std::shared_ptr<DeviceFilters> filters = filtersOf(host, deviceName(line.args), &why);
    if (!filters)
        return ScriptStep::fail(why);
    const std::string groupName = line.args.at(used).trimmed().toStdString();
    std::vector<std::string> members;
    for (const QString& member : line.args.mid(used + 1)) {
        if (!filters->single(member.toStdString()))
            return ScriptStep::fail(QStringLiteral("no filter '%1' to put in a group (filters: %2)")
                                        .arg(member, singleNames(*filters)));
        members.push_back(member.toStdString());
    }
    FilterGroup* group = filters->group(groupName);
    if (!group) {
        if (groupName.empty() || filters->single(groupName))
            return ScriptStep::fail(
                QStringLiteral("'%1' cannot name a group: it is empty or a filter's name")
                    .arg(QString::fromStdString(groupName)));
        group = filters->insertGroup(groupName);
        if (!group)
            return ScriptStep::fail(QStringLiteral("cannot make the group '%1'")
                                        .arg(QString::fromStdString(groupName)));
        filters->notifyChanged();
    }
    if (group->setMembers(members) != 0)
        return ScriptStep::fail(QStringLiteral("the group '%1' was removed meanwhile")
                                    .arg(QString::fromStdString(groupName)));
    return ScriptStep::next();
}

} // namespace

void addFilterCommands(ScriptRunner& runner)
{
    SimHost* host = runner.context().host;
    const auto withHost = [host](ScriptStep (*run)(SimHost*, const ScriptLine&)) {
        return [host, run](const ScriptLine& line) {
            return host ? run(host, line)
                        : ScriptStep::fail(QStringLiteral("no host to run this on"));
        };
    };
    runner.addCommand({QStringLiteral("filterparam"), 4, 5,
        QStringLiteral("filterparam DEVICE FILTER PARAM VALUE"), withHost(&runFilterParam),
        &checkFilterParam});
    runner.addCommand({QStringLiteral("filtergroup"), 2, -1,
        QStringLiteral("filtergroup DEVICE GROUP [MEMBER...]"), withHost(&runFilterGroup),
        &checkFilterGroup});
}

} // namespace sim
