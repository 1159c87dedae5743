// The stand-in's path component, built as "OruSafePath.dll": it hands out interface 272, which
// tells where the rest of the stand-in lies (the directory this module was loaded from).
#include <cstdint>
#include <string>

#include "QuilSecurityProxies.h"
#include "StandInExport.h"
#include "StandInModuleDirectory.h"
#include "StandInState.h"

namespace quil {
namespace standin {

namespace {

class PathProxy : public ISecurityPathProxy {
public:
    int Reserved0() override {
        StandInState::Instance().Count("path.reserved0");
        return 0;
    }

    int GetSDKDirectoryPath(wchar_t* buffer, int32_t capacity, const wchar_t** fileNames,
                            int32_t count) override {
        StandInState& state = StandInState::Instance();
        state.Count("path.getDirectory");
        state.Record("path.capacity", std::to_string(capacity));
        for (int32_t i = 0; fileNames != nullptr && i < count; ++i) {
            state.Record("path.fileName", WideToRecordText(fileNames[i]));
        }
        if (state.GetInt("path.fail") != 0) return 0;
        if (state.GetInt("path.fillBuffer") != 0 && buffer != nullptr) {
            // Fills every character, terminator included, to test the caller's bounds.
            for (int32_t i = 0; i < capacity; ++i) buffer[i] = L'x';
            return 1;
        }
        std::string directory;
        if (!state.GetText("path.directory", &directory)) directory = ModuleDirectory();
        std::wstring wide = RecordTextToWide(directory);
        if (buffer == nullptr || directory.empty() ||
            static_cast<int64_t>(wide.size()) + 1 > capacity) {
            return 0;
        }
        wide.copy(buffer, wide.size());
        buffer[wide.size()] = L'\0';
        return 1;
    }
};

PathProxy pathProxy;

}  // namespace

}  // namespace standin
}  // namespace quil

QUIL_STANDIN_EXPORT int QueryInterface(int number, void** out) {
    using quil::standin::StandInState;
    StandInState& state = StandInState::Instance();
    state.Count("path.queryInterface");
    state.Record("path.queryInterface", std::to_string(number));
    if (out == nullptr) return 0;
    *out = nullptr;
    if (number != kSecurityPathProxyNumber || state.IsRefused(number)) return 0;
    if (state.GetInt("queryInterface.nullPointer") != 0) return 1;
    *out = static_cast<ISecurityPathProxy*>(&quil::standin::pathProxy);
    return 1;
}
