#include "qmyfiledialog.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSettings>

namespace {

const QString keyPrefix = QStringLiteral("::");

bool isKey(const QString& dir)
{
    return dir.startsWith(keyPrefix);
}

// After a file was opened: its folder under the key (when dir is one) and as the
// default folder of every dialog.
void rememberOpenDir(QSettings& settings, const QString& dir, const QString& file)
{
    const QString path = QFileInfo(file).absolutePath();
    if (isKey(dir))
        settings.setValue(dir.mid(keyPrefix.size()), path);
    settings.setValue(QStringLiteral("DefaultOpenFileDir"), path);
}

} // namespace

QString QMyFileDialog::startDir(QSettings& settings, const QString& dir, QString* selectedFilter)
{
    if (selectedFilter && selectedFilter->isEmpty())
        *selectedFilter = settings.value(QStringLiteral("SelectedFilter")).toString();
    QString start = isKey(dir) ? settings.value(dir.mid(keyPrefix.size())).toString() : dir;
    if (start.isEmpty())
        start = settings.value(QStringLiteral("DefaultOpenFileDir")).toString();
    return start;
}

QString QMyFileDialog::getSaveFileName(QWidget* parent, const QString& caption, const QString& dir,
    const QString& filter, QString* selectedFilter, QFileDialog::Options options,
    const QString& defaultName)
{
    QSettings settings(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("Velmora"),
        QStringLiteral("Orvel"));
    QString start = startDir(settings, dir, selectedFilter);
    if (!defaultName.isEmpty())
        start = QDir::toNativeSeparators(
            QFileInfo(start).absoluteFilePath() + QLatin1Char('/') + defaultName);

    QString result
        = QFileDialog::getSaveFileName(parent, caption, start, filter, selectedFilter, options);
    if (result.isEmpty())
        return result;

    const QFileInfo info(result);
    if (isKey(dir))
        settings.setValue(dir.mid(keyPrefix.size()), info.absolutePath());
    if (selectedFilter && !selectedFilter->isEmpty()) {
        settings.setValue(QStringLiteral("SelectedFilter"), *selectedFilter);
        // A name typed without extension gets the one of the chosen filter.
        if (info.suffix().isEmpty()) {
            static const QRegularExpression pattern(QStringLiteral("^.*\\(\\*\\.(.*)\\)$"));
            const QRegularExpressionMatch match = pattern.match(*selectedFilter);
            if (match.hasMatch() && !match.captured(1).isEmpty())
                result += QLatin1Char('.') + match.captured(1);
        }
    }
    settings.setValue(QStringLiteral("DefaultOpenFileDir"), info.absolutePath());
    return QDir::toNativeSeparators(result);
}

QString QMyFileDialog::getOpenFileName(QWidget* parent, const QString& caption, const QString& dir,
    const QString& filter, QString* selectedFilter, QFileDialog::Options options)
{
    QSettings settings(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("Velmora"),
        QStringLiteral("Orvel"));
    const QString start = startDir(settings, dir, selectedFilter);
    const QString result
        = QFileDialog::getOpenFileName(parent, caption, start, filter, selectedFilter, options);
    if (!result.isEmpty())
        rememberOpenDir(settings, dir, result);
    return result;
}

QStringList QMyFileDialog::getOpenFileNames(QWidget* parent, const QString& caption,
    const QString& dir, const QString& filter, QString* selectedFilter,
    QFileDialog::Options options)
{
    QSettings settings(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("Velmora"),
        QStringLiteral("Orvel"));
    const QString start = startDir(settings, dir, selectedFilter);
    const QStringList result
        = QFileDialog::getOpenFileNames(parent, caption, start, filter, selectedFilter, options);
    if (!result.isEmpty())
        rememberOpenDir(settings, dir, result.first());
    return result;
}
