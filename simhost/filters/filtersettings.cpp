#include "filtersettings.h"

#include <set>

namespace sim::filtersettings {

const char* const kModule = "filters";
const char* const kGroups = "Groups";

namespace {

const QChar kMemberSeparator = QLatin1Char('|');

} // namespace

std::vector<StoredParam> readParams(
    const ini::Values& values, const QStringList& filterNames, QStringList* problems)
{
    std::vector<StoredParam> out;
    for (auto section = values.cbegin(); section != values.cend(); ++section) {
        if (section.key() == QLatin1String(kGroups))
            continue;
        if (!filterNames.contains(section.key())) {
            problems->append(
                QStringLiteral("section [%1] skipped: no filter of that name").arg(section.key()));
            continue;
        }
        for (auto entry = section.value().cbegin(); entry != section.value().cend(); ++entry)
            out.push_back({section.key().toStdString(), entry.key().toStdString(),
                entry.value().toStdString()});
    }
    return out;
}

std::vector<StoredGroup> readGroups(const ini::Values& values, QStringList* problems)
{
    std::vector<StoredGroup> out;
    const auto section = values.constFind(QLatin1String(kGroups));
    if (section == values.cend())
        return out;
    const QMap<QString, QString>& keys = section.value();
    bool ok = false;
    const int count = keys.value(QStringLiteral("Count")).trimmed().toInt(&ok);
    if (!ok || count < 0) {
        problems->append(QStringLiteral("groups skipped: the count '%1' is not a number")
                             .arg(keys.value(QStringLiteral("Count"))));
        return out;
    }
    std::set<QString> seen;
    for (int i = 1; i <= count; ++i) {
        const QString nameKey = QStringLiteral("Name%1").arg(i);
        const QString name = keys.value(nameKey).trimmed();
        if (name.isEmpty()) {
            problems->append(QStringLiteral("group %1 skipped: it has no name").arg(i));
            continue;
        }
        if (!seen.insert(name).second) {
            problems->append(
                QStringLiteral("group %1 skipped: the name '%2' is used twice").arg(i).arg(name));
            continue;
        }
        StoredGroup group;
        group.name = name.toStdString();
        const QString members = keys.value(QStringLiteral("Members%1").arg(i));
        if (!members.isEmpty())
            for (const QString& member : members.split(kMemberSeparator))
                group.members.push_back(member.toStdString());
        out.push_back(std::move(group));
    }
    return out;
}

QMap<QString, QString> groupsSection(const std::vector<StoredGroup>& groups)
{
    QMap<QString, QString> keys;
    keys.insert(QStringLiteral("Count"), QString::number(groups.size()));
    int i = 1;
    for (const StoredGroup& group : groups) {
        QStringList members;
        for (const std::string& member : group.members)
            members << QString::fromStdString(member);
        keys.insert(QStringLiteral("Name%1").arg(i), QString::fromStdString(group.name));
        keys.insert(QStringLiteral("Members%1").arg(i), members.join(kMemberSeparator));
        ++i;
    }
    return keys;
}

} // namespace sim::filtersettings
