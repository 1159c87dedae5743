#include "SignBridgeStart.h"

#include <atomic>

#include "QuilService.h"

namespace {

// Written once by the core while it builds the service; the service's publication orders the
// write before every read that follows QuilService::GetInstance().
std::atomic<ISignBridgeStarter*> registered{nullptr};

}  // namespace

void SignBridgeStart::Register(ISignBridgeStarter* starter) { registered.store(starter); }

void SignBridgeStart::Start() {
    QuilService::GetInstance();
    ISignBridgeStarter* starter = registered.load();
    if (starter != nullptr) {
        starter->LazyStart();
    }
}
