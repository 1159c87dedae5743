// MetricsColumns: the one table of the "performance" point: each dimension and measure by its
// name, in report order, with the field of MetricsEntity it reads. UTDataSet registers the point
// from the names and builds each report from the readers. Constant; any thread may read it.
#pragma once

#include <cstddef>
#include <string>

#include "MetricsEntity.h"

struct DimensionColumn {
    const char* name;
    std::string (*read)(const MetricsEntity& entity);
};

struct MeasureColumn {
    const char* name;
    double (*read)(const MetricsEntity& entity);
};

extern const DimensionColumn kDimensionColumns[];
extern const std::size_t kDimensionColumnCount;  // 12
extern const MeasureColumn kMeasureColumns[];
extern const std::size_t kMeasureColumnCount;  // 28
