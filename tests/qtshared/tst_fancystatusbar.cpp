// The dark status bar and its numbered toggle buttons: one bottom panel at a time,
// badges, sizes and painting.
#include "qfancystatusbar.h"
#include "qfancytoolwindow.h"

#include <QHBoxLayout>
#include <QPixmap>
#include <QSignalSpy>
#include <QTest>
#include <QToolButton>
#include <QVBoxLayout>

namespace {

bool isWhite(QRgb c)
{
    return qRed(c) > 200 && qGreen(c) > 200 && qBlue(c) > 200;
}

bool isDark(QRgb c)
{
    return qRed(c) < 80 && qGreen(c) < 80 && qBlue(c) < 80;
}

// A window with three bottom panels above a status bar, as on a device page.
struct Page
{
    QWidget window;
    QFancyStatusBar* bar;
    QWidget* panels[3];

    Page()
    {
        auto* layout = new QVBoxLayout(&window);
        panels[0] = new QFancyToolWindow(new QWidget, "Messages", &window);
        panels[1] = new QWidget(&window);
        panels[2] = new QWidget(&window);
        for (QWidget* panel : panels) {
            layout->addWidget(panel);
            panel->hide();
        }
        bar = new QFancyStatusBar(&window);
        layout->addWidget(bar);
        bar->addButton(1, "Messages", panels[0]);
        bar->addButton(2, "DAC Panel", panels[1]);
        bar->addButton(3, "Third", panels[2]);
        window.resize(600, 400);
        window.show();
    }

    QFancyToggleButton* button(int i) const { return bar->buttons[i]; }
    void click(int i) const { QTest::mouseClick(button(i), Qt::LeftButton); }
};

} // namespace

class TstFancyStatusBar : public QObject
{
    Q_OBJECT

private slots:
    void imagesAreLinkedIntoPrograms()
    {
        for (const char* path :
            {":/qfancyprogressbar/progressbar.png", ":/qfancytogglebutton/panel_button.png",
                ":/qfancytogglebutton/panel_button_checked.png",
                ":/qfancytoolwindow/button_close.png", ":/qlabelwithicon/down.png",
                ":/qlabelwithicon/right.png"}) {
            QVERIFY2(!QPixmap(path).isNull(), path);
        }
    }

    void barPaintsDarkWithTwoTopLines()
    {
        QFancyStatusBar bar;
        QCOMPARE(bar.minimumHeight(), 25);
        QCOMPARE(bar.sizePolicy().horizontalPolicy(), QSizePolicy::Ignored);
        QCOMPARE(bar.sizePolicy().verticalPolicy(), QSizePolicy::Fixed);
        bar.resize(200, 25);
        const QImage image = bar.grab().toImage();
        for (int x : {0, 50, 150}) {
            QCOMPARE(QColor(image.pixel(x, 0)), QColor(44, 44, 44));
            QCOMPARE(QColor(image.pixel(x, 1)), QColor(117, 117, 117));
            QCOMPARE(QColor(image.pixel(x, 12)), QColor(75, 75, 75));
        }
    }

    void buttonsFollowTheListsAndClicksOpenPanels()
    {
        Page page;
        QCOMPARE(page.bar->buttons.size(), 3);
        QCOMPARE(page.bar->widgets.size(), 3);
        QCOMPARE(page.bar->widgets[1], page.panels[1]);
        QCOMPARE(page.button(0)->title, QString("Messages"));
        QCOMPARE(page.button(1)->numberText, QString("2"));
        QVERIFY(page.button(0)->isCheckable());
        QCOMPARE(page.button(0)->focusPolicy(), Qt::NoFocus);

        page.click(0);
        QVERIFY(page.button(0)->isChecked());
        QVERIFY(page.panels[0]->isVisible());

        // Opening another panel closes the open one.
        page.click(1);
        QVERIFY(page.button(1)->isChecked());
        QVERIFY(!page.button(0)->isChecked());
        QVERIFY(page.panels[1]->isVisible());
        QVERIFY(page.panels[0]->isHidden());
        QVERIFY(page.panels[2]->isHidden());

        // A second click closes it again.
        page.click(1);
        QVERIFY(!page.button(1)->isChecked());
        QVERIFY(page.panels[1]->isHidden());
    }

    void openingAPanelClosesTheOtherAndClearsItsBadge()
    {
        Page page;
        page.click(0);
        page.bar->setButtonBadgeNumber(2, 4);
        QCOMPARE(page.button(2)->getIconBadgeNumber(), 4);
        QVERIFY(!page.button(2)->badge->isHidden());
        QCOMPARE(page.button(2)->badge->text(), QString("4"));

        page.bar->openWidget(2);
        QVERIFY(page.button(2)->isChecked());
        QVERIFY(page.panels[2]->isVisible());
        QVERIFY(!page.button(0)->isChecked());
        QVERIFY(page.panels[0]->isHidden());
        QCOMPARE(page.button(2)->getIconBadgeNumber(), 0);
        QVERIFY(page.button(2)->badge->isHidden());
        QVERIFY(page.button(2)->badge->text().isEmpty());

        // A click on a button with a badge clears it as well.
        page.bar->setButtonBadgeNumber(1, 9);
        page.click(1);
        QCOMPARE(page.button(1)->getIconBadgeNumber(), 0);
        QVERIFY(page.panels[2]->isHidden());
    }

    void badgeIndexOutOfRangeIsIgnored()
    {
        Page page;
        page.bar->setButtonBadgeNumber(-1, 5);
        page.bar->setButtonBadgeNumber(3, 5);
        page.bar->openWidget(-1);
        page.bar->openWidget(3);
        for (int i = 0; i < 3; ++i) {
            QCOMPARE(page.button(i)->getIconBadgeNumber(), 0);
            QVERIFY(!page.button(i)->isChecked());
            QVERIFY(page.panels[i]->isHidden());
        }
    }

    void closingTheToolWindowUnchecksItsButton()
    {
        Page page;
        page.click(0);
        auto* window = static_cast<QFancyToolWindow*>(page.panels[0]);
        QSignalSpy closed(window, &QFancyToolWindow::closed);
        QTest::mouseClick(window->title->closeButton, Qt::LeftButton);
        QCOMPARE(closed.count(), 1);
        QVERIFY(window->isHidden());
        QVERIFY(!page.button(0)->isChecked());
        // And the button opens it again.
        page.click(0);
        QVERIFY(window->isVisible());
    }

    void widgetWithoutClosedSignalIsAccepted()
    {
        QFancyStatusBar bar;
        QWidget plain;
        bar.addButton(1, "Plain", &plain);
        bar.addButton(2, "None", nullptr);
        bar.openWidget(1);
        QVERIFY(bar.buttons[1]->isChecked());
        bar.openWidget(0);
        QVERIFY(!bar.buttons[1]->isChecked());
    }

    void badgeIsAtLeastAsWideAsHigh()
    {
        QFancyToggleButton button(1, "Messages");
        QVERIFY(button.badge->isHidden());
        QCOMPARE(button.badge->font().pixelSize(), 11);
        QVERIFY(button.badge->font().bold());

        button.setIconBadgeNumber(7);
        QCOMPARE(button.getIconBadgeNumber(), 7);
        QCOMPARE(button.badge->text(), QString("7"));
        // Never narrower than high, with an even difference so the text stays centred.
        const QSize one = button.badge->sizeHint();
        QVERIFY(one.width() >= one.height());
        QCOMPARE((one.width() - one.height()) % 2, 0);

        button.setIconBadgeNumber(12345);
        const QSize many = button.badge->sizeHint();
        QCOMPARE(many.height(), one.height());
        QVERIFY(many.width() > one.width());
        QCOMPARE((many.width() - many.height()) % 2, 0);

        button.setIconBadgeNumber(0);
        QVERIFY(button.badge->isHidden());
        QVERIFY(button.badge->text().isEmpty());
    }

    void badgeStyleFollowsTheCheckState()
    {
        QFancyToggleButton button(1, "Messages");
        button.setIconBadgeNumber(3);
        QVERIFY(button.badge->styleSheet().contains("#818181"));
        button.setChecked(true);
        QVERIFY(button.badge->styleSheet().contains("#e1e1e1"));
        QVERIFY(button.badge->styleSheet().contains("#606060"));
        button.setChecked(false);
        QVERIFY(button.badge->styleSheet().contains("#818181"));
    }

    void sizeHintIsTitlePlusMarginsPlusBadge()
    {
        QFancyToggleButton button(2, "DAC Panel");
        const QSize title = button.fontMetrics().size(Qt::TextSingleLine, "DAC Panel");
        QCOMPARE(button.sizeHint(), QSize(title.width() + 26, title.height() + 4));
        button.setIconBadgeNumber(42);
        QCOMPARE(button.sizeHint(),
            QSize(title.width() + 26 + button.badge->sizeHint().width(), title.height() + 4));
        button.setIconBadgeNumber(0);
        QCOMPARE(button.sizeHint(), QSize(title.width() + 26, title.height() + 4));
    }

    void badgeSitsAtTheRightEdge()
    {
        QFancyToggleButton button(1, "Messages");
        button.setIconBadgeNumber(5);
        button.resize(140, 22);
        button.show();
        QVERIFY(QTest::qWaitForWindowExposed(&button));
        QRect g = button.badge->geometry();
        QCOMPARE(g.right(), 140 - 3 - 1);
        // And it follows a wider number at once.
        button.setIconBadgeNumber(1234);
        g = button.badge->geometry();
        QCOMPARE(g.right(), 140 - 3 - 1);
        QCOMPARE(g.size(), button.badge->sizeHint());
        QVERIFY(qAbs(g.center().y() - 11) <= 1);
    }

    void numberIsWhiteAndTitleBlackWhenUnchecked()
    {
        QFancyToggleButton button(8, "Histogram");
        button.resize(120, 22);
        const QImage image = button.grab().toImage();
        int whiteInNumber = 0;
        int darkInTitle = 0;
        for (int y = 2; y < 20; ++y) {
            for (int x = 3; x < 17; ++x)
                whiteInNumber += isWhite(image.pixel(x, y));
            for (int x = 22; x < 110; ++x)
                darkInTitle += isDark(image.pixel(x, y));
        }
        QVERIFY(whiteInNumber > 5);
        QVERIFY(darkInTitle > 20);
        // The title starts at x 22: the number tab looks as with no title at all.
        QFancyToggleButton blank(8, QString());
        blank.resize(120, 22);
        const QImage blankImage = blank.grab().toImage();
        QCOMPARE(blankImage.copy(0, 0, 21, 22), image.copy(0, 0, 21, 22));
    }

    void longTitleIsElidedBeforeTheBadge()
    {
        QFancyToggleButton button(1, "A very long panel title that does not fit at all");
        button.setIconBadgeNumber(3);
        button.resize(110, 22);
        const QImage image = button.grab().toImage();
        const QRect badge = button.badge->geometry();
        int darkInGap = 0;
        int darkInTitle = 0;
        for (int y = 2; y < 20; ++y) {
            for (int x = badge.left() - 4; x < badge.left(); ++x)
                darkInGap += isDark(image.pixel(x, y));
            for (int x = 22; x < badge.left() - 4; ++x)
                darkInTitle += isDark(image.pixel(x, y));
        }
        QVERIFY(darkInTitle > 20);
        QCOMPARE(darkInGap, 0);
    }
};

QTEST_MAIN(TstFancyStatusBar)
#include "tst_fancystatusbar.moc"
