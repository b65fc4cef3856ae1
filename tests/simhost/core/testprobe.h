// What the test plug-in records about how the host drove it. The plug-in hands its
// probe out through privateInterface().
#pragma once

#include <atomic>

struct TestProbe
{
    std::atomic<int> initCalls {0};
    std::atomic<int> startCalls {0};
    std::atomic<int> closeCalls {0};
    std::atomic<int> hookCalls {0};
    std::atomic<bool> initOnGui {true};
    std::atomic<bool> startOnGui {true};
    std::atomic<bool> hookOnGui {false};
    std::atomic<bool> closeOnGui {false};
    // The window existed when runOnUiThread returned inside initialize.
    std::atomic<bool> windowBuiltInInit {false};
    // The window was shown by the time onStart returned.
    std::atomic<bool> windowShownInStart {false};
    std::atomic<int> devicesAtInit {-1};
    std::atomic<int> newDeviceEvents {0};
    std::atomic<bool> mainUiIsDevcontrol {false};
};
