// Named parameters of simulated devices and file types, and the manager that lists them.
//
// A SimParam holds one value of one of the twelve ov::ParamType types. Every typed
// getter converts from that type; every typed setter converts to it and refuses (with
// a negative code, changing nothing) a value outside the type, outside the parameter's
// own range, not a name of its list, or any write to a read-only parameter. A parameter
// may carry a check that the owner runs before a write is taken (the device refusing a
// setting) and a hook that runs after it (the device acting on it).
//
// Threads: values are guarded by a mutex of their own, so a measurement thread may read
// what the GUI thread writes. The check and the hook run on the writer's thread, outside
// the lock. So does the hook that hears of a refused write.
#pragma once

#include <ovcore.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace sim {

// Error codes of the setters.
enum ParamResult : int {
    ParamOk = 0,
    ParamErrReadOnly = -1,
    ParamErrRange = -2,     // outside the type or the parameter's range
    ParamErrNotNumber = -3, // a text that is no number of the type
    ParamErrNoAlias = -4,   // not a name of the list
    ParamErrRefused = -5,   // the owner's check said no
};

// A value as it is kept: integers in 64 bits (signed or not), both floating types as
// double, text for strings; bool as 0 or 1.
struct ParamValue
{
    int64_t i = 0;
    uint64_t u = 0;
    double d = 0.0;
    std::string s;
};

class SimParam final : public ov::IParam
{
public:
    // Runs before a write with the value it would take (as the parameter would keep
    // it); a negative result refuses the write with ParamErrRefused.
    using Check = std::function<int(const SimParam& param, const ParamValue& next)>;
    using Changed = std::function<void(const SimParam& param)>;
    // Runs after a write was refused, with the ParamResult code and the value that was
    // asked for, as text; the owner tells the user (see refusalText).
    using Refused = std::function<void(const SimParam& param, int code, const std::string& value)>;

    SimParam(std::string name, std::string description, int type, unsigned flags = 0);

    // Set-up by the owner, before the parameter is shared.
    SimParam& setRange(double minimum, double maximum);
    // Named values, each with the number it stands for; the parameter gets the flag
    // ov::ParamHasAliases. Its type must be an integer type.
    SimParam& setAliases(std::vector<std::pair<std::string, int64_t>> aliases);
    SimParam& setCheck(Check check);
    SimParam& setChanged(Changed changed);
    SimParam& setRefused(Refused refused);
    // The initial value, or the owner's own change of a read-only value: no flags, no
    // check, no hook. A value outside the type is clipped to it.
    void assign(double value);
    void assignText(const std::string& value);

    // Owner side reads.
    int64_t asInt() const;
    double asDouble() const;
    bool asBool() const { return asInt() != 0; }
    std::string asText() const;
    // The values a write may give, for messages: "0..1000", "rising|falling",
    // "true|false", "any text", or the bounds of the type.
    std::string domainText() const;
    // Why a write was refused, for a log line: "outside 0..1000", "read-only", ...
    std::string refusalText(int code) const;

    // ov::IParam
    const char* name() const override { return m_name.c_str(); }
    const char* description() const override { return m_description.c_str(); }
    uint8_t byteValue() const override { return uint8_t(uint64_t(asInt()) & 0xffu); }
    bool boolValue() const override { return asDouble() != 0.0; }
    int stringValue(ov::String& out) const override;
    int setByteValue(uint8_t value) override { return write(double(value)); }
    int setBoolValue(bool value) override { return write(value ? 1.0 : 0.0); }
    int type() const override { return m_type; }
    unsigned flags() const override { return m_flags; }
    int8_t i8Value() const override { return int8_t(clipInt(-128, 127)); }
    int16_t i16Value() const override { return int16_t(clipInt(-32768, 32767)); }
    uint16_t u16Value() const override { return uint16_t(clipInt(0, 65535)); }
    int32_t i32Value() const override { return int32_t(clipInt(INT32_MIN, INT32_MAX)); }
    uint32_t u32Value() const override { return uint32_t(clipInt(0, UINT32_MAX)); }
    int64_t i64Value() const override { return asInt(); }
    uint64_t u64Value() const override;
    float floatValue() const override { return float(asDouble()); }
    double doubleValue() const override { return asDouble(); }
    int setI8Value(int8_t value) override { return write(double(value)); }
    int setI16Value(int16_t value) override { return write(double(value)); }
    int setU16Value(uint16_t value) override { return write(double(value)); }
    int setI32Value(int32_t value) override { return write(double(value)); }
    int setU32Value(uint32_t value) override { return write(double(value)); }
    int setI64Value(int64_t value) override;
    int setU64Value(uint64_t value) override;
    int setFloatValue(float value) override { return write(double(value)); }
    int setDoubleValue(double value) override { return write(value); }
    int setStringValue(const char* value) override;
    int aliases(ov::StrList& out) const override;
    int aliasValue(ov::String& out) const override;
    int setAliasValue(const char* alias) override;

private:
    bool isInteger() const { return m_type <= ov::ParamU64 || m_type == ov::ParamBool; }
    bool isUnsigned() const;
    int64_t clipInt(int64_t lo, int64_t hi) const;
    // The value a number becomes in this type; false when it does not fit.
    bool convert(double value, ParamValue* out) const;
    bool convertText(const std::string& text, ParamValue* out) const;
    int commit(const ParamValue& next);
    int write(double value);
    // Gives code back, first telling the refusal hook of a negative one.
    int answer(int code, const std::string& value) const;
    std::string textOf(const ParamValue& value) const;
    ParamValue snapshot() const;

    const std::string m_name;
    const std::string m_description;
    const int m_type;
    unsigned m_flags;
    double m_min = -1e308;
    double m_max = 1e308;
    std::vector<std::pair<std::string, int64_t>> m_aliases;
    Check m_check;
    Changed m_changed;
    Refused m_refused;
    mutable std::mutex m_mutex;
    ParamValue m_value;
};

class SimParamMgr final : public ov::IParamMgr
{
public:
    SimParamMgr() = default;
    SimParamMgr(const SimParamMgr&) = delete;
    SimParamMgr& operator=(const SimParamMgr&) = delete;

    // Parameters keep the order in which they were added.
    SimParam& add(std::string name, std::string description, int type, unsigned flags = 0);
    SimParam* find(const std::string& name) const;
    // The refusal hook of every parameter, those added before and after.
    void setRefused(SimParam::Refused refused);

    // ov::IParamMgr
    int params(ov::PtrList<ov::IParam*>& out) override;
    ov::IParam* param(const char* name) override { return name ? find(name) : nullptr; }
    using ov::IParamMgr::params;

private:
    std::vector<std::unique_ptr<SimParam>> m_params;
    SimParam::Refused m_refused;
};

} // namespace sim
