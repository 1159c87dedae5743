// What one module of the stand-in security library is told to do (controls) and what it was
// given (records). One instance per loaded module, made on first use and never destroyed, so
// calls still hanging in the module at process exit never meet a destroyed lock. Thread-safe.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "QuilSecurityProxies.h"

namespace quil {
namespace standin {

class StandInState {
public:
    static StandInState& Instance();

    // Controls, by name (see StandInControl.h for the names and their meaning).
    void SetInt(const std::string& name, int64_t value);
    int64_t GetInt(const std::string& name, int64_t fallback = 0);
    // A null value unsets the text.
    void SetText(const std::string& name, const char* value);
    // False when the text is unset.
    bool GetText(const std::string& name, std::string* value);
    bool IsRefused(int number);

    // Records.
    void Count(const std::string& name);
    int64_t GetCount(const std::string& name);
    // Waits until the counter reaches count or timeoutMs pass; true when it did.
    bool WaitForCount(const std::string& name, int64_t count, int timeoutMs);
    void Record(const std::string& kind, const std::string& text);
    std::vector<std::string> Texts(const std::string& kind);

    // Blocks for the hang configured under name (milliseconds, -1 until released, 0 none).
    void HangIf(const std::string& name);
    // Wakes every hanging call and every delayed verdict thread.
    void ReleaseHangs();

    // A verdict that waits to be delivered.
    struct HeldVerdict {
        TrafficFilterCallback callback = nullptr;
        std::string sequenceId;
        std::string content;  // the judged content ("traffic.paramIsContent")
    };
    void Hold(const HeldVerdict& verdict);
    // Delivers every held verdict from a new thread and waits for it; returns how many.
    int FireHeld();
    // Delivers a verdict from a new thread after delayMs (cut short by ReleaseHangs).
    void DeliverLater(const HeldVerdict& verdict, int delayMs);
    // Calls callback with the configured verdict for the verdict's sequenceId.
    void Deliver(const HeldVerdict& verdict);

    // Joins the verdict threads, then clears every control and record.
    void Reset();

private:
    StandInState() = default;
    std::vector<std::thread> TakeThreads();

    std::mutex mutex_;                 // guards every field below
    std::condition_variable changed_;  // signalled on counts, releases and resets
    std::map<std::string, int64_t> ints_;
    std::map<std::string, std::string> texts_;
    std::set<int> refused_;
    std::map<std::string, int64_t> counts_;
    std::map<std::string, std::vector<std::string>> records_;
    std::vector<HeldVerdict> held_;
    std::vector<std::thread> threads_;
    uint64_t releases_ = 0;  // grows on each release, so a waiter sees it was woken on purpose
};

// Lossless wide to UTF-8 for records: every code unit value is encoded, valid or not.
std::string WideToRecordText(const wchar_t* text);
// Strict-enough UTF-8 to wide for the stand-in's own answers (ASCII in practice).
std::wstring RecordTextToWide(const std::string& text);

}  // namespace standin
}  // namespace quil
