#include "qorvelmenu.h"

#include <QAction>
#include <QMenu>

namespace PluginDevControl {

namespace {
// Items of the scripted lessons never appear in a device's menus.
constexpr char kLessonOwner[] = "lessonscript";
constexpr char kHostOwner[] = "Orvel";
} // namespace

QOrvelMenu::QOrvelMenu(bool hide, QObject* parent)
    : QObject(parent), m_menu(new QMenu), hideHostItems(hide)
{ }

QOrvelMenu::~QOrvelMenu()
{
    delete m_menu;
}

void QOrvelMenu::addToQMenu(const ov::IMenuItem* item, QMenu* menu)
{
    if (!item)
        return;
    if (!menu)
        menu = m_menu;
    ov::PtrList<const ov::IMenuItem*> children;
    item->children(children);
    for (const ov::IMenuItem* child : children.items()) {
        if (!child)
            continue;
        if (child->isSubMenu()) {
            QMenu* sub = menu->addMenu(QString::fromUtf8(child->title()));
            addToQMenu(child, sub);
        } else if (child->isSeparator()) {
            menu->addSeparator();
        } else {
            const QString owner = QString::fromUtf8(child->owner() ? child->owner() : "");
            if (owner == kLessonOwner || (hideHostItems && owner == kHostOwner))
                continue;
            QAction* action = menu->addAction(QString::fromUtf8(child->title()));
            action->setData(QVariant::fromValue(reinterpret_cast<quintptr>(child)));
            action->setMenuRole(QAction::NoRole);
            connect(action, &QAction::triggered, this, &QOrvelMenu::sltMenuTriggered);
        }
    }
}

void QOrvelMenu::sltMenuTriggered()
{
    auto* action = qobject_cast<QAction*>(sender());
    if (!action)
        return;
    auto* item = reinterpret_cast<const ov::IMenuItem*>(action->data().value<quintptr>());
    if (item)
        item->execute();
}

} // namespace PluginDevControl
