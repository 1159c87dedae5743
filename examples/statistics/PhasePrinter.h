// A statistics sink that prints, for each call, where its time went: the phases of the
// "performance" report (filters, signing, composition, network, parsing) in milliseconds.
// The host owns it and registers it with QuilConfig::RegisterUTStatistics before its first
// call. The SDK calls it from any of its threads, so printing is serialised by a lock.
#pragma once

#include <QuilSDK.h>

#include <cstdio>
#include <mutex>

class PhasePrinter : public IQuilStatistics {
public:
    // out is not owned and must stay open for as long as calls are made.
    explicit PhasePrinter(std::FILE* out) : out_(out) {}

    void CommitCount(const char* module, const char* point, const char* arg, double value) override;
    void CommitSuccess(const char* module, const char* point, const char* arg) override;
    void CommitFail(const char* module, const char* point, const char* arg, const char* errorCode,
                    const char* errorMsg) override;
    void RegisterPoint(const char* module, const char* point, const DimensionSet& dimensions,
                       const MeasureSet& measures) override;
    void CommitPoint(const char* module, const char* point,
                     const DimensionValueSet& dimensionValues,
                     const MeasureValueSet& measureValues) override;

private:
    std::FILE* const out_;
    // Guards writing to out_, so the lines of two calls never interleave.
    std::mutex mutex_;
};
