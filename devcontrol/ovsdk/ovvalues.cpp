#include "ovvalues.h"

#include <climits>
#include <cwchar>

namespace ov {

void String::set(const wchar_t* text)
{
    m_text.clear();
    if (!text)
        return;
    // Convert through the C library so the result follows the process locale; a
    // character that has no narrow form becomes '?'.
    std::mbstate_t state {};
    char buf[MB_LEN_MAX];
    for (const wchar_t* p = text; *p; ++p) {
        const size_t n = std::wcrtomb(buf, *p, &state);
        if (n == static_cast<size_t>(-1)) {
            m_text.push_back('?');
            state = std::mbstate_t {};
        } else {
            m_text.append(buf, n);
        }
    }
}

const char* StrList::get(unsigned index) const
{
    return index < m_items.size() ? m_items[index].c_str() : "";
}

int StrList::insert(int index, const char* text)
{
    if (index < 0 || static_cast<size_t>(index) > m_items.size())
        return -1;
    m_items.insert(m_items.begin() + index, text ? text : "");
    return 0;
}

int StrList::erase(unsigned index)
{
    if (index >= m_items.size())
        return -1;
    m_items.erase(m_items.begin() + index);
    return 0;
}

} // namespace ov
