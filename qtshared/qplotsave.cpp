// Saving a QPlot: the picture as an image file, or the points of its lines as text.
#include "qplot.h"

#include "qplotlayer.h"
#include "qplotline.h"

#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QPixmap>
#include <QTextStream>

namespace {

// Significant digits of a value in a text file.
constexpr int kTextPrecision = 12;

QString askSaveFileName(QWidget* parent, const QString& caption, const QString& dir,
    const QString& filter, QString* selectedFilter)
{
    return QFileDialog::getSaveFileName(parent, caption, dir, filter, selectedFilter);
}

} // namespace

QPlot::SaveFileDialog QPlot::saveFileDialog = askSaveFileName;
const QString QPlot::pngFilter = QStringLiteral("PNG Image (*.png)");
const QString QPlot::asciiFilter = QStringLiteral("ASCII (*.txt)");

void QPlot::askAndSave()
{
    QString selected;
    QString name = saveFileDialog(this, tr("Save plot to file"), QString(),
        pngFilter + QStringLiteral(";;") + asciiFilter, &selected);
    if (name.isEmpty())
        return;
    const bool asText = selected == asciiFilter;
    // A name typed without a suffix gets the one of the chosen kind.
    if (QFileInfo(name).suffix().isEmpty())
        name += asText ? QStringLiteral(".txt") : QStringLiteral(".png");
    saveToFile(name, !asText);
}

bool QPlot::saveToFile(QString fileName, bool asImage)
{
    if (asImage) {
        QPixmap pixmap(size());
        render(&pixmap);
        return pixmap.save(fileName);
    }
    QFile file(fileName);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text))
        return false;
    QTextStream out(&file);
    out.setRealNumberPrecision(kTextPrecision);
    for (const QPlotLayer* layer : std::as_const(m_layers))
        for (const QPlotLine* line : layer->lines()) {
            for (const QPlotPoint& p : line->points)
                out << p.x << '\t';
            out << '\n';
            for (const QPlotPoint& p : line->points)
                out << p.y << '\t';
            out << '\n';
        }
    return true;
}
