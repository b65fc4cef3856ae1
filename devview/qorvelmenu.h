// A copy of a host menu tree as a QMenu. Each action keeps the host item it stands
// for and runs it when triggered.
#pragma once

#include "ovsdk.h"

#include <QObject>

class QMenu;

namespace PluginDevControl {

class QOrvelMenu : public QObject
{
    Q_OBJECT

public:
    // hideHostItems leaves out the items that the host itself ("Orvel") owns.
    explicit QOrvelMenu(bool hideHostItems, QObject* parent = nullptr);
    ~QOrvelMenu() override;

    QMenu* menu() const { return m_menu; }
    // Appends the children of item to menu (the object's own menu when null).
    void addToQMenu(const ov::IMenuItem* item, QMenu* menu = nullptr);

private slots:
    void sltMenuTriggered();

private:
    QMenu* m_menu;
    bool hideHostItems;
};

} // namespace PluginDevControl
