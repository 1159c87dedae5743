#include "QuilCancelRelease.h"

#include "QuilServiceImpl.h"

namespace quil {

bool CancelCallAndRelease(QuilRequest* request) {
    QuilServiceImpl* service = dynamic_cast<QuilServiceImpl*>(QuilService::GetInstance());
    return service != nullptr && service->CancelCallAndRelease(request);
}

bool CancelCallAndRelease(int id) {
    QuilServiceImpl* service = dynamic_cast<QuilServiceImpl*>(QuilService::GetInstance());
    return service != nullptr && service->CancelCallAndRelease(id);
}

}  // namespace quil
