#include "simparams.h"

#include <algorithm>
#include <cerrno>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <strings.h>

namespace sim {

namespace {

struct TypeBounds
{
    double lo;
    double hi;
};

// The values a type can hold, as doubles (the 64-bit bounds are the nearest doubles).
TypeBounds boundsOf(int type)
{
    switch (type) {
    case ov::ParamI8:
        return {-128.0, 127.0};
    case ov::ParamU8:
        return {0.0, 255.0};
    case ov::ParamI16:
        return {-32768.0, 32767.0};
    case ov::ParamU16:
        return {0.0, 65535.0};
    case ov::ParamI32:
        return {-2147483648.0, 2147483647.0};
    case ov::ParamU32:
        return {0.0, 4294967295.0};
    case ov::ParamI64:
        return {-9223372036854775808.0, 9223372036854775807.0};
    case ov::ParamU64:
        return {0.0, 18446744073709551615.0};
    case ov::ParamFloat:
        return {-double(FLT_MAX), double(FLT_MAX)};
    case ov::ParamBool:
        return {0.0, 1.0};
    default:
        return {-DBL_MAX, DBL_MAX};
    }
}

std::string numberText(double value, int type)
{
    char text[64];
    std::snprintf(text, sizeof text, type == ov::ParamFloat ? "%.7g" : "%.15g", value);
    return text;
}

} // namespace

SimParam::SimParam(std::string name, std::string description, int type, unsigned flags)
    : m_name(std::move(name)),
      m_description(std::move(description)),
      m_type(std::clamp(type, int(ov::ParamI8), int(ov::ParamString))),
      m_flags(flags)
{ }

SimParam& SimParam::setRange(double minimum, double maximum)
{
    m_min = minimum;
    m_max = maximum;
    return *this;
}

SimParam& SimParam::setAliases(std::vector<std::pair<std::string, int64_t>> aliases)
{
    m_aliases = std::move(aliases);
    m_flags |= ov::ParamHasAliases;
    return *this;
}

SimParam& SimParam::setCheck(Check check)
{
    m_check = std::move(check);
    return *this;
}

SimParam& SimParam::setChanged(Changed changed)
{
    m_changed = std::move(changed);
    return *this;
}

SimParam& SimParam::setRefused(Refused refused)
{
    m_refused = std::move(refused);
    return *this;
}

std::string SimParam::domainText() const
{
    if (!m_aliases.empty()) {
        std::string out;
        for (const auto& alias : m_aliases)
            out += (out.empty() ? "" : "|") + alias.first;
        return out;
    }
    if (m_type == ov::ParamString)
        return "any text";
    if (m_type == ov::ParamBool)
        return "true|false";
    const TypeBounds b = boundsOf(m_type);
    return numberText(std::max(m_min, b.lo), m_type) + ".."
        + numberText(std::min(m_max, b.hi), m_type);
}

std::string SimParam::refusalText(int code) const
{
    switch (code) {
    case ParamErrReadOnly:
        return "the parameter is read-only";
    case ParamErrRange:
        return "outside " + domainText();
    case ParamErrNotNumber:
        return "not a value of " + domainText();
    case ParamErrNoAlias:
        return "not one of " + domainText();
    case ParamErrRefused:
        return "the owner does not take it now";
    default:
        return "refused";
    }
}

int SimParam::answer(int code, const std::string& value) const
{
    if (code < 0 && m_refused)
        m_refused(*this, code, value);
    return code;
}

std::string SimParam::textOf(const ParamValue& value) const
{
    if (m_type == ov::ParamString)
        return value.s;
    if (m_type == ov::ParamFloat || m_type == ov::ParamDouble)
        return numberText(value.d, m_type);
    return isUnsigned() ? std::to_string(value.u) : std::to_string(value.i);
}

bool SimParam::isUnsigned() const
{
    return m_type == ov::ParamU8 || m_type == ov::ParamU16 || m_type == ov::ParamU32
        || m_type == ov::ParamU64;
}

void SimParam::assign(double value)
{
    const TypeBounds b = boundsOf(m_type);
    ParamValue v;
    if (m_type == ov::ParamString)
        v.s = numberText(value, m_type);
    else if (!convert(std::clamp(std::isfinite(value) ? value : 0.0, b.lo, b.hi), &v))
        return;
    std::lock_guard<std::mutex> lock(m_mutex);
    m_value = v;
}

void SimParam::assignText(const std::string& value)
{
    ParamValue v;
    if (m_type == ov::ParamString)
        v.s = value;
    else if (!convertText(value, &v))
        return;
    std::lock_guard<std::mutex> lock(m_mutex);
    m_value = v;
}

ParamValue SimParam::snapshot() const
{
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_value;
}

int64_t SimParam::asInt() const
{
    const ParamValue v = snapshot();
    if (m_type == ov::ParamString) {
        errno = 0;
        const double d = std::strtod(v.s.c_str(), nullptr);
        return std::isfinite(d) ? int64_t(std::clamp(d, -9.2e18, 9.2e18)) : 0;
    }
    if (m_type == ov::ParamFloat || m_type == ov::ParamDouble)
        return std::isfinite(v.d) ? int64_t(std::clamp(v.d, -9.2e18, 9.2e18)) : 0;
    if (isUnsigned())
        return v.u > uint64_t(INT64_MAX) ? INT64_MAX : int64_t(v.u);
    return v.i;
}

double SimParam::asDouble() const
{
    const ParamValue v = snapshot();
    if (m_type == ov::ParamString)
        return std::strtod(v.s.c_str(), nullptr);
    if (m_type == ov::ParamFloat || m_type == ov::ParamDouble)
        return v.d;
    return isUnsigned() ? double(v.u) : double(v.i);
}

std::string SimParam::asText() const
{
    const ParamValue v = snapshot();
    if (m_type == ov::ParamString)
        return v.s;
    if (m_type == ov::ParamBool)
        return v.i ? "true" : "false";
    if (m_type == ov::ParamFloat || m_type == ov::ParamDouble)
        return numberText(v.d, m_type);
    return isUnsigned() ? std::to_string(v.u) : std::to_string(v.i);
}

int64_t SimParam::clipInt(int64_t lo, int64_t hi) const
{
    return std::clamp(asInt(), lo, hi);
}

uint64_t SimParam::u64Value() const
{
    if (isUnsigned())
        return snapshot().u;
    const int64_t v = asInt();
    return v < 0 ? 0 : uint64_t(v);
}

bool SimParam::convert(double value, ParamValue* out) const
{
    if (!std::isfinite(value) && m_type != ov::ParamString)
        return false;
    const TypeBounds b = boundsOf(m_type);
    if (m_type == ov::ParamString) {
        out->s = numberText(value, m_type);
        return true;
    }
    if (value < b.lo || value > b.hi)
        return false;
    if (m_type == ov::ParamFloat || m_type == ov::ParamDouble) {
        out->d = m_type == ov::ParamFloat ? double(float(value)) : value;
        return true;
    }
    if (value != std::trunc(value))
        return false;
    if (isUnsigned())
        out->u = value >= 18446744073709551615.0 ? UINT64_MAX : uint64_t(value);
    else
        out->i = value >= 9223372036854775807.0 ? INT64_MAX : int64_t(value);
    return true;
}

bool SimParam::convertText(const std::string& text, ParamValue* out) const
{
    if (m_type == ov::ParamString) {
        out->s = text;
        return true;
    }
    if (m_type == ov::ParamBool) {
        if (!strcasecmp(text.c_str(), "true") || text == "1")
            out->i = 1;
        else if (!strcasecmp(text.c_str(), "false") || text == "0")
            out->i = 0;
        else
            return false;
        return true;
    }
    if (text.empty())
        return false;
    char* end = nullptr;
    errno = 0;
    if (m_type == ov::ParamI64 || m_type == ov::ParamU64) {
        // Whole 64-bit integers do not pass through a double.
        if (m_type == ov::ParamU64) {
            if (text.find('-') != std::string::npos)
                return false;
            const unsigned long long u = std::strtoull(text.c_str(), &end, 10);
            if (*end || errno)
                return false;
            out->u = u;
        } else {
            const long long i = std::strtoll(text.c_str(), &end, 10);
            if (*end || errno)
                return false;
            out->i = i;
        }
        return true;
    }
    const double d = std::strtod(text.c_str(), &end);
    if (*end || errno)
        return false;
    return convert(d, out);
}

int SimParam::commit(const ParamValue& next)
{
    if (m_flags & ov::ParamReadOnly)
        return ParamErrReadOnly;
    if (m_type != ov::ParamString) {
        const double v = isUnsigned()                                 ? double(next.u)
            : (m_type == ov::ParamFloat || m_type == ov::ParamDouble) ? next.d
                                                                      : double(next.i);
        if (v < m_min || v > m_max)
            return ParamErrRange;
    }
    if (!m_aliases.empty()) {
        const int64_t v = isUnsigned() ? int64_t(next.u) : next.i;
        if (std::none_of(m_aliases.begin(), m_aliases.end(),
                [v](const auto& alias) { return alias.second == v; }))
            return ParamErrNoAlias;
    }
    if (m_check && m_check(*this, next) < 0)
        return ParamErrRefused;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_value = next;
    }
    if (m_changed)
        m_changed(*this);
    return ParamOk;
}

int SimParam::write(double value)
{
    const std::string text = numberText(value, ov::ParamDouble);
    if (m_flags & ov::ParamReadOnly)
        return answer(ParamErrReadOnly, text);
    ParamValue next;
    if (!convert(value, &next))
        return answer(ParamErrRange, text);
    return answer(commit(next), text);
}

int SimParam::setI64Value(int64_t value)
{
    if (m_type == ov::ParamI64 || (m_type == ov::ParamU64 && value >= 0)) {
        ParamValue next;
        next.i = value;
        next.u = uint64_t(value);
        return answer(commit(next), std::to_string(value));
    }
    return write(double(value));
}

int SimParam::setU64Value(uint64_t value)
{
    if (m_type == ov::ParamU64 || (m_type == ov::ParamI64 && value <= uint64_t(INT64_MAX))) {
        ParamValue next;
        next.u = value;
        next.i = int64_t(value);
        return answer(commit(next), std::to_string(value));
    }
    return write(double(value));
}

int SimParam::setStringValue(const char* value)
{
    const std::string text = value ? value : "";
    if (m_flags & ov::ParamReadOnly)
        return answer(ParamErrReadOnly, text);
    if (!m_aliases.empty()) {
        for (const auto& alias : m_aliases)
            if (alias.first == text)
                return setAliasValue(value);
    }
    ParamValue next;
    if (!convertText(text, &next))
        return answer(m_aliases.empty() ? ParamErrNotNumber : ParamErrNoAlias, text);
    return answer(commit(next), textOf(next));
}

int SimParam::stringValue(ov::String& out) const
{
    if (!m_aliases.empty())
        return aliasValue(out);
    out.set(asText().c_str());
    return 0;
}

int SimParam::aliases(ov::StrList& out) const
{
    for (const auto& alias : m_aliases)
        out.add(alias.first.c_str());
    return 0;
}

int SimParam::aliasValue(ov::String& out) const
{
    const int64_t v = asInt();
    for (const auto& alias : m_aliases)
        if (alias.second == v) {
            out.set(alias.first.c_str());
            return 0;
        }
    out.set("");
    return m_aliases.empty() ? ParamErrNoAlias : 0;
}

int SimParam::setAliasValue(const char* alias)
{
    const std::string text = alias ? alias : "";
    if (m_flags & ov::ParamReadOnly)
        return answer(ParamErrReadOnly, text);
    for (const auto& item : m_aliases)
        if (alias && item.first == alias) {
            ParamValue next;
            next.i = item.second;
            next.u = uint64_t(item.second);
            return answer(commit(next), text);
        }
    return answer(ParamErrNoAlias, text);
}

SimParam& SimParamMgr::add(std::string name, std::string description, int type, unsigned flags)
{
    m_params.push_back(
        std::make_unique<SimParam>(std::move(name), std::move(description), type, flags));
    if (m_refused)
        m_params.back()->setRefused(m_refused);
    return *m_params.back();
}

void SimParamMgr::setRefused(SimParam::Refused refused)
{
    m_refused = std::move(refused);
    for (const auto& p : m_params)
        p->setRefused(m_refused);
}

SimParam* SimParamMgr::find(const std::string& name) const
{
    for (const auto& p : m_params)
        if (name == p->name())
            return p.get();
    return nullptr;
}

int SimParamMgr::params(ov::PtrList<ov::IParam*>& out)
{
    for (const auto& p : m_params)
        out.add(p.get());
    return 0;
}

} // namespace sim
