#include "StandInControl.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace quil {

namespace {

#if defined(_WIN32)
const char kSeparator[] = "\\";

// The same call as the SDK's loader, so that its later open finds this very copy.
void* OpenModule(const std::string& path) {
    int size = MultiByteToWideChar(CP_UTF8, 0, path.c_str(), -1, nullptr, 0);
    if (size <= 0) return nullptr;
    std::wstring wide(static_cast<std::size_t>(size), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, path.c_str(), -1, &wide[0], size);
    return reinterpret_cast<void*>(LoadLibraryW(wide.c_str()));
}

void* FindEntry(void* handle, const char* name) {
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle), name));
}
#else
const char kSeparator[] = "/";

// The same flags as the SDK's loader, so that its later open finds this very copy.
void* OpenModule(const std::string& path) { return dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL); }

void* FindEntry(void* handle, const char* name) { return dlsym(handle, name); }
#endif

template <typename Function>
bool Find(void* handle, const char* name, Function* function) {
    *function = reinterpret_cast<Function>(FindEntry(handle, name));
    return *function != nullptr;
}

}  // namespace

StandInControl::StandInControl(const std::string& directory) {
    loaded_ = Open(directory + kSeparator + "OruSafePath.dll", &path_) &&
              Open(directory + kSeparator + "OruSafeProxy.dll", &proxy_);
}

std::string StandInControl::DefaultDirectory() { return QUIL_STANDIN_DIR; }

std::string StandInControl::DefaultPathFile() {
    return DefaultDirectory() + kSeparator + "OruSafePath.dll";
}

std::string StandInControl::Separator() { return kSeparator; }

bool StandInControl::Open(const std::string& path, Module* module) {
    module->handle = OpenModule(path);
    if (module->handle == nullptr) return false;
    void* h = module->handle;
    return Find(h, QUIL_STANDIN_RESET, &module->reset) &&
           Find(h, QUIL_STANDIN_SET_INT, &module->setInt) &&
           Find(h, QUIL_STANDIN_SET_TEXT, &module->setText) &&
           Find(h, QUIL_STANDIN_GET_COUNT, &module->getCount) &&
           Find(h, QUIL_STANDIN_WAIT_FOR_COUNT, &module->waitForCount) &&
           Find(h, QUIL_STANDIN_TEXT_COUNT, &module->textCount) &&
           Find(h, QUIL_STANDIN_COPY_TEXT, &module->copyText) &&
           Find(h, QUIL_STANDIN_RELEASE_HANGS, &module->releaseHangs) &&
           Find(h, QUIL_STANDIN_FIRE_HELD_VERDICTS, &module->fireHeld);
}

StandInControl::Module& StandInControl::ModuleFor(const std::string& name) {
    return name.compare(0, 5, "path.") == 0 ? path_ : proxy_;
}

void StandInControl::Reset() {
    if (!loaded_) return;
    path_.reset();
    proxy_.reset();
}

void StandInControl::SetInt(const std::string& name, int64_t value) {
    if (!loaded_) return;
    path_.setInt(name.c_str(), value);
    proxy_.setInt(name.c_str(), value);
}

void StandInControl::SetText(const std::string& name, const char* value) {
    if (!loaded_) return;
    path_.setText(name.c_str(), value);
    proxy_.setText(name.c_str(), value);
}

void StandInControl::ReleaseHangs() {
    if (!loaded_) return;
    path_.releaseHangs();
    proxy_.releaseHangs();
}

int StandInControl::FireHeldVerdicts() { return loaded_ ? proxy_.fireHeld() : 0; }

int64_t StandInControl::Count(const std::string& name) {
    return loaded_ ? ModuleFor(name).getCount(name.c_str()) : 0;
}

bool StandInControl::WaitForCount(const std::string& name, int64_t count, int timeoutMs) {
    return loaded_ && ModuleFor(name).waitForCount(name.c_str(), count, timeoutMs) != 0;
}

std::vector<std::string> StandInControl::Texts(const std::string& kind) {
    std::vector<std::string> texts;
    if (!loaded_) return texts;
    Module& module = ModuleFor(kind);
    const int count = module.textCount(kind.c_str());
    for (int i = 0; i < count; ++i) {
        int length = module.copyText(kind.c_str(), i, nullptr, 0);
        if (length < 0) break;
        std::string text(static_cast<std::size_t>(length), '\0');
        module.copyText(kind.c_str(), i, &text[0], length);
        texts.push_back(text);
    }
    return texts;
}

std::vector<int> StandInControl::RequestedNumbers() {
    std::vector<int> numbers;
    for (const char* kind : {"path.queryInterface", "proxy.queryInterface"}) {
        for (const std::string& text : Texts(kind)) numbers.push_back(std::stoi(text));
    }
    return numbers;
}

}  // namespace quil
