// Run-time control of the stand-in security library, for tests and demos. The stand-in's two
// modules ("OruSafePath.dll", "OruSafeProxy.dll") export the C entries named below; the class
// StandInControl opens both modules from their directory (the same files the SDK later opens,
// so both share one loaded copy) and forwards each control to both. Thread-safe.
//
// Integer controls (SetInt), all 0 after Reset unless said otherwise:
//   "refuseInterface"         QueryInterface refuses this number (each call adds one)
//   "queryInterface.nullPointer"  QueryInterface answers non-zero but leaves the pointer null
//   "path.fail"               GetSDKDirectoryPath returns 0
//   "path.fillBuffer"         GetSDKDirectoryPath fills the whole buffer with 'x', no terminator
//   "jsonSign.fail" + "jsonSign.code"   the JSON road answers null with this code
//   "jsonSign.empty"          the JSON road answers "{}"
//   "urlSign.fail" + "urlSign.code"     the wide road fails; GetLastError then gives the code
//   "jsonSign.hangMs", "urlSign.hangMs", "traffic.hangMs"   the call blocks this long
//                             (-1: until ReleaseHangs or Reset); "<name>.entered" counts entries
//   "traffic.mode"            0: verdict inside ProcessContent, 1: from another thread after
//                             "traffic.delayMs", 2: held until FireHeldVerdicts (never, if not)
//   "traffic.mainAction", "traffic.subAction"   the verdict
//   "traffic.nullParam", "traffic.nullSequence"  hand the callback null texts
//   "traffic.paramIsContent"  the verdict's parameter is the judged content (one per caller)
//   "traffic.isAsync", "traffic.errorCode"       ProcessContent's out values
//   "traffic.registerResult" (1 after Reset), "traffic.registerOut"   RegisterWebBrowserProxy
//   "records.off"             no record below is kept (counters still count): for a host that
//                             runs for long, whose heap would otherwise grow with every call
// Text controls (SetText, null unsets): "traffic.param" (the verdict's parameter),
//   "traffic.cookies", "traffic.version" (unset: GetCookies / GetVersion give nothing),
//   "path.directory" (answer this directory instead of the module's own), "jsonSign.answer"
//   (the JSON road answers this text, with code 0).
// Records (Texts) by kind: "path.queryInterface" / "proxy.queryInterface" (numbers asked for,
//   decimal), "path.fileName", "path.capacity", "jsonSign.input", "urlSign.appKey",
//   "urlSign.data", "urlSign.method", "urlSign.capacity", "traffic.content",
//   "traffic.sequenceId", "traffic.cookieUrl", "traffic.cookieFlags", "traffic.browserProxy"
//   (the pointer as a decimal integer). Wide inputs are recorded as UTF-8, code unit by code unit.
// Counters (Count): "<kind>.start", "<kind>.stop" for urlSign, jsonSign, traffic; "urlSign.sign",
//   "jsonSign.sign", "jsonSign.free", "errorCode.getLastError", "path.getDirectory",
//   "traffic.register", "traffic.getCookies", "traffic.getVersion", "traffic.processContent",
//   "traffic.freeBuffer", "traffic.allocated", "traffic.callback".
//
// A process that no test drives in-process (quilcall as a child, a demo) sets controls through
// the environment: QUIL_STANDIN_CONTROLS="traffic.mainAction=1;traffic.param={...}", applied
// when a module first acts; texts go to the text controls above, all else is an integer.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// The exported control entries of each stand-in module.
#define QUIL_STANDIN_RESET "QuilStandIn_Reset"
#define QUIL_STANDIN_SET_INT "QuilStandIn_SetInt"
#define QUIL_STANDIN_SET_TEXT "QuilStandIn_SetText"
#define QUIL_STANDIN_GET_COUNT "QuilStandIn_GetCount"
#define QUIL_STANDIN_WAIT_FOR_COUNT "QuilStandIn_WaitForCount"
#define QUIL_STANDIN_TEXT_COUNT "QuilStandIn_TextCount"
#define QUIL_STANDIN_COPY_TEXT "QuilStandIn_CopyText"
#define QUIL_STANDIN_RELEASE_HANGS "QuilStandIn_ReleaseHangs"
#define QUIL_STANDIN_FIRE_HELD_VERDICTS "QuilStandIn_FireHeldVerdicts"

namespace quil {

class StandInControl {
public:
    // Opens both modules in directory (default: the build's SafeGuard folder). The modules stay
    // loaded for the life of the process.
    explicit StandInControl(const std::string& directory = DefaultDirectory());

    // The folder the build puts the stand-in into.
    static std::string DefaultDirectory();
    // The full path of "OruSafePath.dll" in the default folder.
    static std::string DefaultPathFile();
    // The platform's path separator: "\\" on Windows, "/" elsewhere.
    static std::string Separator();

    // True when both modules and all their entries were found.
    bool Loaded() const { return loaded_; }

    void Reset();
    void SetInt(const std::string& name, int64_t value);
    void SetText(const std::string& name, const char* value);
    void ReleaseHangs();
    // Delivers held verdicts from another thread; returns how many.
    int FireHeldVerdicts();

    // Counters and records starting with "path." come from the path module, all others from
    // the main module.
    int64_t Count(const std::string& name);
    bool WaitForCount(const std::string& name, int64_t count, int timeoutMs);
    std::vector<std::string> Texts(const std::string& kind);
    // The interface numbers asked for: those of the path module, then those of the main module.
    std::vector<int> RequestedNumbers();

private:
    struct Module {
        void* handle = nullptr;
        void (*reset)() = nullptr;
        void (*setInt)(const char*, int64_t) = nullptr;
        void (*setText)(const char*, const char*) = nullptr;
        int64_t (*getCount)(const char*) = nullptr;
        int (*waitForCount)(const char*, int64_t, int) = nullptr;
        int (*textCount)(const char*) = nullptr;
        int (*copyText)(const char*, int, char*, int) = nullptr;
        void (*releaseHangs)() = nullptr;
        int (*fireHeld)() = nullptr;
    };
    static bool Open(const std::string& path, Module* module);
    Module& ModuleFor(const std::string& name);

    Module path_;
    Module proxy_;
    bool loaded_ = false;
};

}  // namespace quil
