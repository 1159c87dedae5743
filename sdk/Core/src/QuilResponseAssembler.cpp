#include "QuilResponseAssembler.h"

#include "QuilResponseImpl.h"

QuilResponse* QuilResponseAssembler::GetQuilResponse(HttpResponse* http, QuilRequest* request) {
    (void)request;
    if (http == nullptr) return nullptr;
    return new QuilResponseImpl();
}
