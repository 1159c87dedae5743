// Views of the library's own vectors as the set classes of IQuilStatistics. Each view points at a
// vector that lives on the caller's stack and must not outlive it, which is why the host may use
// a set only during the call that hands it over. Read-only, so any thread may use its own views.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "IQuilStatistics.h"

// An index out of range gives "" (or 0.0) rather than touching memory past the vector: the index
// comes from the host.
class QuilDimensionSetRef : public IQuilStatistics::DimensionSet {
public:
    explicit QuilDimensionSetRef(const std::vector<std::string>* names) : names_(names) {}
    int Count() const override;
    const char* GetName(int index) const override;

private:
    const std::vector<std::string>* names_;  // not owned
};

class QuilMeasureSetRef : public IQuilStatistics::MeasureSet {
public:
    explicit QuilMeasureSetRef(const std::vector<std::string>* names) : names_(names) {}
    int Count() const override;
    const char* GetName(int index) const override;

private:
    const std::vector<std::string>* names_;  // not owned
};

class QuilDimensionValueSetRef : public IQuilStatistics::DimensionValueSet {
public:
    using Values = std::vector<std::pair<std::string, std::string>>;
    explicit QuilDimensionValueSetRef(const Values* values) : values_(values) {}
    int Count() const override;
    const char* GetName(int index) const override;
    const char* GetValue(int index) const override;

private:
    const Values* values_;  // not owned
};

class QuilMeasureValueSetRef : public IQuilStatistics::MeasureValueSet {
public:
    using Values = std::vector<std::pair<std::string, double>>;
    explicit QuilMeasureValueSetRef(const Values* values) : values_(values) {}
    int Count() const override;
    const char* GetName(int index) const override;
    double GetValue(int index) const override;

private:
    const Values* values_;  // not owned
};
