// A small ini codec for the host's settings files.
//
// Format: UTF-8 text, "[section]" lines, "key=value" lines, blank lines and comments
// starting with ';' or '#'. Keys before the first section belong to "General". In
// section names, keys and values a backslash escapes the characters that would
// otherwise end or start a field ("\\", "\=", "\[", "\]", "\;", "\#"), and "\n", "\r",
// "\t" and "\s" (a space kept at either end) stand for themselves. Anything else on a
// line, NUL bytes or text that is not UTF-8 make the file corrupt, so a damaged file is
// noticed instead of silently yielding half its values.
#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>

namespace sim::ini {

// section -> key -> value
using Values = QMap<QString, QMap<QString, QString>>;

enum class Status {
    Ok,
    Missing,
    Unreadable,
    Corrupt
};

struct ReadResult
{
    Status status = Status::Ok;
    QString message; // why it failed, with the line number for a corrupt file
};

// Parses text; on failure returns Corrupt with "line N: ..." and leaves out empty.
ReadResult parse(const QByteArray& text, Values& out);
// The text of a file holding these values.
QByteArray format(const Values& values);

ReadResult readFile(const QString& path, Values& out);
// Writes atomically (the old file stays if writing fails); creates the folder.
bool writeFile(const QString& path, const Values& values, QString* error);

} // namespace sim::ini
