// A stand-in that a page registers with the host instead of itself, for callbacks that
// the host offers no way to unregister. The host may call it from any thread at any
// time, also after the page is gone: the relay then does nothing. Relays are kept for
// the life of the process, since the host may still hold them.
#pragma once

#include <mutex>

namespace PluginDevControl {

class CallbackRelay
{
public:
    // A new relay pointing at target, owned by the process-wide keeper.
    static CallbackRelay* create(void* target);

    // From now on calls reach nothing; returns once no call is running.
    void detach();

    // Runs fn(target) unless the relay is detached; the target cannot go away meanwhile.
    template <typename T, typename Fn>
    void with(Fn fn)
    {
        std::lock_guard<std::recursive_mutex> lock(mutex);
        if (target)
            fn(static_cast<T*>(target));
    }

    long asUserData() { return reinterpret_cast<long>(this); }
    static CallbackRelay* fromUserData(long user) { return reinterpret_cast<CallbackRelay*>(user); }

private:
    explicit CallbackRelay(void* t) : target(t) { }

    // Recursive: a call may raise another event of the same target on the same thread
    // (a DAC write between frames raises "DacsChanged" inside "AcqFinished").
    std::recursive_mutex mutex;
    void* target;
};

} // namespace PluginDevControl
