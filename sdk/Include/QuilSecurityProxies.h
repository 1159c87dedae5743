// The interfaces of the closed security library, which the SDK opens at run time and never
// links. The objects behind these pointers belong to the closed library: nobody deletes them,
// which is why no interface declares a destructor (a destructor would shift the table of
// operations away from the library's). The SDK calls them from its signing threads and from
// the caller's thread of a traffic judgement; the library itself decides what is thread-safe.
#pragma once

#include <cstdint>

// The host's browser proxy; the SDK only carries the pointer to the closed library.
class IWKWebBrowserProxy;

// The numbers against which the exported entry "QueryInterface" hands out each interface.
constexpr int kSecurityPathProxyNumber = 272;   // from the file named by securityPathFile
constexpr int kErrorCodeNumber = 273;           // from "OruSafeProxy.dll"
constexpr int kUrlSignProxyNumber = 277;        // from "OruSafeProxy.dll"
constexpr int kJsonSignProxyNumber = 297;       // from "OruSafeProxy.dll"
constexpr int kTrafficFilterProxyNumber = 299;  // from "OruSafeProxy.dll"

// The name of the one entry each file of the closed library exports.
constexpr const char kQueryInterfaceEntryName[] = "QueryInterface";

// The exported entry: fills *out with the interface of number and returns non-zero on success.
extern "C" {
typedef int (*QueryInterfaceEntry)(int number, void** out);
}

// The traffic judgement's answer. sequenceId is the text the SDK gave to ProcessContent; both
// texts belong to the caller and are only read during the call. May be called on any thread,
// before or after ProcessContent returns.
typedef void (*TrafficFilterCallback)(int mainAction, int subAction, const char* sequenceId,
                                      const char* actionParam);

// Finds the directory where the closed library's files lie.
class ISecurityPathProxy {
public:
    // A slot the SDK never calls.
    virtual int Reserved0() = 0;
    // Writes into buffer (capacity wide characters) the directory holding the count files named
    // in fileNames. Non-zero on success.
    virtual int GetSDKDirectoryPath(wchar_t* buffer, int32_t capacity, const wchar_t** fileNames,
                                    int32_t count) = 0;
};

// The last error of the closed library.
class IErrorCode {
public:
    virtual int32_t GetLastError() = 0;
};

// Signing of the older road: wide strings in, one signature out.
class IUrlSignProxy {
public:
    virtual int Start() = 0;
    virtual int Stop() = 0;
    // appKey is nul-terminated; signMethod is 1 or 2; buffer holds the input on entry and the
    // signature on return; *capacity is the buffer's size in wide characters. Non-zero on
    // success; on failure IErrorCode::GetLastError tells the code.
    virtual int Sign(const wchar_t* appKey, int signMethod, wchar_t* buffer, int32_t* capacity) = 0;
};

// Signing of the JSON road: one JSON line in, a JSON object of sign headers out.
class IJsonSignProxy {
public:
    virtual int Start() = 0;
    virtual int Stop() = 0;
    // json is nul-terminated UTF-8. Returns a text the library owns (give it back with Free),
    // or null; *code is 0 on success.
    virtual const char* Sign(const char* json, uint32_t* code) = 0;
    // Takes back a text returned by Sign.
    virtual void Free(const char* text) = 0;
};

// Traffic judgement, cookies and the version of the traffic component.
class ITrafficFilterProxy {
public:
    virtual int Start() = 0;
    virtual int Stop() = 0;
    // Accepts the host's browser proxy (not owned); *out receives a value the SDK only prints.
    virtual int32_t RegisterWebBrowserProxy(IWKWebBrowserProxy* proxy, uint32_t* out) = 0;
    // A slot the SDK never calls.
    virtual int Reserved3() = 0;
    // Gives the cookies for url in *text (give it back with FreeBuffer). Non-zero on success.
    virtual int GetCookies(const char* url, int32_t flags, char** text, int32_t* length) = 0;
    // Gives the version text in *text (give it back with FreeBuffer).
    virtual int GetVersion(char** text, int32_t* length) = 0;
    // Judges content and calls callback once with sequenceId, during the call or later from any
    // thread. *isAsync and *errorCode are set before it returns.
    virtual int ProcessContent(const char* content, const char* sequenceId,
                               TrafficFilterCallback callback, uint32_t* isAsync,
                               uint32_t* errorCode) = 0;
    // Takes back a text given by GetCookies or GetVersion.
    virtual int FreeBuffer(char* text) = 0;
};

// The self-protection component, which the SDK only starts and stops with the rest.
class ISelfProtectProxy {
public:
    virtual int Start() = 0;
    virtual int Stop() = 0;
};
