#include "tpx3hitdesc.h"

#include "inifile.h"
#include "tpx3hitfile.h"

#include <QFileInfo>

namespace sim {

namespace {

const QString kFile = QStringLiteral("File");

int failWith(std::string* error, const std::string& text)
{
    if (error)
        *error = text;
    return -1;
}

} // namespace

int writeTpx3HitDescription(
    const std::string& dataPath, const Tpx3HitSummary& summary, std::string* error)
{
    const char* ending = tpx3HitFormatEnding(summary.format);
    if (!ending)
        return failWith(error, dataPath + ": unknown Timepix3 hit format");
    ini::Values values;
    QMap<QString, QString>& file = values[kFile];
    file[QStringLiteral("Format")] = QStringLiteral("1");
    file[QStringLiteral("Data")] = QFileInfo(QString::fromStdString(dataPath)).fileName();
    file[QStringLiteral("Form")] = QString::fromLatin1(ending);
    file[QStringLiteral("Hits")] = QString::number(summary.hits);
    file[QStringLiteral("Width")] = QString::number(summary.width);
    file[QStringLiteral("Height")] = QString::number(summary.height);
    QString why;
    if (!ini::writeFile(QString::fromStdString(dataPath + ".dsc"), values, &why))
        return failWith(error, dataPath + ".dsc: " + why.toStdString());
    return 0;
}

int checkTpx3HitDescription(
    const std::string& dscPath, const Tpx3HitSummary& found, std::string* error)
{
    ini::Values values;
    const ini::ReadResult read = ini::readFile(QString::fromStdString(dscPath), values);
    if (read.status != ini::Status::Ok)
        return failWith(error, dscPath + ": " + read.message.toStdString());
    const QMap<QString, QString> file = values.value(kFile);
    auto number = [&file](const char* key, uint64_t* out) {
        bool ok = false;
        *out = file.value(QString::fromLatin1(key)).toULongLong(&ok);
        return ok;
    };
    uint64_t format = 0;
    uint64_t hits = 0;
    uint64_t width = 0;
    uint64_t height = 0;
    if (!number("Format", &format) || format != 1)
        return failWith(error, dscPath + ": not a pixel data description of format 1");
    if (file.value(QStringLiteral("Form"))
        != QString::fromLatin1(tpx3HitFormatEnding(found.format)))
        return failWith(error,
            dscPath + ": describes a " + file.value(QStringLiteral("Form")).toStdString()
                + " file, its data file is " + tpx3HitFormatEnding(found.format));
    if (!number("Hits", &hits) || !number("Width", &width) || !number("Height", &height))
        return failWith(error, dscPath + ": Hits, Width or Height missing or not a number");
    if (hits != found.hits || width != found.width || height != found.height)
        return failWith(error,
            dscPath + ": describes " + std::to_string(hits) + " hits on " + std::to_string(width)
                + " x " + std::to_string(height) + ", its data file holds "
                + std::to_string(found.hits) + " on " + std::to_string(found.width) + " x "
                + std::to_string(found.height));
    return 0;
}

} // namespace sim
