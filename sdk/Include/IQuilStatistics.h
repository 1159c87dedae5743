// The host's statistics sink: one report per call ("performance"), its outcome ("successRate")
// and a few single events, all under the module "quilsdk". The host owns the sink, registers it
// with QuilConfig::RegisterUTStatistics before its first call, and never sees it deleted by the
// library. Every operation may be called from any thread, concurrently, so the sink must be safe
// for concurrent calls.
#pragma once

class IQuilStatistics {
public:
    // The names of the dimensions of a registered point. Valid only for the duration of the
    // call that hands it over: the names live on the caller's stack, so the host copies what it
    // keeps.
    class DimensionSet {
    public:
        virtual int Count() const = 0;
        // A zero-terminated name, valid for the duration of the call; "" for an index out of
        // range.
        virtual const char* GetName(int index) const = 0;

        virtual ~DimensionSet() = default;
    };

    // The names of the measures of a registered point. Same lifetime rules as DimensionSet.
    class MeasureSet {
    public:
        virtual int Count() const = 0;
        virtual const char* GetName(int index) const = 0;

        virtual ~MeasureSet() = default;
    };

    // The dimension values of one report: pairs of name and text. Same lifetime rules.
    class DimensionValueSet {
    public:
        virtual int Count() const = 0;
        virtual const char* GetName(int index) const = 0;
        // A zero-terminated text; "" for an index out of range.
        virtual const char* GetValue(int index) const = 0;

        virtual ~DimensionValueSet() = default;
    };

    // The measure values of one report: pairs of name and number. Same lifetime rules.
    class MeasureValueSet {
    public:
        virtual int Count() const = 0;
        virtual const char* GetName(int index) const = 0;
        // The measure; 0.0 for an index out of range.
        virtual double GetValue(int index) const = 0;

        virtual ~MeasureValueSet() = default;
    };

    // In every operation all texts are zero-terminated and valid only for the duration of the
    // call; module is always "quilsdk".

    // Adds value to a counter, e.g. point "signTimeout" with arg "quil sign 6.3" and 1.0.
    virtual void CommitCount(const char* module, const char* point, const char* arg,
                             double value) = 0;

    // One success of a point, e.g. point "successRate" with an empty arg.
    virtual void CommitSuccess(const char* module, const char* point, const char* arg) = 0;

    // One failure of a point with its error code and message.
    virtual void CommitFail(const char* module, const char* point, const char* arg,
                            const char* errorCode, const char* errorMsg) = 0;

    // Declares the dimension and measure names of a point before its first CommitPoint. The
    // library does this once for "performance", at its first call, so the host registers its
    // sink before that.
    virtual void RegisterPoint(const char* module, const char* point,
                               const DimensionSet& dimensions, const MeasureSet& measures) = 0;

    // One report of a registered point, its values in the order of registration.
    virtual void CommitPoint(const char* module, const char* point,
                             const DimensionValueSet& dimensionValues,
                             const MeasureValueSet& measureValues) = 0;

    virtual ~IQuilStatistics() = default;
};
