// The plug-in side of the contract: the interface the host loads, and the private
// interface through which the host and other plug-ins drive the user interface.
#pragma once

#include "ovdetector.h"

namespace ov {

class IOvPlugin
{
public:
    virtual int initialize(IOrvel* host) = 0;
    virtual int onStart() = 0;
    virtual int onClose() = 0;
    virtual const char* name() const = 0;
    virtual const char* description() const = 0;
    virtual void* privateInterface() = 0;
    virtual ~IOvPlugin() = default;
};

// Signature of the one function a plug-in library exports.
using GetPluginFunc = void* (*)();
constexpr const char* kGetPluginSymbol = "ovGetPlugin";

class IDevControl : public IObject
{
public:
    virtual int showFrame(IDev* dev, IMpxFrame* frame) = 0;
    virtual int setOutputFile(IDev* dev, const IFilePath* path, bool enabled) = 0;
    virtual int setAcqParams(IDev* dev, int count, double time) = 0;
    virtual int setAcqType(IDev* dev, int type) = 0;
    virtual int setRepeat(IDev* dev, int count, bool enabled) = 0;
    virtual int start(IDev* dev) = 0;
    virtual int stop(IDev* dev) = 0;
    virtual int isRunning(IDev* dev) = 0;
    virtual int setColorMap(IDev* dev, int index) = 0;
    virtual int setRange(IDev* dev, double min, double max) = 0;
    virtual int setWindowAll(IDev* dev, int value) = 0;
    virtual int setCurrentSubFrame(IDev* dev, int index) = 0;
    virtual int setAcqMode(IDev* dev, int mode) = 0;
    virtual int setRepeatFileParams(IDev* dev, unsigned flags, int digits) = 0;
    virtual int setOutputFlags(IDev* dev, unsigned flags) = 0;
    virtual int setRefreshParams(IDev* dev, bool dacs, bool pixCfg) = 0;
    virtual int lastAcqResult(IDev* dev) = 0;
    virtual int show(bool visible) = 0;

protected:
    ~IDevControl() = default;
};

} // namespace ov
