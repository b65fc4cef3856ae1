// Draws the device icons and tool-bar icons of the plug-in into PNG files. Run it
// after changing a drawing; the PNGs it writes are committed under resources/.
//
//   iconmaker <resources folder>
#include <QDir>
#include <QGuiApplication>
#include <QPainter>
#include <QPainterPath>
#include <QtMath>

#include <cstdio>
#include <functional>

namespace {

constexpr int kSize = 64;

using Glyph = std::function<void(QPainter&)>;

QPen pen(qreal width)
{
    return QPen(Qt::white, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
}

void chip(QPainter& p, QRectF r)
{
    p.setPen(pen(2.5));
    p.setBrush(Qt::NoBrush);
    p.drawRoundedRect(r, 2, 2);
    const int pins = 3;
    for (int i = 1; i <= pins; ++i) {
        const qreal t = r.left() + r.width() * i / (pins + 1);
        const qreal s = r.top() + r.height() * i / (pins + 1);
        p.drawLine(QPointF(t, r.top() - 5), QPointF(t, r.top()));
        p.drawLine(QPointF(t, r.bottom()), QPointF(t, r.bottom() + 5));
        p.drawLine(QPointF(r.left() - 5, s), QPointF(r.left(), s));
        p.drawLine(QPointF(r.right(), s), QPointF(r.right() + 5, s));
    }
}

void text(QPainter& p, const QString& t, int pixelSize, QRectF r = QRectF(0, 0, kSize, kSize))
{
    QFont f("DejaVu Sans");
    f.setBold(true);
    f.setPixelSize(pixelSize);
    p.setFont(f);
    p.setPen(Qt::white);
    p.drawText(r, Qt::AlignCenter, t);
}

void quad(QPainter& p)
{
    p.setPen(pen(2.5));
    p.setBrush(QColor(255, 255, 255, 60));
    for (int i = 0; i < 2; ++i)
        for (int j = 0; j < 2; ++j)
            p.drawRect(QRectF(13 + i * 20, 13 + j * 20, 17, 17));
}

void singleChip(QPainter& p)
{
    chip(p, QRectF(20, 20, 24, 24));
}

void chipWithText(QPainter& p, const QString& t)
{
    chip(p, QRectF(17, 17, 30, 30));
    text(p, t, 18, QRectF(17, 17, 30, 30));
}

void dashed(QPainter& p)
{
    QPen d = pen(3);
    d.setStyle(Qt::DashLine);
    p.setPen(d);
    p.setBrush(Qt::NoBrush);
    p.drawRoundedRect(QRectF(14, 14, 36, 36), 4, 4);
    text(p, "?", 22);
}

void usbTrident(QPainter& p)
{
    p.setPen(pen(3));
    p.setBrush(Qt::white);
    p.drawLine(QPointF(32, 12), QPointF(32, 50));
    p.drawEllipse(QPointF(32, 52), 4, 4);
    p.drawLine(QPointF(32, 38), QPointF(20, 28));
    p.drawLine(QPointF(20, 28), QPointF(20, 22));
    p.drawEllipse(QPointF(20, 20), 3, 3);
    p.drawLine(QPointF(32, 32), QPointF(44, 24));
    p.drawRect(QRectF(41, 17, 6, 6));
    QPainterPath arrow;
    arrow.moveTo(32, 6);
    arrow.lineTo(27, 14);
    arrow.lineTo(37, 14);
    arrow.closeSubpath();
    p.drawPath(arrow);
}

void hexagon(QPainter& p)
{
    QPolygonF poly;
    for (int i = 0; i < 6; ++i) {
        const qreal a = qDegreesToRadians(60.0 * i + 30);
        poly << QPointF(32 + 21 * qCos(a), 32 + 21 * qSin(a));
    }
    p.setPen(pen(3));
    p.setBrush(QColor(255, 255, 255, 50));
    p.drawPolygon(poly);
    text(p, "3", 20);
}

void stacked(QPainter& p)
{
    p.setPen(pen(2.5));
    for (int i = 2; i >= 0; --i) {
        p.setBrush(QColor(255, 255, 255, 70 + 50 * (2 - i)));
        p.drawRect(QRectF(12 + i * 7, 12 + i * 7, 26, 26));
    }
}

void gear(QPainter& p)
{
    QPainterPath path;
    const int teeth = 8;
    for (int i = 0; i < teeth * 2; ++i) {
        const qreal a = M_PI * i / teeth;
        const qreal r = (i % 2) ? 16 : 22;
        const QPointF pt(32 + r * qCos(a), 32 + r * qSin(a));
        if (i == 0)
            path.moveTo(pt);
        else
            path.lineTo(pt);
    }
    path.closeSubpath();
    path.addEllipse(QPointF(32, 32), 7, 7);
    p.setPen(Qt::NoPen);
    p.setBrush(Qt::white);
    p.setRenderHint(QPainter::Antialiasing);
    p.drawPath(path);
}

void xrayTube(QPainter& p)
{
    p.setPen(pen(2.5));
    p.setBrush(QColor(255, 255, 255, 60));
    p.drawEllipse(QRectF(10, 18, 30, 18));
    p.drawLine(QPointF(10, 27), QPointF(4, 27));
    p.drawLine(QPointF(40, 27), QPointF(46, 27));
    for (int i = 0; i < 3; ++i) {
        const qreal y = 40 + i * 0;
        p.drawLine(QPointF(24 + i * 8, y), QPointF(30 + i * 10, 58));
    }
    text(p, "X", 14, QRectF(10, 18, 30, 18));
}

void bolt(QPainter& p)
{
    QPolygonF poly;
    poly << QPointF(36, 6) << QPointF(16, 36) << QPointF(30, 36) << QPointF(24, 58)
         << QPointF(48, 26) << QPointF(34, 26) << QPointF(42, 6);
    p.setPen(pen(1.5));
    p.setBrush(QColor(255, 230, 80));
    p.drawPolygon(poly);
}

void letterInShape(QPainter& p, const QString& letter, int shape)
{
    p.setPen(pen(3));
    p.setBrush(QColor(255, 255, 255, 50));
    if (shape == 0) {
        p.drawEllipse(QPointF(32, 32), 21, 21);
    } else if (shape == 1) {
        QPolygonF d;
        d << QPointF(32, 8) << QPointF(56, 32) << QPointF(32, 56) << QPointF(8, 32);
        p.drawPolygon(d);
    } else {
        QPolygonF t;
        t << QPointF(32, 8) << QPointF(57, 52) << QPointF(7, 52);
        p.drawPolygon(t);
    }
    text(p, letter, 20, QRectF(0, shape == 2 ? 8 : 0, kSize, kSize));
}

void unknown(QPainter& p)
{
    p.setPen(pen(3));
    p.setBrush(Qt::NoBrush);
    p.drawEllipse(QPointF(32, 32), 21, 21);
    text(p, "?", 30);
}

void drawIcon(const QString& path, const QColor& background, const Glyph& glyph)
{
    QImage image(kSize, kSize, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(Qt::NoPen);
    p.setBrush(background);
    p.drawRoundedRect(QRectF(1, 1, kSize - 2, kSize - 2), 12, 12);
    glyph(p);
    p.end();
    if (!image.save(path, "PNG"))
        std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
}

void windows(QPainter& p, bool sidebar)
{
    p.setPen(pen(2.5));
    p.setBrush(QColor(255, 255, 255, 40));
    if (sidebar) {
        p.drawRect(QRectF(10, 14, 44, 36));
        p.setBrush(Qt::white);
        p.drawRect(QRectF(10, 14, 12, 36));
    } else {
        p.drawRect(QRectF(8, 20, 30, 26));
        p.drawRect(QRectF(24, 10, 32, 26));
    }
}

} // namespace

int main(int argc, char** argv)
{
    QGuiApplication app(argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "usage: iconmaker <resources folder>\n");
        return 2;
    }
    const QDir root(QString::fromLocal8Bit(argv[1]));
    root.mkpath("images");
    root.mkpath("toolbar");
    const auto img
        = [&](const char* name) { return root.filePath(QString("images/%1.png").arg(name)); };

    drawIcon(img("kalbar"), QColor("#2f6db5"), quad);
    drawIcon(img("tornel"), QColor("#188a7a"), singleChip);
    drawIcon(img("dummy"), QColor("#7a7f87"), dashed);
    drawIcon(img("usb"), QColor("#3b4aa8"), usbTrident);
    drawIcon(img("sparrel"), QColor("#c0562a"), hexagon);
    drawIcon(img("hanvik"), QColor("#7b3fa0"), [](QPainter& p) { chipWithText(p, "3"); });
    drawIcon(img("zoltin"), QColor("#2b8a3e"), [](QPainter& p) { chipWithText(p, "2"); });
    drawIcon(img("composite"), QColor("#a0782a"), stacked);
    drawIcon(img("motors"), QColor("#596270"), gear);
    drawIcon(img("xray"), QColor("#a82835"), xrayTube);
    drawIcon(img("hv"), QColor("#303640"), bolt);
    drawIcon(img("vorn"), QColor("#1f7fa8"), [](QPainter& p) { letterInShape(p, "V", 0); });
    drawIcon(img("brevik"), QColor("#8a5a2b"), [](QPainter& p) { letterInShape(p, "B", 1); });
    drawIcon(img("morlan"), QColor("#5a7a1f"), [](QPainter& p) { letterInShape(p, "M", 2); });
    drawIcon(img("unknown"), QColor("#9a9a9a"), unknown);

    const QColor bar("#4a5568");
    drawIcon(
        root.filePath("toolbar/applications.png"), bar, [](QPainter& p) { windows(p, false); });
    drawIcon(root.filePath("toolbar/application-sidebar.png"), bar,
        [](QPainter& p) { windows(p, true); });
    std::printf("icons written to %s\n", qPrintable(root.absolutePath()));
    return 0;
}
