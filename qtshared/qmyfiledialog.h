// File dialogs that remember the last directory per purpose and the last chosen
// filter in the user's "Velmora"/"Orvel" ini settings. A dir argument that starts with
// "::" names a settings key (see QLastDir); any other dir is used as it stands.
#pragma once

#include <QFileDialog>
#include <QString>
#include <QStringList>

class QSettings;

class QMyFileDialog
{
public:
    static QString getSaveFileName(QWidget* parent = nullptr, const QString& caption = QString(),
        const QString& dir = QString(), const QString& filter = QString(),
        QString* selectedFilter = nullptr, QFileDialog::Options options = QFileDialog::Options(),
        const QString& defaultName = QString());
    static QString getOpenFileName(QWidget* parent = nullptr, const QString& caption = QString(),
        const QString& dir = QString(), const QString& filter = QString(),
        QString* selectedFilter = nullptr, QFileDialog::Options options = QFileDialog::Options());
    static QStringList getOpenFileNames(QWidget* parent = nullptr,
        const QString& caption = QString(), const QString& dir = QString(),
        const QString& filter = QString(), QString* selectedFilter = nullptr,
        QFileDialog::Options options = QFileDialog::Options());

private:
    // Steps shared by the dialogs: the stored filter when none was given, and the
    // start directory (the remembered one, else "DefaultOpenFileDir").
    static QString startDir(QSettings& settings, const QString& dir, QString* selectedFilter);
};
