// Interfaces of the auxiliary devices: file device, motors, X-ray and high-voltage
// sources.
#pragma once

#include "ovcore.h"

namespace ov {

class IDevFile : public IDev
{
public:
    virtual int setDataPath(const FilePath& path) = 0;

protected:
    ~IDevFile() = default;
};

class IDevHvSource : public IDev
{
public:
    virtual int setVoltage(int source, double volts) = 0;
    virtual unsigned sourceCount() = 0;
    virtual double senseVoltage(int source) = 0;
    virtual double senseCurrent(int source) = 0;
    virtual double voltageRangeStart(int source) = 0;
    virtual double voltageRangeEnd(int source) = 0;

protected:
    ~IDevHvSource() = default;
};

class IDevMotor : public IDev
{
public:
    virtual void motorName(String& out) = 0;
    virtual int moveAbsolute(double position, int flag = 0) = 0;
    virtual int moveRelative(double distance, int flag = 0) = 0;
    virtual int stop() = 0;
    virtual int setZero() = 0;
    virtual double position() = 0;
    virtual bool isRunning() = 0;

protected:
    ~IDevMotor() = default;
};

class IDevXray : public IDev
{
public:
    virtual int turnOn() = 0;
    virtual int turnOff() = 0;
    virtual int setVoltage(double kV) = 0;
    virtual int setCurrent(double uA) = 0;
    virtual bool isXrayOn() = 0;
    virtual bool isInterlockOk() = 0;
    virtual double senseVoltage() = 0;
    virtual double senseCurrent() = 0;
    virtual double temperature() = 0;
    virtual double voltageMin() = 0;
    virtual double voltageMax() = 0;
    virtual double currentMin() = 0;
    virtual double currentMax() = 0;

protected:
    ~IDevXray() = default;
};

} // namespace ov
