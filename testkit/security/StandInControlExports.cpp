// The control entries every module of the stand-in exports. Tests reach them through
// quil::StandInControl (StandInControl.h), which looks them up on the loaded modules.
#include <algorithm>
#include <cstdint>
#include <cstring>

#include "StandInExport.h"
#include "StandInState.h"

using quil::standin::StandInState;

QUIL_STANDIN_EXPORT void QuilStandIn_Reset() { StandInState::Instance().Reset(); }

QUIL_STANDIN_EXPORT void QuilStandIn_SetInt(const char* name, int64_t value) {
    if (name != nullptr) StandInState::Instance().SetInt(name, value);
}

QUIL_STANDIN_EXPORT void QuilStandIn_SetText(const char* name, const char* value) {
    if (name != nullptr) StandInState::Instance().SetText(name, value);
}

QUIL_STANDIN_EXPORT int64_t QuilStandIn_GetCount(const char* name) {
    return name == nullptr ? 0 : StandInState::Instance().GetCount(name);
}

QUIL_STANDIN_EXPORT int QuilStandIn_WaitForCount(const char* name, int64_t count, int timeoutMs) {
    if (name == nullptr) return 0;
    return StandInState::Instance().WaitForCount(name, count, timeoutMs) ? 1 : 0;
}

QUIL_STANDIN_EXPORT int QuilStandIn_TextCount(const char* kind) {
    if (kind == nullptr) return 0;
    return static_cast<int>(StandInState::Instance().Texts(kind).size());
}

// Copies record index of kind into buffer (capacity bytes, no terminator added) and returns its
// full length; -1 when there is no such record. Call with capacity 0 to learn the length.
QUIL_STANDIN_EXPORT int QuilStandIn_CopyText(const char* kind, int index, char* buffer,
                                             int capacity) {
    if (kind == nullptr || index < 0) return -1;
    std::vector<std::string> texts = StandInState::Instance().Texts(kind);
    if (static_cast<std::size_t>(index) >= texts.size()) return -1;
    const std::string& text = texts[static_cast<std::size_t>(index)];
    if (buffer != nullptr && capacity > 0) {
        std::memcpy(buffer, text.data(), std::min<std::size_t>(text.size(), capacity));
    }
    return static_cast<int>(text.size());
}

QUIL_STANDIN_EXPORT void QuilStandIn_ReleaseHangs() { StandInState::Instance().ReleaseHangs(); }

QUIL_STANDIN_EXPORT int QuilStandIn_FireHeldVerdicts() {
    return StandInState::Instance().FireHeld();
}
