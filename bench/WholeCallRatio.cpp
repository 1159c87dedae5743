#include "WholeCallRatio.h"

#include <string>
#include <vector>

#include "BenchData.h"
#include "BenchStats.h"
#include "DataFloor.h"
#include "QuilSDK.h"
#include "StandInControl.h"
#include "StandInShare.h"

namespace quil {
namespace bench {

namespace {

bool CallWith(const std::string& data) {
    QuilRequest* request = QuilRequest::Create("bench.whole1mb", "1.0");
    request->SetRawData(data);
    QuilResponse* response = QuilService::GetInstance()->SendSyncRequest(request);
    const bool succeeded = response != nullptr && response->IsSuccess();
    delete response;
    return succeeded;
}

}  // namespace

WholeCallRatio MeasureWholeCall1MbRatio(StandInControl& standIn, int blocks, int callsPerBlock) {
    const std::string data = CallDataOfSize(1 << 20);
    WholeCallRatio result;
    std::vector<double> callTimes;
    std::vector<double> floorTimes;
    std::vector<double> ratios;
    volatile std::size_t sink = 0;
    for (int block = 0; block < blocks; ++block) {
        double start = ProcessCpuMicroseconds();
        for (int i = 0; i < callsPerBlock; ++i) {
            result.failures += CallWith(data) ? 0 : 1;
        }
        const double call = (ProcessCpuMicroseconds() - start) / 1000.0 / callsPerBlock;
        start = ProcessCpuMicroseconds();
        for (int i = 0; i < callsPerBlock; ++i) {
            sink = sink + DataFloor(data);
        }
        const double floor = (ProcessCpuMicroseconds() - start) / 1000.0 / callsPerBlock;
        callTimes.push_back(call);
        floorTimes.push_back(floor);
        ratios.push_back(call / floor);
        standIn.Reset();
    }
    result.callMs = Median(callTimes);
    result.floorMs = Median(floorTimes);
    result.ratio = Median(ratios);

    result.failures += CallWith(data) ? 0 : 1;
    const std::vector<std::string> lines = standIn.Texts("jsonSign.input");
    if (!lines.empty()) {
        const double standInUs = StandInSignCpuMicroseconds(lines.back(), blocks, callsPerBlock);
        if (standInUs >= 0) {
            result.standInMs = standInUs / 1000.0;
            result.sdkRatio = (result.callMs - result.standInMs) / result.floorMs;
        }
    }
    standIn.Reset();
    return result;
}

}  // namespace bench
}  // namespace quil
