// The content of a device page whose controls are not built yet: it names the device,
// its kind, serial number and status.
#pragma once

#include "ovsdk.h"

#include <QWidget>

namespace PluginDevControl {

class DevicePage : public QWidget
{
    Q_OBJECT

public:
    DevicePage(ov::IDev* dev, const QString& title, QWidget* parent = nullptr);
};

} // namespace PluginDevControl
