// Draws the device icons, tool-bar icons, status images and the images of the small
// widgets into PNG files. Run it after changing a drawing; the PNGs it writes are
// committed under resources/.
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

// ---------------------------------------------------------------------------------------
// Tool-bar, status and widget images. Glyphs are drawn on a 16 by 16 grid (a 1-unit
// pen on .5 coordinates gives crisp lines at 16 pixels) and scaled for larger sizes.

namespace small {

const QColor kInk("#2d3440");
const QColor kBlue("#3d7fd1");
const QColor kLightBlue("#a9c9f2");
const QColor kGreen("#3f9f3f");
const QColor kRed("#d83a32");
const QColor kOrange("#f08c1e");
const QColor kYellow("#f2c14e");
const QColor kPaper("#fbfbfb");
const QColor kGray("#8d96a3");

QPen inkPen(qreal width = 1, const QColor& color = kInk)
{
    return QPen(color, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
}

void render(const QString& path, int size, const Glyph& glyph)
{
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    p.scale(size / 16.0, size / 16.0);
    glyph(p);
    p.end();
    if (!image.save(path, "PNG"))
        std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
}

void renderRect(const QString& path, QSize size, const std::function<void(QPainter&, QSize)>& draw)
{
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter p(&image);
    draw(p, size);
    p.end();
    if (!image.save(path, "PNG"))
        std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
}

void arrowHead(QPainter& p, QPointF tip, qreal angleDeg, qreal length, const QColor& color)
{
    const qreal a = qDegreesToRadians(angleDeg);
    const QPointF back(tip.x() - length * qCos(a), tip.y() - length * qSin(a));
    const QPointF side(-qSin(a) * length * 0.6, qCos(a) * length * 0.6);
    QPolygonF head;
    head << tip << back + side << back - side;
    p.setPen(inkPen(0.8, color.darker(150)));
    p.setBrush(color);
    p.drawPolygon(head);
}

void folderOpen(QPainter& p)
{
    QPainterPath back;
    back.moveTo(1.5, 13.5);
    back.lineTo(1.5, 3.5);
    back.lineTo(5.5, 3.5);
    back.lineTo(6.5, 4.5);
    back.lineTo(12.5, 4.5);
    back.lineTo(12.5, 13.5);
    back.closeSubpath();
    p.setPen(inkPen(1, QColor("#8a6412")));
    p.setBrush(QColor("#d9a53a"));
    p.drawPath(back);
    p.setBrush(kPaper);
    p.setPen(inkPen(0.8, kGray));
    p.drawRect(QRectF(3.5, 5.5, 8, 5));
    QPolygonF front;
    front << QPointF(1.5, 13.5) << QPointF(4, 7.5) << QPointF(15, 7.5) << QPointF(12.5, 13.5);
    p.setPen(inkPen(1, QColor("#8a6412")));
    p.setBrush(kYellow);
    p.drawPolygon(front);
}

void diskBlack(QPainter& p)
{
    QPainterPath body;
    body.moveTo(1.5, 1.5);
    body.lineTo(12.5, 1.5);
    body.lineTo(14.5, 3.5);
    body.lineTo(14.5, 14.5);
    body.lineTo(1.5, 14.5);
    body.closeSubpath();
    p.setPen(inkPen(1, QColor("#15181d")));
    p.setBrush(QColor("#39424e"));
    p.drawPath(body);
    p.setPen(Qt::NoPen);
    p.setBrush(QColor("#c8ced6"));
    p.drawRect(QRectF(4, 2, 7, 4.5));
    p.setBrush(QColor("#39424e"));
    p.drawRect(QRectF(8.5, 2.5, 1.5, 3));
    p.setBrush(kPaper);
    p.drawRect(QRectF(3.5, 8.5, 9, 5.5));
    p.setPen(inkPen(0.7, kGray));
    p.drawLine(QPointF(5, 10.5), QPointF(11, 10.5));
    p.drawLine(QPointF(5, 12.5), QPointF(11, 12.5));
}

void rotateClockwise(QPainter& p)
{
    p.setPen(QPen(kBlue, 2, Qt::SolidLine, Qt::FlatCap));
    p.setBrush(Qt::NoBrush);
    // An arc from the left round over the top to the right, clockwise on screen.
    p.drawArc(QRectF(2.5, 3.5, 11, 11), 200 * 16, -250 * 16);
    arrowHead(p, QPointF(11, 14), 125, 4.5, kBlue);
}

void grid(QPainter& p)
{
    p.setPen(inkPen(1));
    p.setBrush(kPaper);
    p.drawRect(QRectF(1.5, 1.5, 13, 13));
    p.setPen(QPen(kGray, 1));
    for (qreal v : {4.75, 8.0, 11.25}) {
        p.drawLine(QPointF(v, 2), QPointF(v, 14));
        p.drawLine(QPointF(2, v), QPointF(14, v));
    }
    p.setPen(inkPen(1));
    p.setBrush(Qt::NoBrush);
    p.drawRect(QRectF(1.5, 1.5, 13, 13));
}

void splitTile(QPainter& p)
{
    p.setPen(inkPen(1));
    p.setBrush(kPaper);
    p.drawRect(QRectF(0.5, 1.5, 15, 13));
    p.setPen(Qt::NoPen);
    p.setBrush(kBlue);
    p.drawRect(QRectF(1, 2, 14, 2.5));
    const QColor tiles[]
        = {QColor("#8fb8ea"), QColor("#b6d3f5"), QColor("#b6d3f5"), QColor("#8fb8ea")};
    int i = 0;
    for (int row = 0; row < 2; ++row)
        for (int col = 0; col < 2; ++col) {
            p.setBrush(tiles[i++]);
            p.setPen(inkPen(0.8, QColor("#4a6c96")));
            p.drawRect(QRectF(2.5 + col * 6, 5.5 + row * 4.5, 5, 3.5));
        }
}

void rangeWarning(QPainter& p, bool over)
{
    // A grey colour bar, dark at the bottom and light at the top, with the out-of-range
    // end marked in its warning colour.
    QLinearGradient g(0, 14, 0, 2);
    g.setColorAt(0, Qt::black);
    g.setColorAt(1, Qt::white);
    p.setPen(inkPen(1));
    p.setBrush(g);
    p.drawRect(QRectF(2.5, 1.5, 5, 13));
    const QColor mark = over ? kRed : QColor("#2fbf2f");
    p.setPen(Qt::NoPen);
    p.setBrush(mark);
    p.drawRect(over ? QRectF(3, 2, 4, 3.5) : QRectF(3, 10.5, 4, 3.5));
    const qreal tipY = over ? 2.5 : 13.5;
    QPolygonF tri;
    if (over)
        tri << QPointF(12, tipY) << QPointF(15.5, tipY + 5) << QPointF(8.5, tipY + 5);
    else
        tri << QPointF(12, tipY) << QPointF(15.5, tipY - 5) << QPointF(8.5, tipY - 5);
    p.setPen(inkPen(0.8, mark.darker(160)));
    p.setBrush(mark);
    p.drawPolygon(tri);
}

void colorSwatch(QPainter& p, const QList<QColor>& stops)
{
    QLinearGradient g(1.5, 14.5, 14.5, 1.5);
    for (int i = 0; i < stops.size(); ++i)
        g.setColorAt(stops.size() == 1 ? 0 : qreal(i) / (stops.size() - 1), stops[i]);
    p.setPen(inkPen(1));
    p.setBrush(g);
    p.drawRoundedRect(QRectF(1.5, 1.5, 13, 13), 2, 2);
}

void palette(QPainter& p)
{
    QPainterPath board;
    board.addEllipse(QRectF(0.5, 2, 15, 12));
    board.addEllipse(QRectF(9.2, 9, 3, 3));
    board.setFillRule(Qt::OddEvenFill);
    p.setPen(inkPen(1, QColor("#7a5a2a")));
    p.setBrush(QColor("#f3dfb4"));
    p.drawPath(board);
    const std::pair<QPointF, QColor> dots[] = {{QPointF(4, 6.5), kRed},
        {QPointF(7.5, 4.8), kYellow}, {QPointF(11.3, 5.6), kGreen}, {QPointF(4.8, 10.4), kBlue}};
    p.setPen(Qt::NoPen);
    for (const auto& d : dots) {
        p.setBrush(d.second);
        p.drawEllipse(d.first, 1.8, 1.8);
    }
}

void horizontalArrow(QPainter& p, bool right)
{
    QPolygonF a;
    a << QPointF(1.5, 6) << QPointF(8, 6) << QPointF(8, 2.5) << QPointF(14.5, 8) << QPointF(8, 13.5)
      << QPointF(8, 10) << QPointF(1.5, 10);
    if (!right)
        for (QPointF& pt : a)
            pt.setX(16 - pt.x());
    p.setPen(inkPen(1, QColor("#1f5a9e")));
    QLinearGradient g(0, 2, 0, 14);
    g.setColorAt(0, QColor("#7fb2ee"));
    g.setColorAt(1, kBlue);
    p.setBrush(g);
    p.drawPolygon(a);
}

void autoUpdate(QPainter& p)
{
    p.setBrush(Qt::NoBrush);
    p.setPen(QPen(kGreen, 2, Qt::SolidLine, Qt::FlatCap));
    p.drawArc(QRectF(2.5, 2.5, 11, 11), 100 * 16, 150 * 16);
    p.drawArc(QRectF(2.5, 2.5, 11, 11), 280 * 16, 150 * 16);
    arrowHead(p, QPointF(5.2, 14.2), 10, 4.2, kGreen);
    arrowHead(p, QPointF(10.8, 1.8), 190, 4.2, kGreen);
}

void pixelGrid(QPainter& p, const std::function<QColor(int, int)>& cell, QRectF area)
{
    const int n = 3;
    const qreal s = area.width() / n;
    for (int row = 0; row < n; ++row)
        for (int col = 0; col < n; ++col) {
            p.setPen(inkPen(1));
            p.setBrush(cell(col, row));
            p.drawRect(QRectF(area.left() + col * s, area.top() + row * s, s, s));
        }
}

QRectF gridArea()
{
    return QRectF(1.5, 1.5, 12, 12);
}

void pencil(QPainter& p)
{
    p.save();
    p.translate(11.5, 8.5);
    p.rotate(45);
    p.setPen(inkPen(0.8));
    p.setBrush(kOrange);
    p.drawRect(QRectF(-1.7, -6, 3.4, 8));
    p.setBrush(QColor("#f0d2a0"));
    QPolygonF tip;
    tip << QPointF(-1.7, 2) << QPointF(1.7, 2) << QPointF(0, 5.2);
    p.drawPolygon(tip);
    p.setBrush(kRed);
    p.drawRect(QRectF(-1.7, -7.5, 3.4, 1.5));
    p.restore();
}

void pixCfgEdit(QPainter& p)
{
    pixelGrid(
        p, [](int c, int r) { return (c + r) % 2 ? kPaper : kLightBlue; },
        QRectF(0.5, 0.5, 10.5, 10.5));
    pencil(p);
}

void windows(QPainter& p, bool sidebar)
{
    auto window = [&](QRectF r) {
        p.setPen(inkPen(1));
        p.setBrush(kPaper);
        p.drawRect(r);
        p.setPen(Qt::NoPen);
        p.setBrush(kBlue);
        p.drawRect(QRectF(r.left() + 0.5, r.top() + 0.5, r.width() - 1, 2.5));
    };
    if (sidebar) {
        window(QRectF(0.5, 1.5, 15, 13));
        p.setPen(inkPen(1));
        p.setBrush(kLightBlue);
        p.drawRect(QRectF(0.5, 4.5, 5, 10));
    } else {
        window(QRectF(5.5, 1.5, 10, 8));
        window(QRectF(0.5, 6.5, 10, 8));
    }
}

void python(QPainter& p)
{
    // Two interlocking rounded hooks, blue and yellow, each with an eye.
    auto hook = [&](const QColor& fill, bool flip) {
        p.save();
        if (flip) {
            p.translate(16, 16);
            p.rotate(180);
        }
        QPainterPath path;
        path.moveTo(8, 1);
        path.cubicTo(4, 1, 3.5, 2, 3.5, 4);
        path.lineTo(3.5, 7.5);
        path.lineTo(1.5, 7.5);
        path.cubicTo(0.8, 8.5, 0.8, 10.5, 1.5, 11.5);
        path.lineTo(3.5, 11.5);
        path.cubicTo(3.5, 9, 4.5, 8.5, 6, 8.5);
        path.lineTo(10, 8.5);
        path.cubicTo(11.5, 8.5, 12, 7.5, 12, 6.5);
        path.lineTo(12, 3.5);
        path.cubicTo(12, 1.5, 10.5, 1, 8, 1);
        path.closeSubpath();
        p.setPen(inkPen(0.8, fill.darker(170)));
        p.setBrush(fill);
        p.drawPath(path);
        p.setPen(Qt::NoPen);
        p.setBrush(Qt::white);
        p.drawEllipse(QPointF(6, 3.2), 0.9, 0.9);
        p.restore();
    };
    hook(QColor("#3a6fb0"), false);
    hook(QColor("#f2c230"), true);
}

void broom(QPainter& p)
{
    p.setPen(QPen(QColor("#7a4a1e"), 1.6, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(QPointF(14.5, 1.5), QPointF(7.5, 8.5));
    p.save();
    p.translate(6.5, 9.5);
    p.rotate(45);
    QPainterPath head;
    head.moveTo(-2, -1.5);
    head.lineTo(2, -1.5);
    head.lineTo(4.5, 6.5);
    head.lineTo(-4.5, 6.5);
    head.closeSubpath();
    p.setPen(inkPen(0.8, QColor("#9a7410")));
    p.setBrush(kYellow);
    p.drawPath(head);
    p.setPen(QPen(QColor("#b88a1a"), 0.6));
    for (qreal x : {-2.0, 0.0, 2.0})
        p.drawLine(QPointF(x * 0.6, 0), QPointF(x * 1.4, 6));
    p.setPen(inkPen(0.8));
    p.setBrush(kRed);
    p.drawRect(QRectF(-2.4, -2.6, 4.8, 1.6));
    p.restore();
}

void gearGlyph(QPainter& p, QPointF centre, qreal outer, const QColor& fill)
{
    QPainterPath path;
    const int teeth = 8;
    const qreal inner = outer * 0.72;
    for (int i = 0; i < teeth * 4; ++i) {
        const qreal a = 2 * M_PI * i / (teeth * 4);
        const qreal r = (i % 4 == 0 || i % 4 == 1) ? outer : inner;
        const QPointF pt(centre.x() + r * qCos(a), centre.y() + r * qSin(a));
        if (i == 0)
            path.moveTo(pt);
        else
            path.lineTo(pt);
    }
    path.closeSubpath();
    path.addEllipse(centre, outer * 0.3, outer * 0.3);
    path.setFillRule(Qt::OddEvenFill);
    p.setPen(inkPen(0.9, fill.darker(200)));
    p.setBrush(fill);
    p.drawPath(path);
}

void gearIcon(QPainter& p)
{
    gearGlyph(p, QPointF(8, 8), 7.2, QColor("#9aa3ae"));
}

void wrenchScrewdriver(QPainter& p)
{
    // Screwdriver from bottom-left to top-right.
    p.save();
    p.translate(8, 8);
    p.rotate(45);
    p.setPen(inkPen(0.8));
    p.setBrush(QColor("#c9ced5"));
    p.drawRect(QRectF(-0.8, -7.5, 1.6, 8));
    p.setBrush(kRed);
    p.drawRoundedRect(QRectF(-1.8, 0.5, 3.6, 7), 1, 1);
    p.restore();
    // Wrench from top-left to bottom-right.
    p.save();
    p.translate(8, 8);
    p.rotate(-45);
    QPainterPath w;
    w.addRoundedRect(QRectF(-1.2, -4, 2.4, 11), 1, 1);
    QPainterPath jaw;
    jaw.addEllipse(QPointF(0, -5), 3.2, 3.2);
    QPainterPath slot;
    slot.addRect(QRectF(-1.1, -9, 2.2, 4.5));
    QPainterPath shape = w.united(jaw).subtracted(slot);
    p.setPen(inkPen(0.8));
    p.setBrush(QColor("#8d96a3"));
    p.drawPath(shape);
    p.restore();
}

void startGlyph(QPainter& p)
{
    QRadialGradient g(QPointF(6, 5), 10);
    g.setColorAt(0, QColor("#7fdc6f"));
    g.setColorAt(1, kGreen);
    p.setPen(inkPen(1, kGreen.darker(170)));
    p.setBrush(g);
    p.drawEllipse(QRectF(1, 1, 14, 14));
    QPolygonF tri;
    tri << QPointF(6, 4.5) << QPointF(11.5, 8) << QPointF(6, 11.5);
    p.setPen(Qt::NoPen);
    p.setBrush(Qt::white);
    p.drawPolygon(tri);
}

void stopGlyph(QPainter& p)
{
    QRadialGradient g(QPointF(6, 5), 10);
    g.setColorAt(0, QColor("#f47a70"));
    g.setColorAt(1, kRed);
    p.setPen(inkPen(1, kRed.darker(170)));
    p.setBrush(g);
    p.drawEllipse(QRectF(1, 1, 14, 14));
    p.setPen(Qt::NoPen);
    p.setBrush(Qt::white);
    p.drawRect(QRectF(5, 5, 6, 6));
}

void logo(QPainter& p)
{
    // The program's mark: a white ring around a two-by-two pixel matrix.
    QLinearGradient g(0, 0, 0, 16);
    g.setColorAt(0, QColor("#2f7fcf"));
    g.setColorAt(1, QColor("#1b4f8f"));
    p.setPen(Qt::NoPen);
    p.setBrush(g);
    p.drawRoundedRect(QRectF(0, 0, 16, 16), 3.2, 3.2);
    p.setPen(QPen(Qt::white, 1.6));
    p.setBrush(Qt::NoBrush);
    p.drawEllipse(QPointF(8, 8), 5.6, 5.6);
    p.setPen(Qt::NoPen);
    p.setBrush(Qt::white);
    for (int i = 0; i < 2; ++i)
        for (int j = 0; j < 2; ++j)
            p.drawRect(QRectF(5.6 + i * 2.6, 5.6 + j * 2.6, 2.2, 2.2));
}

// --- second tool bar: pixel configuration ---

void cursorGlyph(QPainter& p)
{
    QPolygonF a;
    a << QPointF(3.5, 1.5) << QPointF(3.5, 13.5) << QPointF(6.5, 10.5) << QPointF(8.7, 14.8)
      << QPointF(10.6, 13.9) << QPointF(8.5, 9.7) << QPointF(12.5, 9.7);
    p.setPen(inkPen(1));
    p.setBrush(Qt::white);
    p.drawPolygon(a);
}

QColor masked()
{
    return kRed;
}

void maskPattern(QPainter& p, const std::function<bool(int, int)>& isMasked)
{
    pixelGrid(
        p, [&](int c, int r) { return isMasked(c, r) ? masked() : kPaper; }, gridArea());
}

void minusBadge(QPainter& p)
{
    p.setPen(inkPen(0.8, kGreen.darker(170)));
    p.setBrush(kGreen);
    p.drawEllipse(QPointF(12, 12), 3.5, 3.5);
    p.setPen(QPen(Qt::white, 1.4, Qt::SolidLine, Qt::FlatCap));
    p.drawLine(QPointF(10, 12), QPointF(14, 12));
}

// A funnel: the filters of a page.
void funnel(QPainter& p)
{
    QPainterPath path;
    path.moveTo(1.5, 2.0);
    path.lineTo(13.5, 2.0);
    path.lineTo(8.8, 7.8);
    path.lineTo(8.8, 13.5);
    path.lineTo(6.2, 12.0);
    path.lineTo(6.2, 7.8);
    path.closeSubpath();
    p.setPen(inkPen(0.9));
    p.setBrush(QColor("#4f86c6"));
    p.drawPath(path);
}

void plusBadge(QPainter& p)
{
    minusBadge(p);
    p.drawLine(QPointF(12, 10), QPointF(12, 14));
}

void selection(QPainter& p)
{
    QPen d(kInk, 1, Qt::CustomDashLine, Qt::FlatCap);
    d.setDashPattern({1.5, 1.5});
    p.setPen(d);
    p.setBrush(Qt::NoBrush);
    p.drawRect(QRectF(0.5, 0.5, 15, 15));
}

void selectionCells(QPainter& p, bool mask)
{
    selection(p);
    pixelGrid(
        p, [&](int, int) { return mask ? masked() : kPaper; }, QRectF(3.5, 3.5, 9, 9));
    if (!mask)
        minusBadge(p);
}

void pixCfgStg(QPainter& p)
{
    maskPattern(p, [](int c, int r) { return c == 1 && r == 1; });
    gearGlyph(p, QPointF(11.5, 11.5), 4.2, QColor("#9aa3ae"));
}

// Three count bars and a dashed level; the bar at `highlight` is coloured.
void bars(QPainter& p, int highlight, const QColor& color)
{
    const qreal heights[] = {5, 11, 8};
    for (int i = 0; i < 3; ++i) {
        const QRectF r(1.5 + i * 4.5, 14.5 - heights[i], 3.5, heights[i]);
        p.setPen(inkPen(0.8));
        p.setBrush(i == highlight ? color : QColor("#c8ced6"));
        p.drawRect(r);
    }
    QPen d(kInk, 0.9, Qt::CustomDashLine, Qt::FlatCap);
    d.setDashPattern({1.5, 1.2});
    p.setPen(d);
    p.drawLine(QPointF(0.5, 7.5), QPointF(15.5, 7.5));
}

void thresholdShift(QPainter& p, bool over)
{
    // Bars over (or under) the dashed level get their threshold moved: a blue bar and
    // an arrow pointing back to the level.
    bars(p, over ? 1 : 0, kBlue);
    const qreal x = over ? 7.75 : 3.25;
    const QPointF tip(x, over ? 8.5 : 6.5);
    p.setPen(QPen(Qt::white, 1.2, Qt::SolidLine, Qt::FlatCap));
    p.drawLine(QPointF(x, over ? 4.5 : 12.5), tip);
    QPolygonF head;
    if (over)
        head << QPointF(x, 11) << QPointF(x - 1.6, 8) << QPointF(x + 1.6, 8);
    else
        head << QPointF(x, 3.5) << QPointF(x - 1.6, 6.8) << QPointF(x + 1.6, 6.8);
    p.setPen(Qt::NoPen);
    p.setBrush(Qt::white);
    p.drawPolygon(head);
}

void resetBits(QPainter& p)
{
    maskPattern(p, [](int c, int r) { return (c + r) % 2 == 0; });
    // A round "undo" badge in the corner.
    p.setPen(inkPen(0.8));
    p.setBrush(Qt::white);
    p.drawEllipse(QPointF(11.5, 11.5), 4.2, 4.2);
    p.setPen(QPen(kOrange.darker(115), 1.4, Qt::SolidLine, Qt::FlatCap));
    p.setBrush(Qt::NoBrush);
    p.drawArc(QRectF(9.2, 9.2, 4.6, 4.6), 120 * 16, 270 * 16);
    arrowHead(p, QPointF(9.0, 11.6), 250, 2.6, kOrange);
}

// --- status images ---

void led(QPainter& p, const QColor& color)
{
    QRadialGradient g(QPointF(6.3, 5.6), 7.5);
    g.setColorAt(0, color.lighter(170));
    g.setColorAt(0.5, color);
    g.setColorAt(1, color.darker(150));
    p.setPen(inkPen(1, QColor(30, 30, 30)));
    p.setBrush(g);
    p.drawEllipse(QRectF(2, 2, 12, 12));
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(255, 255, 255, 170));
    p.drawEllipse(QRectF(4.5, 3.8, 4, 2.6));
}

void warningGlyph(QPainter& p)
{
    QPainterPath tri;
    tri.moveTo(8, 1);
    tri.lineTo(15.2, 14.3);
    tri.lineTo(0.8, 14.3);
    tri.closeSubpath();
    p.setPen(inkPen(1, QColor("#8a6000")));
    p.setBrush(QColor("#ffc928"));
    p.drawPath(tri);
    p.setPen(QPen(QColor("#2a2100"), 1.8, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(QPointF(8, 5.5), QPointF(8, 9.5));
    p.setPen(Qt::NoPen);
    p.setBrush(QColor("#2a2100"));
    p.drawEllipse(QPointF(8, 12), 1.05, 1.05);
}

void errorGlyph(QPainter& p)
{
    QRadialGradient g(QPointF(6, 5), 9);
    g.setColorAt(0, QColor("#f36a5e"));
    g.setColorAt(1, QColor("#c2261c"));
    p.setPen(inkPen(1, QColor("#6e1009")));
    p.setBrush(g);
    p.drawEllipse(QRectF(1, 1, 14, 14));
    p.setPen(QPen(Qt::white, 2, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(QPointF(5.3, 5.3), QPointF(10.7, 10.7));
    p.drawLine(QPointF(10.7, 5.3), QPointF(5.3, 10.7));
}

// --- images of the small widgets (border images for the dark status bar) ---

// A status-bar button: a dark tab of 19 pixels for the number, then a light body for
// the title. The outer 2 pixels are the border, so the image stretches cleanly with
// the border slices 2 2 2 19.
void panelButton(QPainter& p, QSize s, bool checked)
{
    const int w = s.width();
    const int h = s.height();
    QLinearGradient tab(0, 0, 0, h);
    tab.setColorAt(0, checked ? QColor("#4f8fd8") : QColor("#5a5a5a"));
    tab.setColorAt(1, checked ? QColor("#2d65a8") : QColor("#383838"));
    p.fillRect(QRect(0, 0, 19, h), tab);
    QLinearGradient body(0, 0, 0, h);
    body.setColorAt(0, checked ? QColor("#f4f4f4") : QColor("#c6c6c6"));
    body.setColorAt(1, checked ? QColor("#dcdcdc") : QColor("#a4a4a4"));
    p.fillRect(QRect(19, 0, w - 19, h), body);
    // Highlight along the top, separator between tab and body, dark frame.
    p.setPen(checked ? QColor(255, 255, 255, 200) : QColor(255, 255, 255, 90));
    p.drawLine(1, 1, w - 2, 1);
    p.setPen(QColor(0, 0, 0, 110));
    p.drawLine(18, 1, 18, h - 2);
    p.setPen(QColor("#262626"));
    p.drawRect(0, 0, w - 1, h - 1);
    if (checked) {
        // A pressed-in shadow under the top edge of the body.
        p.setPen(QColor(0, 0, 0, 40));
        p.drawLine(19, 2, w - 2, 2);
    }
}

void progressTrough(QPainter& p, QSize s)
{
    const int w = s.width();
    const int h = s.height();
    QLinearGradient g(0, 0, 0, h);
    g.setColorAt(0, QColor("#343434"));
    g.setColorAt(1, QColor("#474747"));
    p.fillRect(QRect(0, 0, w, h), g);
    p.setPen(QColor("#262626"));
    p.drawRect(0, 0, w - 1, h - 1);
    p.setPen(QColor(0, 0, 0, 70));
    p.drawLine(1, 1, w - 2, 1);
    p.setPen(QColor(255, 255, 255, 45));
    p.drawLine(1, h - 2, w - 2, h - 2);
}

void closeCross(QPainter& p)
{
    p.setPen(QPen(QColor("#d6d6d6"), 1.6, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(QPointF(4.5, 4.5), QPointF(11.5, 11.5));
    p.drawLine(QPointF(11.5, 4.5), QPointF(4.5, 11.5));
}

void disclosure(QPainter& p, bool down)
{
    QPolygonF tri;
    if (down)
        tri << QPointF(3.5, 5.5) << QPointF(12.5, 5.5) << QPointF(8, 11);
    else
        tri << QPointF(5.5, 3.5) << QPointF(11, 8) << QPointF(5.5, 12.5);
    p.setPen(inkPen(1, QColor(40, 40, 40, 200)));
    p.setBrush(Qt::white);
    p.drawPolygon(tri);
}

} // namespace small

void drawSmallImages(const QDir& root)
{
    using namespace small;
    for (const char* dir : {"toolbar", "toolbar2", "icons", "images", "qtshared"})
        root.mkpath(dir);
    const auto tb = [&](const QString& name) { return root.filePath("toolbar/" + name); };
    const auto tb2 = [&](const QString& name) { return root.filePath("toolbar2/" + name); };

    render(tb("folder_open.png"), 16, folderOpen);
    render(tb("disk_black.png"), 16, diskBlack);
    render(tb("rotata.png"), 16, rotateClockwise);
    render(tb("grid.png"), 16, grid);
    render(tb("application-split-tile.png"), 16, splitTile);
    render(tb("underwarn.png"), 16, [](QPainter& p) { rangeWarning(p, false); });
    render(tb("overwarn.png"), 16, [](QPainter& p) { rangeWarning(p, true); });
    render(tb("cm_gray.png"), 16, [](QPainter& p) { colorSwatch(p, {Qt::black, Qt::white}); });
    render(tb("cm_invgray.png"), 16, [](QPainter& p) { colorSwatch(p, {Qt::white, Qt::black}); });
    render(tb("cm_jet.png"), 16, [](QPainter& p) {
        colorSwatch(p,
            {QColor(0, 0, 130), QColor(0, 0, 255), QColor(0, 255, 255), QColor(255, 255, 0),
                QColor(255, 0, 0), QColor(130, 0, 0)});
    });
    render(tb("cm_hot.png"), 16, [](QPainter& p) {
        colorSwatch(p, {Qt::black, QColor(230, 0, 0), QColor(255, 210, 0), Qt::white});
    });
    render(tb("cm_cool.png"), 16, [](QPainter& p) {
        colorSwatch(p, {QColor(0, 255, 255), QColor(255, 0, 255)});
    });
    render(tb("cm_hsl.png"), 16, [](QPainter& p) {
        QList<QColor> hues;
        for (int h = 0; h <= 300; h += 60)
            hues << QColor::fromHsv(h, 230, 255);
        colorSwatch(p, hues);
    });
    render(tb("arrow_180.png"), 16, [](QPainter& p) { horizontalArrow(p, false); });
    render(tb("arrow.png"), 16, [](QPainter& p) { horizontalArrow(p, true); });
    render(tb("autoupdate.png"), 16, autoUpdate);
    render(tb("pixcfgedit.png"), 16, pixCfgEdit);
    render(tb("applications.png"), 16, [](QPainter& p) { windows(p, false); });
    render(tb("application-sidebar.png"), 16, [](QPainter& p) { windows(p, true); });
    render(tb("python.png"), 16, python);
    render(tb("broom.png"), 16, broom);
    render(tb("gear.png"), 16, gearIcon);
    render(tb("wrench-screwdriver.png"), 16, wrenchScrewdriver);
    render(tb("color.png"), 16, palette);
    render(tb("start.png"), 32, startGlyph);
    render(tb("stop.png"), 32, stopGlyph);
    render(tb("orvel.png"), 16, logo);

    render(tb2("cursor.png"), 16, cursorGlyph);
    render(tb2("maskpixel.png"), 16,
        [](QPainter& p) { maskPattern(p, [](int c, int r) { return c == 1 && r == 1; }); });
    render(tb2("maskcol.png"), 16,
        [](QPainter& p) { maskPattern(p, [](int c, int) { return c == 1; }); });
    render(tb2("maskrow.png"), 16,
        [](QPainter& p) { maskPattern(p, [](int, int r) { return r == 1; }); });
    render(tb2("mask.png"), 16, [](QPainter& p) { maskPattern(p, [](int, int) { return true; }); });
    render(tb2("unmask.png"), 16, [](QPainter& p) {
        maskPattern(p, [](int, int) { return false; });
        minusBadge(p);
    });
    render(tb2("maskselect.png"), 16, [](QPainter& p) { selectionCells(p, true); });
    render(tb2("unmaskselect.png"), 16, [](QPainter& p) { selectionCells(p, false); });
    render(tb2("pixcfgstg.png"), 16, pixCfgStg);
    render(tb2("maskover.png"), 16, [](QPainter& p) { bars(p, 1, masked()); });
    render(tb2("maskunder.png"), 16, [](QPainter& p) { bars(p, 0, masked()); });
    render(tb2("thlover.png"), 16, [](QPainter& p) { thresholdShift(p, true); });
    render(tb2("thlunder.png"), 16, [](QPainter& p) { thresholdShift(p, false); });
    render(tb2("reset.png"), 16, resetBits);
    render(tb2("filtergroupadd.png"), 16, [](QPainter& p) {
        funnel(p);
        plusBadge(p);
    });
    render(tb2("filtergroupremove.png"), 16, [](QPainter& p) {
        funnel(p);
        minusBadge(p);
    });

    for (int size : {16, 32, 48, 96, 256})
        render(root.filePath(QString("icons/Orvel_icon_white_%1x%1.png").arg(size)), size, logo);

    render(
        root.filePath("images/ledgreen.png"), 16, [](QPainter& p) { led(p, QColor("#35c435")); });
    render(
        root.filePath("images/ledyellow.png"), 16, [](QPainter& p) { led(p, QColor("#f2c418")); });
    render(root.filePath("images/ledred.png"), 16, [](QPainter& p) { led(p, QColor("#e2352a")); });
    render(root.filePath("images/warning.png"), 16, warningGlyph);
    render(root.filePath("images/error.png"), 16, errorGlyph);

    const auto qs = [&](const QString& name) { return root.filePath("qtshared/" + name); };
    renderRect(qs("panel_button.png"), QSize(40, 22),
        [](QPainter& p, QSize s) { panelButton(p, s, false); });
    renderRect(qs("panel_button_checked.png"), QSize(40, 22),
        [](QPainter& p, QSize s) { panelButton(p, s, true); });
    renderRect(qs("progressbar.png"), QSize(40, 22), progressTrough);
    render(qs("button_close.png"), 16, closeCross);
    render(qs("down.png"), 16, [](QPainter& p) { disclosure(p, true); });
    render(qs("right.png"), 16, [](QPainter& p) { disclosure(p, false); });
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

    drawSmallImages(root);
    std::printf("icons written to %s\n", qPrintable(root.absolutePath()));
    return 0;
}
