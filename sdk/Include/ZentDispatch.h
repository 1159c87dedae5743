// Domain dispatch: the addresses the dispatch service names for a gateway domain. The host asks
// for an address and reports one that failed; nothing inside the library uses the table. Both
// functions may be called from any thread, never block on the network, and do nothing while
// QuilConfig's appKey is empty.
// REQUIRES: not called from inside the host's log sink (IQuilCustomLog::Log): both write their
// log lines while holding the table's lock, so a call from the sink would wait on itself.
#pragma once

#include <string>

#include "QuilExport.h"

// Sets ip to the address to use for domain, or to the empty string when none is known yet (a
// background request may then have been started; ask again later) or none is left. ip is the
// caller's; it receives a copy that later reports do not change.
QUIL_API void zentDomainDispatch(const std::string& domain, std::string& ip);

// Reports that the address last handed out for host failed: the next lookup gives the one
// before it, and when none is left the domain answers empty for the life of the process.
QUIL_API void zentUpdateStrategy(const std::string& host);
