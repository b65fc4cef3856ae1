#include "widgetcommands.h"

#include "scriptrunner.h"

#include <QAbstractButton>
#include <QApplication>
#include <QComboBox>
#include <QListWidget>
#include <QTabBar>
#include <QWidget>

namespace sim {

namespace {

// The first control of that object name that is on screen, or null.
QWidget* visibleControl(const QString& name)
{
    for (QWidget* top : QApplication::topLevelWidgets()) {
        if (!top->isVisible())
            continue;
        for (QWidget* w : top->findChildren<QWidget*>(name)) {
            if (w->isVisible())
                return w;
        }
    }
    return nullptr;
}

ScriptStep runChoose(const ScriptLine& line)
{
    const QString name = line.args.at(0);
    auto* combo = qobject_cast<QComboBox*>(visibleControl(name));
    if (!combo)
        return ScriptStep::fail(QStringLiteral("no combo box '%1' on screen").arg(name));
    const QString item = line.args.mid(1).join(QLatin1Char(' '));
    const int index = combo->findText(item);
    if (index < 0) {
        QStringList items;
        for (int i = 0; i < combo->count(); ++i)
            items << combo->itemText(i);
        return ScriptStep::fail(QStringLiteral("'%1' has no item '%2' (items: %3)")
                                    .arg(name, item, items.join(QStringLiteral(", "))));
    }
    if (!combo->isEnabled())
        return ScriptStep::fail(QStringLiteral("'%1' is disabled").arg(name));
    combo->setCurrentIndex(index);
    return ScriptStep::next();
}

QString checkTick(const ScriptLine& line)
{
    const QString state = line.args.value(1).toLower();
    return state == QLatin1String("on") || state == QLatin1String("off")
        ? QString()
        : QStringLiteral("usage: tick NAME on|off");
}

ScriptStep runTick(const ScriptLine& line)
{
    const QString name = line.args.at(0);
    auto* button = qobject_cast<QAbstractButton*>(visibleControl(name));
    if (!button || !button->isCheckable())
        return ScriptStep::fail(QStringLiteral("no check box '%1' on screen").arg(name));
    if (!button->isEnabled())
        return ScriptStep::fail(QStringLiteral("'%1' is disabled").arg(name));
    const bool on = line.args.at(1).toLower() == QLatin1String("on");
    if (button->isChecked() != on)
        button->click();
    return ScriptStep::next();
}

// Brings to front the tab whose text is the line's text, in a tab bar or a list of tabs
// on screen (the window's column of devices is a list).
ScriptStep runTab(const ScriptLine& line)
{
    const QString text = line.args.join(QLatin1Char(' '));
    QStringList seen;
    for (QWidget* top : QApplication::topLevelWidgets()) {
        if (!top->isVisible())
            continue;
        for (QTabBar* bar : top->findChildren<QTabBar*>()) {
            if (!bar->isVisible())
                continue;
            for (int i = 0; i < bar->count(); ++i) {
                if (bar->tabText(i) == text && bar->isTabEnabled(i)) {
                    bar->setCurrentIndex(i);
                    return ScriptStep::next();
                }
                seen << bar->tabText(i);
            }
        }
        for (QListWidget* list : top->findChildren<QListWidget*>()) {
            if (!list->isVisible())
                continue;
            const QList<QListWidgetItem*> found = list->findItems(text, Qt::MatchExactly);
            if (!found.isEmpty()) {
                list->setCurrentItem(found.first());
                return ScriptStep::next();
            }
            for (int i = 0; i < list->count(); ++i)
                seen << list->item(i)->text();
        }
    }
    return ScriptStep::fail(QStringLiteral("no tab '%1' on screen (tabs: %2)")
                                .arg(text, seen.join(QStringLiteral(", "))));
}

} // namespace

void addWidgetCommands(ScriptRunner& runner)
{
    runner.addCommand(
        {QStringLiteral("choose"), 2, -1, QStringLiteral("choose NAME ITEM"), &runChoose});
    runner.addCommand({QStringLiteral("tab"), 1, -1, QStringLiteral("tab TEXT"), &runTab});
    runner.addCommand(
        {QStringLiteral("tick"), 2, 2, QStringLiteral("tick NAME on|off"), &runTick, &checkTick});
}

} // namespace sim
