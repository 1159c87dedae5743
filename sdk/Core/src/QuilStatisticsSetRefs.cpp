#include "QuilStatisticsSetRefs.h"

namespace {

template <typename Vector>
int CountOf(const Vector* vector) {
    return vector == nullptr ? 0 : static_cast<int>(vector->size());
}

template <typename Vector>
bool InRange(const Vector* vector, int index) {
    return vector != nullptr && index >= 0 && static_cast<std::size_t>(index) < vector->size();
}

}  // namespace

int QuilDimensionSetRef::Count() const { return CountOf(names_); }

const char* QuilDimensionSetRef::GetName(int index) const {
    return InRange(names_, index) ? (*names_)[index].c_str() : "";
}

int QuilMeasureSetRef::Count() const { return CountOf(names_); }

const char* QuilMeasureSetRef::GetName(int index) const {
    return InRange(names_, index) ? (*names_)[index].c_str() : "";
}

int QuilDimensionValueSetRef::Count() const { return CountOf(values_); }

const char* QuilDimensionValueSetRef::GetName(int index) const {
    return InRange(values_, index) ? (*values_)[index].first.c_str() : "";
}

const char* QuilDimensionValueSetRef::GetValue(int index) const {
    return InRange(values_, index) ? (*values_)[index].second.c_str() : "";
}

int QuilMeasureValueSetRef::Count() const { return CountOf(values_); }

const char* QuilMeasureValueSetRef::GetName(int index) const {
    return InRange(values_, index) ? (*values_)[index].first.c_str() : "";
}

double QuilMeasureValueSetRef::GetValue(int index) const {
    return InRange(values_, index) ? (*values_)[index].second : 0.0;
}
