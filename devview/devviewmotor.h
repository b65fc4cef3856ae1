// The one page that all motors of the host share.
#pragma once

#include "devview.h"

#include <QList>

class QListWidget;

namespace PluginDevControl {

class DevViewMotor : public DevView
{
    Q_OBJECT

public:
    DevViewMotor(QWidget* parent, ov::IOrvel* orvel, ov::IDev* dev);

    int devType() const override;
    QString devName() const override;
    QString fullName() const override;

    void addMotor(ov::IDev* motor);
    void removeMotor(ov::IDev* motor);
    const QList<ov::IDev*>& motors() const { return m_motors; }

private:
    void refreshList();

    QList<ov::IDev*> m_motors;
    QListWidget* m_list;
};

} // namespace PluginDevControl
