// The process-wide statistics slot: the one IQuilStatistics* the host registered (not owned, never
// deleted), null until then. Any thread may read it at any time without a lock; the host sets it
// through QuilConfig::RegisterUTStatistics before its first call.
#pragma once

#include <string>

#include "IQuilStatistics.h"

class StatisticsSlot {
public:
    // The module name of every report.
    static constexpr const char* kModule = "quilsdk";

    // Stores sink in the slot; null is stored too and silences every later report. The host
    // keeps ownership. Called by QuilConfig::RegisterUTStatistics.
    static void SetStatistics(IQuilStatistics* sink);

    // The registered sink, or null. Lock-free; safe from any thread.
    static IQuilStatistics* GetStatistics();

    // Single events under kModule. Each reads the slot once and does nothing when it is null.
    // An exception from the host's sink is not caught.
    static void CommitCount(const std::string& point, const std::string& arg, double value);
    static void CommitSuccess(const std::string& point, const std::string& arg);
    static void CommitFail(const std::string& point, const std::string& arg,
                           const std::string& errorCode, const std::string& errorMsg);
};
