#include "StandInShare.h"

#include <dlfcn.h>

#include <cstdint>
#include <vector>

#include "BenchStats.h"
#include "QuilSecurityProxies.h"
#include "StandInControl.h"

namespace quil {
namespace bench {

double StandInSignCpuMicroseconds(const std::string& line, int blocks, int callsPerBlock) {
    // The SDK has loaded this module already; opening it again finds the same copy.
    const std::string path = StandInControl::DefaultDirectory() + "/OruSafeProxy.dll";
    void* module = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr) return -1;
    using QueryInterface = int (*)(int, void**);
    auto query = reinterpret_cast<QueryInterface>(dlsym(module, "QueryInterface"));
    void* found = nullptr;
    if (query == nullptr || query(kJsonSignProxyNumber, &found) == 0 || found == nullptr) {
        return -1;
    }
    auto* signer = static_cast<IJsonSignProxy*>(found);
    std::vector<double> perCall;
    for (int block = 0; block < blocks; ++block) {
        const double before = ProcessCpuMicroseconds();
        for (int i = 0; i < callsPerBlock; ++i) {
            uint32_t code = 0;
            const char* answer = signer->Sign(line.c_str(), &code);
            if (answer != nullptr) signer->Free(answer);
        }
        perCall.push_back((ProcessCpuMicroseconds() - before) / callsPerBlock);
    }
    // The module stays loaded: the SDK still uses it.
    return Median(perCall);
}

}  // namespace bench
}  // namespace quil
