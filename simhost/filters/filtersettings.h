// How a device's filter settings are kept in its settings store (module "filters",
// one ini file per device):
//
//   [<filter name>]        one section per single filter
//   <parameter>=<value>    every parameter as its text
//   [Groups]
//   Count=<n>
//   Name<i>=<group name>   i from 1 to n, in the order of creation
//   Members<i>=<member>|<member>|...
//
// Reading never fails as a whole: an entry that cannot be used is skipped, and the
// caller logs why.
#pragma once

#include "inifile.h"

#include <QString>
#include <QStringList>

#include <string>
#include <vector>

namespace sim::filtersettings {

extern const char* const kModule; // "filters"
extern const char* const kGroups; // "Groups"

struct StoredGroup
{
    std::string name;
    std::vector<std::string> members;
};

struct StoredParam
{
    std::string filter;
    std::string param;
    std::string value;
};

// What a store's values hold; problems names every entry that was skipped and why.
std::vector<StoredParam> readParams(
    const ini::Values& values, const QStringList& filterNames, QStringList* problems);
std::vector<StoredGroup> readGroups(const ini::Values& values, QStringList* problems);

// The keys and values of the groups section for these groups.
QMap<QString, QString> groupsSection(const std::vector<StoredGroup>& groups);

} // namespace sim::filtersettings
