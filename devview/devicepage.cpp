#include "devicepage.h"

#include "devicekinds.h"
#include "devicenames.h"

#include <QLabel>
#include <QVBoxLayout>

namespace PluginDevControl {

DevicePage::DevicePage(ov::IDev* dev, const QString& title, QWidget* parent) : QWidget(parent)
{
    auto* name = new QLabel(title, this);
    name->setObjectName("lblDeviceName");
    QFont big = name->font();
    big.setPointSize(big.pointSize() + 8);
    big.setBold(true);
    name->setFont(big);

    QString details;
    if (dev) {
        details = deviceKindName(dev->deviceType());
        if (const unsigned serial = deviceSerial(dev))
            details += QString(", serial %1").arg(serial);
        ov::String status;
        dev->statusText(status);
        if (!status.empty())
            details += QString("\n%1").arg(QString::fromUtf8(status.get()));
    }
    auto* info = new QLabel(details, this);
    info->setObjectName("lblDeviceDetails");

    auto* layout = new QVBoxLayout(this);
    layout->addStretch(1);
    layout->addWidget(name, 0, Qt::AlignHCenter);
    layout->addWidget(info, 0, Qt::AlignHCenter);
    layout->addStretch(2);
}

} // namespace PluginDevControl
