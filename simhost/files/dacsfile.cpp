#include "dacsfile.h"

#include "wholefile.h"

#include <charconv>

namespace sim {

namespace {

// A DAC file of 64 chips is a few kilobytes; anything much larger is not one.
constexpr uint64_t kMaxDacsBytes = uint64_t(1) << 20;

std::vector<std::string> wordsOf(const std::string& line)
{
    std::vector<std::string> words;
    size_t i = 0;
    while (i < line.size()) {
        while (i < line.size() && (line[i] == ' ' || line[i] == '\t' || line[i] == '\r'))
            ++i;
        const size_t start = i;
        while (i < line.size() && line[i] != ' ' && line[i] != '\t' && line[i] != '\r')
            ++i;
        if (i > start)
            words.push_back(line.substr(start, i - start));
    }
    return words;
}

// A plain decimal number without sign.
bool parseUnsigned(const std::string& text, long long max, int* out)
{
    if (text.empty() || text.size() > 10)
        return false;
    long long v = 0;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
    if (ec != std::errc() || end != text.data() + text.size() || text[0] == '-' || v > max)
        return false;
    *out = int(v);
    return true;
}

} // namespace

std::string encodeDacs(const std::vector<DacInfo>& table, int chips, const std::vector<int>& values)
{
    std::string out = "# Orvel DAC file: the DAC names, then one line per chip with the values\n"
                      "# in the order of the names\n"
                      "Format 1\n"
                      "DACs";
    for (const DacInfo& d : table)
        out += std::string(" ") + d.name;
    out += '\n';
    for (int c = 0; c < chips; ++c) {
        out += "Chip " + std::to_string(c);
        for (size_t d = 0; d < table.size(); ++d)
            out += ' ' + std::to_string(values[size_t(c) * table.size() + d]);
        out += '\n';
    }
    return out;
}

int decodeDacs(const std::string& text, const std::string& origin,
    const std::vector<DacInfo>& table, int chips, std::vector<int>* out, std::string* error)
{
    int line = 0;
    auto damaged = [&](const std::string& why) {
        return fail(error, DacsFileDamaged, origin + ":" + std::to_string(line) + ": " + why);
    };
    bool formatSeen = false;
    std::vector<int> columns; // DAC index of each value column
    std::vector<int> values(table.size() * size_t(chips), -1);
    std::vector<bool> chipSeen(size_t(chips), false);
    size_t pos = 0;
    while (pos < text.size()) {
        size_t end = text.find('\n', pos);
        if (end == std::string::npos)
            end = text.size();
        ++line;
        const std::string lineText = text.substr(pos, end - pos);
        pos = end + 1;
        if (lineText.find('\0') != std::string::npos)
            return damaged("NUL byte");
        const std::vector<std::string> words = wordsOf(lineText);
        if (words.empty() || words[0][0] == '#')
            continue;
        const std::string& key = words[0];
        if (!formatSeen) {
            if (key != "Format" || words.size() != 2 || words[1] != "1")
                return damaged("expected \"Format 1\" first");
            formatSeen = true;
        } else if (key == "DACs") {
            if (!columns.empty())
                return damaged("a second DACs line");
            std::vector<bool> seen(table.size(), false);
            for (size_t w = 1; w < words.size(); ++w) {
                int index = -1;
                for (size_t d = 0; d < table.size(); ++d)
                    if (words[w] == table[d].name)
                        index = int(d);
                if (index < 0)
                    return damaged("unknown DAC " + words[w]);
                if (seen[size_t(index)])
                    return damaged("DAC " + words[w] + " listed twice");
                seen[size_t(index)] = true;
                columns.push_back(index);
            }
            for (size_t d = 0; d < table.size(); ++d)
                if (!seen[d])
                    return damaged(std::string("DAC ") + table[d].name + " missing");
        } else if (key == "Chip") {
            if (columns.empty())
                return damaged("a Chip line before the DACs line");
            int chip = -1;
            if (words.size() < 2 || !parseUnsigned(words[1], chips - 1, &chip))
                return damaged(
                    "bad chip number (the device has " + std::to_string(chips) + " chips)");
            if (chipSeen[size_t(chip)])
                return damaged("chip " + words[1] + " listed twice");
            if (words.size() != columns.size() + 2)
                return damaged(std::to_string(words.size() - 2) + " values where "
                    + std::to_string(columns.size()) + " were expected");
            chipSeen[size_t(chip)] = true;
            for (size_t col = 0; col < columns.size(); ++col) {
                const DacInfo& d = table[size_t(columns[col])];
                int v = 0;
                if (!parseUnsigned(words[col + 2], d.maxValue, &v))
                    return damaged(std::string("bad value '") + words[col + 2] + "' of " + d.name
                        + " (0 to " + std::to_string(d.maxValue) + ")");
                values[size_t(chip) * table.size() + size_t(columns[col])] = v;
            }
        } else {
            return damaged("unknown line '" + key + "'");
        }
    }
    if (!formatSeen)
        return fail(error, DacsFileDamaged, origin + ": empty, not a DAC file");
    if (columns.empty())
        return fail(error, DacsFileDamaged, origin + ": no DACs line");
    for (int c = 0; c < chips; ++c)
        if (!chipSeen[size_t(c)])
            return fail(error, DacsFileDamaged,
                origin + ": no values for chip " + std::to_string(c) + " (the device has "
                    + std::to_string(chips) + " chips)");
    *out = std::move(values);
    return DacsFileOk;
}

int saveDacsFile(const std::string& path, const std::vector<DacInfo>& table, int chips,
    const std::vector<int>& values, std::string* error)
{
    if (!writeBytes(path, encodeDacs(table, chips, values), false, error))
        return DacsFileIoError;
    return DacsFileOk;
}

int loadDacsFile(const std::string& path, const std::vector<DacInfo>& table, int chips,
    std::vector<int>* out, std::string* error)
{
    std::string text;
    bool tooLarge = false;
    if (!readBounded(path, kMaxDacsBytes, "a DAC file", &text, &tooLarge, error))
        return tooLarge ? DacsFileDamaged : DacsFileIoError;
    return decodeDacs(text, path, table, chips, out, error);
}

} // namespace sim
