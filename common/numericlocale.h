// Makes number text independent of the process locale for one scope.
//
// A GUI application usually adopts the user's locale, and in many locales
// printf and scanf then write and expect a decimal comma. Matrix files are
// exchanged between programs and machines, so they always use the "C" number
// format. The guard switches only the calling thread and only LC_NUMERIC.
#pragma once

#include <locale.h>

class CNumericLocale
{
public:
    CNumericLocale();
    ~CNumericLocale();

    CNumericLocale(const CNumericLocale&) = delete;
    CNumericLocale& operator=(const CNumericLocale&) = delete;

private:
    locale_t m_cLocale = nullptr;
    locale_t m_previous = nullptr;
};
