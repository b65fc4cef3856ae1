#include "textline.h"

namespace sim {

bool splitWords(const QString& line, QStringList* words, QString* error)
{
    words->clear();
    QString current;
    bool inWord = false;
    bool quoted = false;
    for (qsizetype i = 0; i < line.size(); ++i) {
        const QChar c = line.at(i);
        if (quoted) {
            if (c == QLatin1Char('\\') && i + 1 < line.size()
                && (line.at(i + 1) == QLatin1Char('"') || line.at(i + 1) == QLatin1Char('\\'))) {
                current += line.at(++i);
            } else if (c == QLatin1Char('"')) {
                quoted = false;
            } else {
                current += c;
            }
            continue;
        }
        if (c == QLatin1Char('#'))
            break;
        if (c.isSpace()) {
            if (inWord)
                words->append(current);
            current.clear();
            inWord = false;
            continue;
        }
        inWord = true;
        if (c == QLatin1Char('"'))
            quoted = true;
        else
            current += c;
    }
    if (quoted) {
        if (error)
            *error = QStringLiteral("missing closing quote");
        return false;
    }
    if (inWord)
        words->append(current);
    return true;
}

} // namespace sim
