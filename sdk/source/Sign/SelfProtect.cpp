#include "SelfProtect.h"

bool SelfProtect::Load() { return proxy != nullptr; }
