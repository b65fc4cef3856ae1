#include "paramparser.h"

#include <algorithm>
#include <regex>

namespace {

// std::regex matches by recursion, one level per character of a repeated
// match, and runs out of stack on long texts. Descriptions are one line of
// text, so only their beginning is looked at; the limit keeps the recursion
// well inside even a small thread stack.
constexpr size_t maxDescriptionLength = 2048;

// Finds the first "[...]" part with at least one character inside and gives
// that inside text. False if there is none.
bool findDomain(const std::string& description, std::string& domain)
{
    static const std::regex bracket(R"(\[([^\]]+)\])");
    const size_t length = std::min(description.size(), maxDescriptionLength);
    std::smatch match;
    if (!std::regex_search(description.begin(), description.begin() + length, match, bracket))
        return false;
    domain = match.str(1);
    return true;
}

} // namespace

int getParamType(const std::string& description)
{
    std::string domain;
    if (!findDomain(description, domain))
        return PT_NONE;
    if (domain == "true|false")
        return PT_BOOL;
    if (domain == "0|1" || domain == "log 0|log 1")
        return PT_LOGIC;
    if (domain == "string")
        return PT_STRING;
    static const std::regex range(R"((\d+)\.\.(\d+))");
    if (std::regex_search(domain, range))
        return PT_RANGE;
    if (domain.find('|') != std::string::npos)
        return PT_LIST;
    return PT_NONE;
}

std::vector<std::string> parseParamValues(const std::string& description)
{
    std::vector<std::string> values;
    std::string domain;
    if (!findDomain(description, domain))
        return values;
    static const std::regex piece("([^|]+)");
    for (std::sregex_iterator it(domain.begin(), domain.end(), piece), end; it != end; ++it)
        values.push_back(it->str(1));
    return values;
}
