// The advanced image properties: the gamma slider drives the picture's gamma, and the
// normalisation check box the controller's normalisation by time.
#include "panelpage.h"
#include "pnlimagepropsadv.h"

#include <QCheckBox>
#include <QLabel>
#include <QSlider>
#include <QTest>

#include <qlabelwithicon.h>

using PluginDevControl::DevCtrlMpx;
using PluginDevControl::PnlImagePropsAdv;

namespace {

using AdvPage = paneltest::Page<PnlImagePropsAdv>;

struct Controls
{
    QLabelWithIcon* head;
    QWidget* body;
    QSlider* slGamma;
    QLabel* lGamma;
    QCheckBox* chbNormalize;
};

Controls controls(QWidget* panel)
{
    return {panel->findChild<QLabelWithIcon*>("lImageProps"),
        panel->findChild<QWidget*>("pnlImagePropsAdv"), panel->findChild<QSlider*>("slGamma"),
        panel->findChild<QLabel*>("lGamma"), panel->findChild<QCheckBox*>("chbNormalize")};
}

// The colour of the single pixel of the picture.
unsigned int shownColor(QMpxFrame& frame)
{
    return frame.image->getImage().pixel(0, 0);
}

} // namespace

class TstPnlImagePropsAdv : public QObject
{
    Q_OBJECT

private slots:
    void form()
    {
        AdvPage page;
        const Controls c = controls(page.panel.get());
        QVERIFY(c.head && c.body && c.slGamma && c.lGamma && c.chbNormalize);
        QCOMPARE(c.head->text(), QString(" Advanced Image Properties"));
        QCOMPARE(c.slGamma->minimum(), 0);
        QCOMPARE(c.slGamma->maximum(), 39);
        QCOMPARE(c.slGamma->value(), 19);
        QCOMPARE(c.lGamma->text(), QString("0"));
        QCOMPARE(c.chbNormalize->text(), QString("Normalize by time"));
        QVERIFY(!c.chbNormalize->isChecked());
        bool titled = false;
        for (QLabel* l : page.panel->findChildren<QLabel*>())
            titled = titled || l->text() == "Gamma";
        QVERIFY(titled);
        QCOMPARE(page.frame.image->gamma, 0.0);
    }

    void headCollapsesBody()
    {
        AdvPage page;
        const Controls c = controls(page.panel.get());
        page.panel->show();
        QTest::mouseClick(c.head, Qt::LeftButton, {}, QPoint(2, 2));
        QVERIFY(!c.body->isVisible());
        QTest::mouseClick(c.head, Qt::LeftButton, {}, QPoint(2, 2));
        QVERIFY(c.body->isVisible());
    }

    // The slider covers -19 to 20 with 0 in the middle.
    void gammaFollowsSlider()
    {
        AdvPage page;
        const Controls c = controls(page.panel.get());
        page.panel->show();
        QVERIFY(QTest::qWaitForWindowActive(page.panel.get()));
        c.slGamma->setFocus();
        QTest::keyClick(c.slGamma, Qt::Key_Right);
        QCOMPARE(c.lGamma->text(), QString("1"));
        QCOMPARE(page.frame.image->gamma, 1.0);
        QTest::keyClick(c.slGamma, Qt::Key_Home);
        QCOMPARE(c.lGamma->text(), QString("-19"));
        QCOMPARE(page.frame.image->gamma, -19.0);
        QTest::keyClick(c.slGamma, Qt::Key_End);
        QCOMPARE(c.lGamma->text(), QString("20"));
        QCOMPARE(page.frame.image->gamma, 20.0);
    }

    // Edge case: the slider at 19 gives gamma 0, the linear loop, which rounds the
    // table index; at 18 (gamma -1, the same curve) the index is truncated.
    void middleIsLinear()
    {
        AdvPage page;
        const Controls c = controls(page.panel.get());
        double pixel = 0.6;
        page.frame.setData(&pixel, 1, 1);
        ColorMap* map = page.frame.image->getColorMap();
        const unsigned int top = map->getCount() - 1;
        QVERIFY(map->getColors()[0] != map->getColors()[1]);
        page.frame.setRange(0.0, double(top)); // one value per table entry
        QCOMPARE(shownColor(page.frame), map->getColors()[1]);
        page.panel->show();
        QVERIFY(QTest::qWaitForWindowActive(page.panel.get()));
        c.slGamma->setFocus();
        QTest::keyClick(c.slGamma, Qt::Key_Left);
        QCOMPARE(page.frame.image->gamma, -1.0);
        QCOMPARE(shownColor(page.frame), map->getColors()[0]);
        QTest::keyClick(c.slGamma, Qt::Key_Right);
        QCOMPARE(c.slGamma->value(), 19);
        QCOMPARE(page.frame.image->gamma, 0.0);
        QCOMPARE(shownColor(page.frame), map->getColors()[1]);
    }

    void normalizeReachesController()
    {
        AdvPage page;
        const Controls c = controls(page.panel.get());
        page.panel->show();
        QTest::mouseClick(
            c.chbNormalize, Qt::LeftButton, {}, QPoint(4, c.chbNormalize->height() / 2));
        QVERIFY(page.ctrl->isNormalizedByTime());
        QTest::mouseClick(
            c.chbNormalize, Qt::LeftButton, {}, QPoint(4, c.chbNormalize->height() / 2));
        QVERIFY(!page.ctrl->isNormalizedByTime());
    }

    void startsCheckedWhenNormalized()
    {
        testdev::NullDevMpx2 dev;
        QMpxFrame frame;
        DevCtrlMpx ctrl(nullptr, &dev, &frame, nullptr);
        ctrl.normalizeByTime(true);
        PnlImagePropsAdv panel(nullptr, &frame, &ctrl);
        QVERIFY(controls(&panel).chbNormalize->isChecked());
    }
};

QTEST_MAIN(TstPnlImagePropsAdv)
#include "tst_pnlimagepropsadv.moc"
