#include "StandInState.h"

#include <chrono>
#include <cstdlib>

namespace quil {
namespace standin {

namespace {

// The controls that hold texts; every other control holds an integer.
bool IsTextControl(const std::string& name) {
    return name == "traffic.param" || name == "traffic.cookies" || name == "traffic.version" ||
           name == "path.directory" || name == "jsonSign.answer";
}

// Controls for a process that no test drives in-process (quilcall run as a child, a demo):
// QUIL_STANDIN_CONTROLS="name=value;name=value", applied once when the module first acts.
// A value cannot hold ";".
void ApplyEnvironmentControls(StandInState* state) {
    const char* text = std::getenv("QUIL_STANDIN_CONTROLS");
    if (text == nullptr) return;
    const std::string all(text);
    std::size_t start = 0;
    while (start <= all.size()) {
        std::size_t end = all.find(';', start);
        if (end == std::string::npos) end = all.size();
        const std::string item = all.substr(start, end - start);
        const std::size_t equals = item.find('=');
        if (equals != std::string::npos && equals > 0) {
            const std::string name = item.substr(0, equals);
            const std::string value = item.substr(equals + 1);
            if (IsTextControl(name)) {
                state->SetText(name, value.c_str());
            } else {
                state->SetInt(name, std::strtoll(value.c_str(), nullptr, 10));
            }
        }
        start = end + 1;
    }
}

}  // namespace

StandInState& StandInState::Instance() {
    // Never destroyed: a signing thread of the SDK may still hang in here at process exit.
    static StandInState* instance = [] {
        StandInState* state = new StandInState();
        ApplyEnvironmentControls(state);
        return state;
    }();
    return *instance;
}

void StandInState::SetInt(const std::string& name, int64_t value) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (name == "refuseInterface") {
        refused_.insert(static_cast<int>(value));
        return;
    }
    ints_[name] = value;
}

int64_t StandInState::GetInt(const std::string& name, int64_t fallback) {
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = ints_.find(name);
    return found == ints_.end() ? fallback : found->second;
}

void StandInState::SetText(const std::string& name, const char* value) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (value == nullptr) {
        texts_.erase(name);
    } else {
        texts_[name] = value;
    }
}

bool StandInState::GetText(const std::string& name, std::string* value) {
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = texts_.find(name);
    if (found == texts_.end()) return false;
    *value = found->second;
    return true;
}

bool StandInState::IsRefused(int number) {
    std::lock_guard<std::mutex> lock(mutex_);
    return refused_.count(number) != 0;
}

void StandInState::Count(const std::string& name) {
    std::lock_guard<std::mutex> lock(mutex_);
    ++counts_[name];
    changed_.notify_all();
}

int64_t StandInState::GetCount(const std::string& name) {
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = counts_.find(name);
    return found == counts_.end() ? 0 : found->second;
}

bool StandInState::WaitForCount(const std::string& name, int64_t count, int timeoutMs) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                             [&] { return counts_[name] >= count; });
}

void StandInState::Record(const std::string& kind, const std::string& text) {
    std::lock_guard<std::mutex> lock(mutex_);
    // A long-running host (the soak) turns records off: they would grow by each call.
    auto off = ints_.find("records.off");
    if (off != ints_.end() && off->second != 0) return;
    records_[kind].push_back(text);
}

std::vector<std::string> StandInState::Texts(const std::string& kind) {
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = records_.find(kind);
    return found == records_.end() ? std::vector<std::string>() : found->second;
}

void StandInState::HangIf(const std::string& name) {
    std::unique_lock<std::mutex> lock(mutex_);
    auto found = ints_.find(name);
    if (found == ints_.end() || found->second == 0) return;
    const int64_t milliseconds = found->second;
    const uint64_t releases = releases_;
    ++counts_[name + ".entered"];
    changed_.notify_all();
    auto released = [&] { return releases_ != releases; };
    if (milliseconds < 0) {
        changed_.wait(lock, released);
    } else {
        changed_.wait_for(lock, std::chrono::milliseconds(milliseconds), released);
    }
}

void StandInState::ReleaseHangs() {
    std::lock_guard<std::mutex> lock(mutex_);
    ++releases_;
    changed_.notify_all();
}

void StandInState::Hold(const HeldVerdict& verdict) {
    std::lock_guard<std::mutex> lock(mutex_);
    held_.push_back(verdict);
}

int StandInState::FireHeld() {
    std::vector<HeldVerdict> held;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        held.swap(held_);
    }
    std::thread deliverer([this, held] {
        for (const HeldVerdict& verdict : held) Deliver(verdict);
    });
    deliverer.join();
    return static_cast<int>(held.size());
}

void StandInState::DeliverLater(const HeldVerdict& verdict, int delayMs) {
    std::lock_guard<std::mutex> lock(mutex_);
    const uint64_t releases = releases_;
    threads_.emplace_back([this, verdict, delayMs, releases] {
        {
            std::unique_lock<std::mutex> lock(mutex_);
            changed_.wait_for(lock, std::chrono::milliseconds(delayMs),
                              [&] { return releases_ != releases; });
        }
        Deliver(verdict);
    });
}

void StandInState::Deliver(const HeldVerdict& verdict) {
    const TrafficFilterCallback callback = verdict.callback;
    const std::string& sequenceId = verdict.sequenceId;
    if (callback == nullptr) return;
    int mainAction = static_cast<int>(GetInt("traffic.mainAction"));
    int subAction = static_cast<int>(GetInt("traffic.subAction"));
    std::string param;
    GetText("traffic.param", &param);
    // Each judgement's own verdict, so that a verdict delivered to another caller shows.
    if (GetInt("traffic.paramIsContent") != 0) param = verdict.content;
    const bool nullParam = GetInt("traffic.nullParam") != 0;
    const bool nullSequence = GetInt("traffic.nullSequence") != 0;
    // Called with no lock held: the SDK's callback takes its own locks.
    callback(mainAction, subAction, nullSequence ? nullptr : sequenceId.c_str(),
             nullParam ? nullptr : param.c_str());
    Count("traffic.callback");
}

std::vector<std::thread> StandInState::TakeThreads() {
    std::lock_guard<std::mutex> lock(mutex_);
    std::vector<std::thread> threads;
    threads.swap(threads_);
    ++releases_;
    changed_.notify_all();
    return threads;
}

void StandInState::Reset() {
    for (std::thread& thread : TakeThreads()) thread.join();
    std::lock_guard<std::mutex> lock(mutex_);
    ints_.clear();
    texts_.clear();
    refused_.clear();
    counts_.clear();
    records_.clear();
    held_.clear();
    ++releases_;
    changed_.notify_all();
}

std::string WideToRecordText(const wchar_t* text) {
    std::string out;
    if (text == nullptr) return out;
    for (const wchar_t* c = text; *c != L'\0'; ++c) {
        uint32_t code = static_cast<uint32_t>(*c);
        // A 16-bit wide text (Windows) carries characters beyond U+FFFF as surrogate pairs; they
        // are joined here so the text signed is the UTF-8 the gateway sees, not two halves.
        if (sizeof(wchar_t) == 2 && code >= 0xD800 && code <= 0xDBFF) {
            uint32_t low = static_cast<uint32_t>(c[1]);
            if (low >= 0xDC00 && low <= 0xDFFF) {
                code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
                ++c;
            }
        }
        if (code < 0x80) {
            out.push_back(static_cast<char>(code));
        } else if (code < 0x800) {
            out.push_back(static_cast<char>(0xC0 | (code >> 6)));
            out.push_back(static_cast<char>(0x80 | (code & 0x3F)));
        } else if (code < 0x10000) {
            out.push_back(static_cast<char>(0xE0 | (code >> 12)));
            out.push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (code & 0x3F)));
        } else {
            out.push_back(static_cast<char>(0xF0 | ((code >> 18) & 0x07)));
            out.push_back(static_cast<char>(0x80 | ((code >> 12) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (code & 0x3F)));
        }
    }
    return out;
}

std::wstring RecordTextToWide(const std::string& text) {
    std::wstring out;
    for (std::size_t i = 0; i < text.size();) {
        unsigned char lead = static_cast<unsigned char>(text[i]);
        int extra = lead < 0x80 ? 0 : lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
        uint32_t code = extra == 0   ? lead
                        : extra == 1 ? (lead & 0x1F)
                        : extra == 2 ? (lead & 0x0F)
                                     : (lead & 0x07);
        for (int k = 1; k <= extra && i + k < text.size(); ++k) {
            code = (code << 6) | (static_cast<unsigned char>(text[i + k]) & 0x3F);
        }
        if (sizeof(wchar_t) == 2 && code >= 0x10000) {
            code -= 0x10000;
            out.push_back(static_cast<wchar_t>(0xD800 + (code >> 10)));
            out.push_back(static_cast<wchar_t>(0xDC00 + (code & 0x3FF)));
        } else {
            out.push_back(static_cast<wchar_t>(code));
        }
        i += extra + 1;
    }
    return out;
}

}  // namespace standin
}  // namespace quil
