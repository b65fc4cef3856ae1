#include "cfile.h"

#include <system_error>

File::File(const std::filesystem::path& path, const char* mode) : m_path(path)
{
    if (!mode)
        return;
    std::error_code ec;
    if (std::filesystem::is_directory(path, ec))
        return;
    m_stream = std::fopen(path.c_str(), mode);
}

File::~File()
{
    close();
}

int File::close()
{
    if (!m_stream)
        return 0;
    const int result = std::fclose(m_stream);
    m_stream = nullptr;
    return result;
}
