#include "numericlocale.h"

CNumericLocale::CNumericLocale()
{
    // Start from the thread's current locale so that only the number format
    // changes; character classes and messages stay as they were.
    locale_t current = uselocale(nullptr);
    locale_t base = duplocale(current);
    if (!base)
        return;
    m_cLocale = newlocale(LC_NUMERIC_MASK, "C", base);
    if (!m_cLocale) {
        freelocale(base);
        return;
    }
    m_previous = uselocale(m_cLocale);
}

CNumericLocale::~CNumericLocale()
{
    if (!m_cLocale)
        return;
    uselocale(m_previous);
    freelocale(m_cLocale);
}
