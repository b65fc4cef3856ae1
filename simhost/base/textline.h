// Splitting a line of a device-set file or script into words.
#pragma once

#include <QString>
#include <QStringList>

namespace sim {

// Splits at blanks; "double quotes" keep blanks inside one word (a backslash escapes a
// quote or a backslash inside quotes). Text from an unquoted '#' on is a comment.
// Returns false with a message for an unterminated quote.
bool splitWords(const QString& line, QStringList* words, QString* error);

} // namespace sim
