#include "callbackrelay.h"

#include <memory>
#include <vector>

namespace PluginDevControl {

namespace {

struct RelayKeeper
{
    std::mutex mutex;
    std::vector<std::unique_ptr<CallbackRelay>> relays;
};

RelayKeeper& keeper()
{
    static RelayKeeper instance;
    return instance;
}

} // namespace

CallbackRelay* CallbackRelay::create(void* target)
{
    RelayKeeper& k = keeper();
    std::lock_guard<std::mutex> lock(k.mutex);
    k.relays.emplace_back(new CallbackRelay(target));
    return k.relays.back().get();
}

void CallbackRelay::detach()
{
    std::lock_guard<std::recursive_mutex> lock(mutex);
    target = nullptr;
}

} // namespace PluginDevControl
