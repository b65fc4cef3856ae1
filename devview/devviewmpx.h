// The page of a pixel detector. This is the shell every chip family builds on: it
// owns the device's settings and answers the operations that the plug-in's private
// interface forwards to it.
#pragma once

#include "devview.h"

class QAction;

namespace PluginDevControl {

class DevViewMpx : public DevView
{
    Q_OBJECT

public:
    DevViewMpx(QWidget* parent, ov::IOrvel* orvel, ov::IDev* dev);
    ~DevViewMpx() override;

    int devType() const override;
    void onExit() override;
    QString fullName() const override;
    QString devName() const override;

    virtual int showFrame(ov::IMpxFrame* frame);
    virtual void setAcqParams(int count, double time);
    virtual void setAcqType(int type);
    virtual void setOutputParams(const char* path, bool enabled);
    virtual void setRepeatParams(int count, bool enabled);
    virtual void setRepeatFileParams(unsigned flags, int digits);
    virtual void setOutputFlags(unsigned flags);
    virtual void setRefreshParams(bool dacs, bool pixCfg);
    virtual void start();
    virtual void stop();
    virtual bool isRunning();
    virtual int lastAcqResult();
    virtual void setColorMap(int index);
    virtual void setRange(double min, double max);
    virtual void setWindowAll(bool all);
    virtual void setCurrentSubFrame(int index);
    virtual void setAcqMode(int mode);
    virtual void loadSettings();
    virtual void saveSettings();

    ov::ISettings* viewSettings() const { return settings; }
    QAction* aspectRatioAction() const { return acResizeAspectRatio; }

signals:
    void sigReconnect(QWidget* view);
    void sigSaveOnExit();

protected:
    ov::ISettings* settings = nullptr;
    QAction* acResizeAspectRatio = nullptr;
    QAction* acSaveOrvelConfig = nullptr;
    QString devFullName;
};

} // namespace PluginDevControl
