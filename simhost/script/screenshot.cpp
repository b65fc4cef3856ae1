#include "screenshot.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QPainter>
#include <QPixmap>
#include <QWidget>

#include <vector>

namespace sim {

QImage grabVisibleWindows()
{
    std::vector<QImage> shots;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        const Qt::WindowType type = widget->windowType();
        if (!widget->isVisible() || type == Qt::ToolTip || type == Qt::Popup)
            continue;
        shots.push_back(widget->grab().toImage());
    }
    if (shots.empty())
        return {};
    int width = 0;
    int height = 0;
    for (const QImage& shot : shots) {
        width += shot.width();
        height = std::max(height, shot.height());
    }
    if (shots.size() == 1)
        return shots.front();
    QImage all(width, height, QImage::Format_ARGB32);
    all.fill(Qt::transparent);
    QPainter painter(&all);
    int x = 0;
    for (const QImage& shot : shots) {
        painter.drawImage(x, 0, shot);
        x += shot.width();
    }
    return all;
}

bool saveScreenshot(const QString& file, QString* absolutePath, QString* error)
{
    const QImage image = grabVisibleWindows();
    if (image.isNull()) {
        if (error)
            *error = QStringLiteral("no visible window to capture");
        return false;
    }
    const QString path = QFileInfo(file).absoluteFilePath();
    QDir().mkpath(QFileInfo(path).absolutePath());
    if (!image.save(path, "PNG")) {
        if (error)
            *error = QStringLiteral("cannot write %1").arg(path);
        return false;
    }
    if (absolutePath)
        *absolutePath = path;
    return true;
}

} // namespace sim
