#include "inifile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QList>
#include <QSaveFile>
#include <QStringDecoder>

namespace sim::ini {

namespace {

const QString kGeneral = QStringLiteral("General");

QString escape(const QString& text)
{
    QString out;
    out.reserve(text.size() + 8);
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        const bool atEdge = (i == 0 || i == text.size() - 1);
        switch (c.unicode()) {
        case '\\':
        case '=':
        case '[':
        case ']':
        case ';':
        case '#':
            out += QLatin1Char('\\');
            out += c;
            break;
        case '\n':
            out += QLatin1String("\\n");
            break;
        case '\r':
            out += QLatin1String("\\r");
            break;
        case '\t':
            out += QLatin1String("\\t");
            break;
        case ' ':
            out += atEdge ? QLatin1String("\\s") : QLatin1String(" ");
            break;
        default:
            out += c;
        }
    }
    return out;
}

QString unescape(const QString& text)
{
    QString out;
    out.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c != QLatin1Char('\\') || i + 1 == text.size()) {
            out += c;
            continue;
        }
        const QChar next = text.at(++i);
        switch (next.unicode()) {
        case 'n':
            out += QLatin1Char('\n');
            break;
        case 'r':
            out += QLatin1Char('\r');
            break;
        case 't':
            out += QLatin1Char('\t');
            break;
        case 's':
            out += QLatin1Char(' ');
            break;
        default:
            out += next;
        }
    }
    return out;
}

// Index of the first '=' that is not escaped, or -1.
qsizetype findSeparator(const QString& line)
{
    for (qsizetype i = 0; i < line.size(); ++i) {
        if (line.at(i) == QLatin1Char('\\'))
            ++i;
        else if (line.at(i) == QLatin1Char('='))
            return i;
    }
    return -1;
}

// True when the character at index is preceded by an odd number of backslashes.
bool escapedAt(const QString& line, qsizetype index)
{
    qsizetype slashes = 0;
    while (index - slashes - 1 >= 0 && line.at(index - slashes - 1) == QLatin1Char('\\'))
        ++slashes;
    return slashes % 2 == 1;
}

ReadResult corrupt(int lineNo, const QString& why)
{
    return {Status::Corrupt, QStringLiteral("line %1: %2").arg(lineNo).arg(why)};
}

} // namespace

ReadResult parse(const QByteArray& text, Values& out)
{
    out.clear();
    if (text.contains('\0'))
        return {Status::Corrupt, QStringLiteral("binary data (NUL bytes) in a text file")};
    QStringDecoder decoder(QStringDecoder::Utf8);
    const QString content = decoder.decode(text);
    if (decoder.hasError())
        return {Status::Corrupt, QStringLiteral("text is not UTF-8")};

    Values values;
    QString section = kGeneral;
    const QList<QStringView> lines = QStringView(content).split(QLatin1Char('\n'));
    int lineNo = 0;
    for (QStringView raw : lines) {
        ++lineNo;
        const QString line = raw.trimmed().toString();
        if (line.isEmpty() || line.startsWith(QLatin1Char(';'))
            || line.startsWith(QLatin1Char('#')))
            continue;
        if (line.startsWith(QLatin1Char('['))) {
            const bool closed = line.size() >= 2 && line.endsWith(QLatin1Char(']'))
                && !escapedAt(line, line.size() - 1);
            if (!closed)
                return corrupt(lineNo, QStringLiteral("section header without ']'"));
            section = unescape(line.mid(1, line.size() - 2).trimmed());
            if (section.isEmpty())
                return corrupt(lineNo, QStringLiteral("empty section name"));
            continue;
        }
        const qsizetype sep = findSeparator(line);
        if (sep < 0)
            return corrupt(lineNo, QStringLiteral("expected 'key=value'"));
        const QString key = unescape(line.left(sep).trimmed());
        if (key.isEmpty())
            return corrupt(lineNo, QStringLiteral("empty key"));
        values[section][key] = unescape(line.mid(sep + 1).trimmed());
    }
    out = values;
    return {};
}

QByteArray format(const Values& values)
{
    QString text;
    bool first = true;
    for (auto s = values.cbegin(); s != values.cend(); ++s) {
        if (s.value().isEmpty())
            continue;
        if (!first)
            text += QLatin1Char('\n');
        first = false;
        text += QLatin1Char('[') + escape(s.key()) + QLatin1String("]\n");
        for (auto k = s.value().cbegin(); k != s.value().cend(); ++k)
            text += escape(k.key()) + QLatin1Char('=') + escape(k.value()) + QLatin1Char('\n');
    }
    return text.toUtf8();
}

ReadResult readFile(const QString& path, Values& out)
{
    out.clear();
    QFile file(path);
    if (!file.exists())
        return {Status::Missing, QStringLiteral("no such file")};
    if (!file.open(QIODevice::ReadOnly))
        return {Status::Unreadable, file.errorString()};
    return parse(file.readAll(), out);
}

bool writeFile(const QString& path, const Values& values, QString* error)
{
    const QString dir = QFileInfo(path).absolutePath();
    if (!QDir().mkpath(dir)) {
        if (error)
            *error = QStringLiteral("cannot create folder %1").arg(dir);
        return false;
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        if (error)
            *error = file.errorString();
        return false;
    }
    file.write(format(values));
    if (!file.commit()) {
        if (error)
            *error = file.errorString();
        return false;
    }
    return true;
}

} // namespace sim::ini
