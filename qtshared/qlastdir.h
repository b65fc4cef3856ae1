// The settings key of a remembered directory, in the form the file dialogs take as
// their start directory: "::" followed by the key, as in "::devctrl/savefile".
#pragma once

#include <QString>

class QLastDir
{
public:
    explicit QLastDir(const QString& name) : key(QStringLiteral("::") + name) { }
    virtual ~QLastDir() = default;

    operator QString() const { return key; }

    QString key;
};
