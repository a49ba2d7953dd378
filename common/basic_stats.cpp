#include "common/basic_stats.h"

#include <algorithm>
#include <cmath>

namespace quill
{

void BasicStats::add(double sample)
{
    count += 1.0;
    sum += sample;
    sumOfSquares += sample * sample;
}

double BasicStats::getMean() const
{
    return count > 0 ? sum / count : 0.0;
}

double BasicStats::getStdDev() const
{
    if (!(count > 0)) return 0.0;
    // Rounding may make the difference slightly negative where all samples are equal.
    return std::sqrt(std::max(count * sumOfSquares - sum * sum, 0.0)) / count;
}

}  // namespace quill
