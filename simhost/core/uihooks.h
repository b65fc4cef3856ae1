// The host's UI hook object (ov::IUiHooks): runs plug-in code on the GUI thread and
// hands out the host menu tree.
#pragma once

#include <ovcore.h>

#include <memory>

class QObject;

namespace sim {

class SimMenu;

class UiHooks final : public ov::IUiHooks
{
public:
    explicit UiHooks(SimMenu& menu);
    ~UiHooks();
    UiHooks(const UiHooks&) = delete;
    UiHooks& operator=(const UiHooks&) = delete;

    const ov::IMenuItem* menuRoot() override;
    // Calls fn(arg) on the GUI thread. On the GUI thread it is called at once. From any
    // other thread it is queued to the GUI thread; with flag 1 the caller waits until it
    // has run (so the GUI thread must not be waiting for the caller), with flag 0 it
    // returns at once. Result 0; -1 without fn, -2 without an application object (no
    // GUI thread to run on).
    int runOnUiThread(ov::UiThreadFunc fn, void* arg, int flag = 1) override;
    int registerMenuChanged(ov::EventCallback cb, void* user) override;

private:
    SimMenu& m_menu;
    std::unique_ptr<QObject> m_context;
};

} // namespace sim
