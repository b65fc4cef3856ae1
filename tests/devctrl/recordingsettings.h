// An ov::ISettings kept in memory that also records the order of the writes.
#pragma once

#include <ovcore.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

class RecordingSettings final : public ov::ISettings
{
public:
    virtual ~RecordingSettings() = default;

    int load() override { return 0; }
    int save() override { return 0; }
    int setString(const char* s, const char* k, const char* v) override { return put(s, k, v); }
    int setInt(const char* s, const char* k, int v) override
    {
        return put(s, k, std::to_string(v));
    }
    int setDouble(const char* s, const char* k, double v) override
    {
        char text[64];
        std::snprintf(text, sizeof text, "%.17g", v);
        return put(s, k, text);
    }
    int setBool(const char* s, const char* k, bool v) override { return put(s, k, v ? "1" : "0"); }
    int getString(const char* s, const char* k, const char* def, ov::IString* out) override
    {
        auto it = values.find(key(s, k));
        out->set(it == values.end() ? def : it->second.c_str());
        return 0;
    }
    int getInt(const char* s, const char* k, int def) override
    {
        auto it = values.find(key(s, k));
        return it == values.end() ? def : std::stoi(it->second);
    }
    double getDouble(const char* s, const char* k, double def) override
    {
        auto it = values.find(key(s, k));
        return it == values.end() ? def : std::stod(it->second);
    }
    bool getBool(const char* s, const char* k, bool def) override
    {
        auto it = values.find(key(s, k));
        return it == values.end() ? def : it->second == "1";
    }
    void release() override { }

    static std::string key(const char* s, const char* k) { return std::string(s) + "/" + k; }

    std::map<std::string, std::string> values;
    std::vector<std::string> writes; // "Section/Key" in the order written

private:
    int put(const char* s, const char* k, const std::string& v)
    {
        values[key(s, k)] = v;
        writes.push_back(key(s, k));
        return 0;
    }
};
