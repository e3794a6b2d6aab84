// The median, which stands for a measurement that was taken several times.
#pragma once

#include <algorithm>
#include <vector>

namespace bench {

// Of at least one value.
inline double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

}  // namespace bench
