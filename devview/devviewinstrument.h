// The page of a single laboratory instrument (X-ray or high-voltage source) until its
// own controls are built: it names the device and can be undocked.
#pragma once

#include "devview.h"

namespace PluginDevControl {

class DevViewInstrument : public DevView
{
    Q_OBJECT

public:
    DevViewInstrument(QWidget* parent, ov::IOrvel* orvel, ov::IDev* dev);

    QString devName() const override;
    QString fullName() const override;

private:
    QString m_fullName;
};

class DevViewXray : public DevViewInstrument
{
    Q_OBJECT

public:
    using DevViewInstrument::DevViewInstrument;
    int devType() const override;
};

class DevViewHvSource : public DevViewInstrument
{
    Q_OBJECT

public:
    using DevViewInstrument::DevViewInstrument;
    int devType() const override;
};

} // namespace PluginDevControl
