// Small helpers shared by the file helper tests: whole files as strings.
#pragma once

#include <QTemporaryDir>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

inline std::filesystem::path tempPath(const QTemporaryDir& dir, const char* name)
{
    return std::filesystem::path(dir.path().toStdString()) / name;
}

inline bool writeTextFile(const std::filesystem::path& path, const std::string& text)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
    return static_cast<bool>(out);
}

inline std::string readTextFile(const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}
